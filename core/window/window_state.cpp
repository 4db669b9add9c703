#include "core/window/window_state.h"

#include <exception>
#include <limits>

#include "support/app_support.h"
#include "support/files.h"
#include "support/number_text.h"
#include "support/store.h"

namespace tarn::window {
namespace {

using support::Json;
using WindowFrame = WindowState::WindowFrame;
using SavedLocation = WindowState::SavedLocation;

Json encodeFrame(const WindowFrame& frame) {
    Json object = Json::object();
    object["x"] = frame.x;
    object["y"] = frame.y;
    object["width"] = frame.width;
    object["height"] = frame.height;
    object["screenIndex"] = frame.screenIndex;
    return object;
}

// The decoding rules of the records' first writer: any JSON number reads as a double, and an
// integer must be a whole number within 64 bits; booleans are never numbers.
std::optional<double> readDouble(const Json& object, const char* name) {
    auto found = object.find(name);
    if (found == object.end() || !found->is_number()) return std::nullopt;
    return found->get<double>();
}

std::optional<std::int64_t> readInteger(const Json& object, const char* name) {
    auto found = object.find(name);
    if (found == object.end()) return std::nullopt;
    if (found->is_number_integer() && !found->is_number_unsigned()) {
        return found->get<std::int64_t>();
    }
    if (found->is_number_unsigned()) {
        auto value = found->get<std::uint64_t>();
        if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
            return std::nullopt;
        }
        return static_cast<std::int64_t>(value);
    }
    if (found->is_number_float()) return support::exactInt64(found->get<double>());
    return std::nullopt;
}

std::optional<WindowFrame> decodeFrame(const Json& object) {
    if (!object.is_object()) return std::nullopt;
    auto x = readDouble(object, "x");
    auto y = readDouble(object, "y");
    auto width = readDouble(object, "width");
    auto height = readDouble(object, "height");
    auto screenIndex = readInteger(object, "screenIndex");
    if (!x || !y || !width || !height || !screenIndex) return std::nullopt;
    return WindowFrame{*x, *y, *width, *height, *screenIndex};
}

std::optional<WindowFrame> decodeMember(const Json& object, const char* name) {
    auto found = object.find(name);
    if (found == object.end()) return std::nullopt;
    return decodeFrame(*found);
}

std::optional<std::vector<SavedLocation>> decodeSavedLocations(const Json& object) {
    auto found = object.find("savedLocations");
    if (found == object.end() || !found->is_array()) return std::nullopt;
    std::vector<SavedLocation> locations;
    for (const Json& element : *found) {
        if (!element.is_object()) return std::nullopt;
        auto frame = decodeMember(element, "frame");
        auto specific = element.find("screenSpecific");
        if (!frame || specific == element.end() || !specific->is_boolean()) return std::nullopt;
        locations.push_back({*frame, specific->get<bool>()});
    }
    return locations;
}

}  // namespace

std::string_view stepTypeName(StepType type) {
    switch (type) {
        case StepType::original:
            return "original";
        case StepType::fullWidth:
            return "fullWidth";
        case StepType::alignRight:
            return "alignRight";
        case StepType::alignLeft:
            return "alignLeft";
        case StepType::saved:
            return "saved";
    }
    return "original";
}

std::string stateKey(std::string_view appName) {
    std::string key = "window_";
    for (char c : appName) key += c == ' ' ? '_' : c;
    return key;
}

Json encodeWindowState(const WindowState& state) {
    Json object = Json::object();
    object["appName"] = state.appName;
    object["initialFrame"] = encodeFrame(state.initialFrame);
    object["currentFrame"] = encodeFrame(state.currentFrame);
    object["horizontalState"] = state.horizontalState;
    object["verticalState"] = state.verticalState;
    Json locations = Json::array();
    for (const auto& location : state.savedLocations) {
        Json entry = Json::object();
        entry["frame"] = encodeFrame(location.frame);
        entry["screenSpecific"] = location.screenSpecific;
        locations.push_back(std::move(entry));
    }
    object["savedLocations"] = std::move(locations);
    return object;
}

std::optional<WindowState> decodeWindowState(std::string_view text) {
    auto parsed = support::parseJson(text);
    if (!parsed || !parsed->is_object()) return std::nullopt;
    const Json& object = *parsed;

    auto appName = object.find("appName");
    if (appName == object.end() || !appName->is_string()) return std::nullopt;
    auto initialFrame = decodeMember(object, "initialFrame");
    auto currentFrame = decodeMember(object, "currentFrame");
    auto horizontalState = readInteger(object, "horizontalState");
    auto verticalState = readInteger(object, "verticalState");
    if (!initialFrame || !currentFrame || !horizontalState || !verticalState) return std::nullopt;

    WindowState state;
    state.appName = appName->get<std::string>();
    state.initialFrame = *initialFrame;
    state.currentFrame = *currentFrame;
    state.horizontalState = *horizontalState;
    state.verticalState = *verticalState;
    if (auto locations = decodeSavedLocations(object)) {
        state.savedLocations = std::move(*locations);
    } else if (auto homeFrame = decodeMember(object, "homeFrame")) {
        // Records written before saved locations existed kept one screen-specific home frame.
        state.savedLocations = {{*homeFrame, true}};
    }
    return state;
}

std::filesystem::path stateFilePath() {
    return stateFilePath(support::getAppSupportDir(support::kAppDirName));
}

std::filesystem::path stateFilePath(const std::filesystem::path& appSupportDir) {
    return appSupportDir / "state.json";
}

std::optional<WindowState> loadWindowState(const std::string& appName,
                                           const std::filesystem::path& stateFile) {
    auto loaded = support::loadStore(stateFile);
    auto found = loaded.store.values.find(stateKey(appName));
    if (found == loaded.store.values.end()) return std::nullopt;
    const auto* text = std::get_if<std::string>(&found->second);
    if (!text) return std::nullopt;
    return decodeWindowState(*text);
}

bool saveWindowState(const WindowState& state, const std::filesystem::path& stateFile,
                     std::ostream& diagnostics) {
    std::string record;
    try {
        record = support::writeJson(encodeWindowState(state));
    } catch (const std::exception& e) {
        diagnostics << "ERROR: Could not encode the window state of " << state.appName << ": "
                    << e.what() << '\n';
        return false;
    }
    // Other records may change meanwhile (another tarn, the agent): they stay as written.
    auto lock = support::FileLock::acquire(stateFile);
    auto loaded = support::loadStore(stateFile);
    loaded.store.values[stateKey(state.appName)] = std::move(record);
    // A crash may take back the newest move's record; the cycle then starts from the one
    // before, which is no loss worth a flush of the folder on every move.
    auto saved =
        support::saveStoreOver(loaded.store, loaded, stateFile, support::Durability::contentOnly);
    if (saved.backup) {
        diagnostics << "Note: the "
                    << (loaded.state == support::StoreFileState::partlyRead ? "partly read"
                                                                            : "unreadable")
                    << " state file was kept as " << saved.backup->string() << '\n';
    }
    if (saved.error) {
        diagnostics << (saved.refused ? "ERROR: Not saving " : "ERROR: Could not save ")
                    << stateFile.string() << ": " << *saved.error << '\n';
        return false;
    }
    return true;
}

}  // namespace tarn::window
