#include "core/window/move_app.h"

#include <cmath>
#include <ostream>

#include "core/permission.h"
#include "core/window/cycle.h"
#include "core/window/screens.h"
#include "core/window/windows.h"
#include "support/number_text.h"

namespace tarn::window {
namespace {

using support::doubleText;

// A frame that moved or changed size by more than this, in total, was moved by hand.
constexpr double kManualMoveThreshold = 10;
constexpr std::uint32_t kRestoreSettleMicroseconds = 200000;
constexpr std::size_t kPlacedSavedLocations = 3;
constexpr std::int64_t kFirstSavedState = 4;

bool isHorizontal(std::optional<MoveDirection> direction) {
    return direction == MoveDirection::left || direction == MoveDirection::right;
}

const char* boolText(bool value) {
    return value ? "true" : "false";
}

void printFrame(std::ostream& err, const Rect& frame) {
    err << "x=" << doubleText(frame.x) << ", y=" << doubleText(frame.y)
        << ", w=" << doubleText(frame.width) << ", h=" << doubleText(frame.height);
}

double frameDifference(const Rect& a, const WindowState::WindowFrame& b) {
    return std::fabs(a.x - b.x) + std::fabs(a.y - b.y) + std::fabs(a.width - b.width) +
           std::fabs(a.height - b.height);
}

// What the user did by hand since the last press decides where home is now.
void reconcileManualMove(WindowState& state, const Rect& frame, std::int64_t screenIndex,
                         std::optional<MoveDirection> direction, std::ostream& err) {
    double difference = frameDifference(frame, state.currentFrame);
    err << "DEBUG: Frame difference: " << doubleText(difference) << '\n';
    if (!(difference > kManualMoveThreshold)) return;
    if (isHorizontal(direction)) {
        err << "DEBUG: User manually moved window, resetting initial state\n";
        state.initialFrame = WindowState::WindowFrame::of(frame, screenIndex);
        state.horizontalState = 0;
    } else if (direction) {
        if (frame.width * frame.height < state.initialFrame.width * state.initialFrame.height) {
            err << "DEBUG: Current window smaller than stored, updating initial frame\n";
            state.initialFrame = WindowState::WindowFrame::of(frame, screenIndex);
        }
    }
}

// Only the first three saved locations become steps; a changed list rebuilds the cycle.
void adoptSavedLocations(WindowState& state, const std::vector<MoveAppLocation>& offered,
                         const StateFilters& filters, platform::Displays& displays,
                         std::ostream& err) {
    std::vector<WindowState::SavedLocation> locations;
    for (std::size_t i = 0; i < offered.size() && i < kPlacedSavedLocations; ++i) {
        const auto& frame = offered[i].frame;
        std::int64_t screen =
            offered[i].screenIndex.value_or(screenIndexForPoint(displays, frame.origin()));
        locations.push_back(
            {WindowState::WindowFrame::of(frame, screen), offered[i].screenSpecific});
    }
    if (locations == state.savedLocations) return;
    err << "DEBUG: Updating savedLocations in state\n";
    state.savedLocations = std::move(locations);
    err << "DEBUG: Rebuilding step list due to saved location change\n";
    state.buildStepList(displays, filters, err);
    auto count = static_cast<std::int64_t>(state.savedLocations.size());
    if (state.horizontalState >= kFirstSavedState &&
        state.horizontalState >= kFirstSavedState + count) {
        err << "DEBUG: Current state points to removed saved location, resetting to original\n";
        state.horizontalState = 0;
    }
}

int saveAndReport(const WindowState& state, const std::filesystem::path& stateFile,
                  std::ostream& err) {
    err << "DEBUG: Saving state - hState=" << state.horizontalState
        << ", vState=" << state.verticalState << '\n';
    return saveWindowState(state, stateFile, err) ? 0 : 1;
}

// One press. `given`: the frontmost window the caller resolved for it; null: asked here.
// An unknown direction still runs the steps that print and load, and fails where the move
// would be chosen, so its transcript matches a known word's.
int moveApp(const std::string& directionWord, std::optional<MoveDirection> direction,
            const std::vector<MoveAppLocation>& savedLocations, const StateFilters& stateFilters,
            bool fromUserRule, const std::optional<FrontmostWindow>* given,
            CommandContext& context) {
    std::ostream& err = context.err;
    err << "DEBUG: handleMoveApp called with direction: " << directionWord
        << ", fromUserRule: " << boolText(fromUserRule) << '\n';
    if (!ensureAccessibilityTrusted(context)) {
        err << "ERROR: Accessibility not trusted\n";
        return 5;
    }
    platform::Desktop& desktop = context.desktop();
    platform::WindowSystem& windows = desktop.windowSystem();
    platform::Displays& displays = desktop.displays();

    std::vector<MoveAppLocation> locations = savedLocations;
    StateFilters filters = stateFilters;
    auto frontmost = given ? *given : getFrontmostWindow(windows);
    if (!fromUserRule) {
        std::optional<std::string> bundleID;
        if (frontmost) bundleID = frontmost->app.bundleID;
        if (auto found = checkTarnOverride(directionWord, bundleID, err)) {
            err << "DEBUG: Applying Wendle override for direction '" << directionWord << "'\n";
            locations = std::move(found->savedLocations);
            filters = found->stateFilters;
        }
    }
    for (std::size_t i = 0; i < locations.size(); ++i) {
        err << "DEBUG: Saved location " << i + 1 << ": ";
        printFrame(err, locations[i].frame);
        err << ", screenSpecific=" << boolText(locations[i].screenSpecific) << '\n';
    }

    const auto stateFile = stateFilePath(context.appSupportDir());
    platform::WindowId window = 0;
    std::string appName;
    bool wasMinimized = false;
    if (frontmost) {
        window = frontmost->window;
        appName = frontmost->app.localizedName.value_or("Unknown");
        err << "DEBUG: Frontmost app: " << appName << '\n';
    } else {
        err << "DEBUG: No frontmost window, searching for minimized windows\n";
        auto minimized = findMinimizedWindow(windows, stateFile, err);
        if (!minimized) {
            err << "ERROR: No frontmost window found and no tracked minimized windows\n";
            return 1;
        }
        window = minimized->window;
        appName = minimized->appName;
        wasMinimized = true;
        err << "DEBUG: Found minimized window for: " << appName << '\n';
        if (direction == MoveDirection::down) {
            handleMinimizedWindowRestore(windows, desktop.sleeper(), stateFile, appName, window,
                                         err);
            return 0;
        }
    }

    err << "DEBUG: State key: " << stateKey(appName) << '\n';
    if (wasMinimized) {
        err << "DEBUG: Restoring minimized window before move operation\n";
        windows.setMinimized(window, false);
        desktop.sleeper().sleepMicroseconds(kRestoreSettleMicroseconds);
    }

    auto frame = getWindowFrame(windows, window);
    if (!frame) {
        err << "ERROR: Could not get window frame\n";
        return 1;
    }
    err << "DEBUG: Current frame: ";
    printFrame(err, *frame);
    err << '\n';
    std::int64_t screenIndex = screenIndexForPoint(displays, frame->origin());
    err << "DEBUG: Current screen index: " << screenIndex << '\n';

    WindowState state;
    if (auto loaded = loadWindowState(appName, stateFile)) {
        state = std::move(*loaded);
        err << "DEBUG: Loaded existing state - hState=" << state.horizontalState
            << ", vState=" << state.verticalState << '\n';
        reconcileManualMove(state, *frame, screenIndex, direction, err);
    } else {
        err << "DEBUG: Creating new state for app\n";
        state.appName = appName;
        state.initialFrame = WindowState::WindowFrame::of(*frame, screenIndex);
        state.currentFrame = state.initialFrame;
    }

    if (isHorizontal(direction)) {
        adoptSavedLocations(state, locations, filters, displays, err);
    }

    Rect target;
    if (direction == MoveDirection::right) {
        target = handleRightDirection(state, *frame, screenIndex, screenIndex == 0, filters,
                                      displays, err);
    } else if (direction == MoveDirection::left) {
        target = handleLeftDirection(state, *frame, screenIndex, screenIndex == 0, filters,
                                     displays, err);
    } else if (direction == MoveDirection::up || direction == MoveDirection::maximize) {
        target = handleUpDirection(state, *frame, usableScreenRect(displays, screenIndex), err);
    } else if (direction == MoveDirection::down) {
        if (isWindowMinimized(windows, window)) {
            err << "DEBUG: Restoring window from minimized\n";
            windows.setMinimized(window, false);
            state.verticalState = 0;
        } else {
            err << "DEBUG: Minimizing window\n";
            windows.setMinimized(window, true);
            state.verticalState = 1;
        }
        return saveAndReport(state, stateFile, err);
    } else {
        err << "Invalid direction: " << directionWord << '\n';
        return 1;
    }

    setWindowFrame(windows, window, target);
    // What was asked for, not what the window made of it: a window that refused a size is
    // then seen as moved by hand only when it is really far off.
    state.currentFrame =
        WindowState::WindowFrame::of(target, screenIndexForPoint(displays, target.origin()));
    return saveAndReport(state, stateFile, err);
}

}  // namespace

std::optional<MoveDirection> parseMoveDirection(std::string_view word) {
    if (word == "left") return MoveDirection::left;
    if (word == "right") return MoveDirection::right;
    if (word == "up") return MoveDirection::up;
    if (word == "down") return MoveDirection::down;
    return std::nullopt;
}

int handleMoveApp(const std::string& directionWord,
                  const std::vector<MoveAppLocation>& savedLocations,
                  const StateFilters& stateFilters, bool fromUserRule, CommandContext& context) {
    return moveApp(directionWord, parseMoveDirection(directionWord), savedLocations, stateFilters,
                   fromUserRule, nullptr, context);
}

int handleMoveApp(const MoveAppRequest& request, const std::optional<FrontmostWindow>& frontmost,
                  CommandContext& context) {
    // The transcript names the direction the engine takes: maximize moves up.
    static constexpr const char* kWords[] = {"left", "right", "up", "down", "up"};
    return moveApp(kWords[static_cast<int>(request.direction)], request.direction,
                   request.savedLocations, request.stateFilters, true, &frontmost, context);
}

int runMoveAppCommand(const std::string& direction, CommandContext& context) {
    return handleMoveApp(direction, {}, StateFilters{}, false, context);
}

}  // namespace tarn::window
