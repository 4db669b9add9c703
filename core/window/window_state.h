#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "core/window/move_types.h"
#include "platform/displays.h"
#include "platform/geometry.h"
#include "support/json_text.h"

namespace tarn::window {

using platform::Rect;
class ScreenLayout;

// What the engine remembers about one application between two presses.
struct WindowState {
    // A frame in the global display space together with the screen it was on.
    struct WindowFrame {
        double x = 0;
        double y = 0;
        double width = 0;
        double height = 0;
        std::int64_t screenIndex = 0;

        Rect rect() const { return {x, y, width, height}; }
        static WindowFrame of(const Rect& rect, std::int64_t screenIndex) {
            return {rect.x, rect.y, rect.width, rect.height, screenIndex};
        }
        friend bool operator==(const WindowFrame&, const WindowFrame&) = default;
    };

    struct SavedLocation {
        WindowFrame frame;
        bool screenSpecific = false;  // kept and compared, but no placement reads it
        friend bool operator==(const SavedLocation&, const SavedLocation&) = default;
    };

    // One placement of the left/right cycle.
    struct WindowStep {
        enum class StepType { original, fullWidth, alignRight, alignLeft, saved };

        StepType type = StepType::original;
        std::optional<std::int64_t> savedIndex;  // only for saved steps
        std::int64_t screenIndex = 0;
        std::int64_t sortOrder = 0;  // screenIndex * 10 + position on that screen
        bool enabled = true;

        // Where this step puts a window whose frame is now currentFrame (see cycle.cpp).
        Rect computeFrame(platform::Displays& displays, const WindowFrame& initialFrame,
                          const Rect& currentFrame,
                          const std::vector<SavedLocation>& savedLocations) const;
        Rect computeFrame(const ScreenLayout& layout, const WindowFrame& initialFrame,
                          const Rect& currentFrame,
                          const std::vector<SavedLocation>& savedLocations) const;

        friend bool operator==(const WindowStep&, const WindowStep&) = default;
    };

    std::string appName;
    WindowFrame initialFrame;          // the home frame
    WindowFrame currentFrame;          // the frame last asked for, to notice moves made by hand
    std::int64_t horizontalState = 0;  // code of the last left/right placement applied
    std::int64_t verticalState = 0;    // 0 home size, 1 full height or minimised, 2 full screen
    std::vector<SavedLocation> savedLocations;
    std::vector<WindowStep> steps;  // rebuilt on demand, never stored

    // Replaces steps with the cycle over the current display list and prints it.
    void buildStepList(platform::Displays& displays, const StateFilters& filters,
                       std::ostream& diagnostics);
    // The step whose frame lies nearest to currentFrame; steps on another screen than
    // currentScreenIndex count 1000 points farther. Absent when there are no steps.
    std::optional<std::size_t> findCurrentStepIndex(platform::Displays& displays,
                                                    const Rect& currentFrame,
                                                    std::int64_t currentScreenIndex) const;
    std::optional<std::size_t> findCurrentStepIndex(const ScreenLayout& layout,
                                                    const Rect& currentFrame,
                                                    std::int64_t currentScreenIndex) const;
    // The next enabled step from `from` in `direction` (+1 or -1), wrapping around.
    std::optional<std::size_t> findNextEnabledStep(std::size_t from, int direction) const;

    friend bool operator==(const WindowState&, const WindowState&) = default;
};

using StepType = WindowState::WindowStep::StepType;

// The case name, as diagnostics print it and the raw value reads.
std::string_view stepTypeName(StepType type);

// "window_" + appName with every space replaced by "_".
std::string stateKey(std::string_view appName);

// The record as the JSON object stored in the state file (steps left out).
support::Json encodeWindowState(const WindowState& state);
// Reads a record from its JSON text; absent when a required member is missing or mistyped.
// Records from before saved locations existed carry one "homeFrame" instead.
std::optional<WindowState> decodeWindowState(std::string_view text);

// "state.json" in the Application Support folder "Tarn" (the folder is created when missing),
// or in the given folder.
std::filesystem::path stateFilePath();
std::filesystem::path stateFilePath(const std::filesystem::path& appSupportDir);

// The application's record from the state file; absent when the file, the entry or the
// record cannot be read.
std::optional<WindowState> loadWindowState(const std::string& appName,
                                           const std::filesystem::path& stateFile);

// Writes the record under its key and keeps every other entry of the file. A file that could
// not be read is kept aside before it is replaced, and left alone when no copy of it can be
// made. False, with an "ERROR: " line on diagnostics, when nothing could be written; the file
// is then unchanged.
bool saveWindowState(const WindowState& state, const std::filesystem::path& stateFile,
                     std::ostream& diagnostics);

}  // namespace tarn::window
