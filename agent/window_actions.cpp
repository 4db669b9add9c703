#include "agent/window_actions.h"

#include <cinttypes>
#include <cstdio>
#include <ostream>

#include "agent/overloaded.h"
#include "core/errors.h"
#include "core/keys/keys_command.h"

namespace tarn::agent {
namespace {

constexpr double kMouseInset = 10;

// The log's number form for coordinates: six decimals, as printf's %f gives them.
std::string fixed(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%f", value);
    return text;
}

const char* boolText(bool value) {
    return value ? "true" : "false";
}

std::vector<SavedWindowLocation> savedLocationsOf(
    const std::optional<window::FrontmostWindow>& frontmost, const ConfigStore& store) {
    if (!frontmost || !frontmost->app.bundleID) return {};
    auto config = store.snapshot();
    for (const AppConfig& entry : config->appConfigs) {
        if (entry.bundleID == *frontmost->app.bundleID) return entry.savedLocations;
    }
    return {};
}

}  // namespace

platform::Point mousePoint(const platform::Rect& rect, Action::MousePosition position) {
    if (position == Action::MousePosition::upperCorner) {
        return {rect.x + kMouseInset, rect.y + kMouseInset};
    }
    return {rect.x + rect.width * 0.5, rect.y + rect.height * 0.5};
}

std::string describeMouseTarget(const Action::MouseTarget& target) {
    return std::visit(Overloaded{
                          [](const Action::MouseTarget::App&) { return std::string("app"); },
                          [](const Action::MouseTarget::Screen& screen) {
                              return "screen(index: " + std::to_string(screen.index) + ")";
                          },
                      },
                      target.value);
}

void WindowActions::performMove(Action::MoveDirection direction,
                                const std::optional<StateFilters>& stateFilters, ActionHost& host) {
    Logger log(host.log, LogCategory::windowActions);
    log.error("performMove called: direction=" + std::string(directionName(direction)));
    // Asked now, not taken from the observer: the action may run a moment after the press.
    auto frontmost = window::getFrontmostWindow(host.context.desktop().windowSystem());
    window::MoveAppRequest request{
        .direction = direction, .savedLocations = {}, .stateFilters = {}};
    bool horizontal =
        direction == Action::MoveDirection::left || direction == Action::MoveDirection::right;
    if (horizontal) {
        auto saved = savedLocationsOf(frontmost, host.configStore);
        if (saved.empty()) {
            log.error("No saved locations found for frontmost app");
        } else {
            log.error("Found " + std::to_string(saved.size()) + " saved location(s)");
            for (std::size_t i = 0; i < saved.size(); ++i) {
                const auto& frame = saved[i].frame;
                log.error("  [" + std::to_string(i) + "]: frame=(" + fixed(frame.x) + "," +
                          fixed(frame.y) + "," + fixed(frame.width) + "," + fixed(frame.height) +
                          ") screen=" + std::to_string(saved[i].screenIndex) +
                          " screenSpecific=" + boolText(saved[i].screenSpecific));
            }
        }
        for (const auto& location : saved) {
            request.savedLocations.push_back(
                {location.frame, location.screenSpecific, location.screenIndex});
        }
        if (stateFilters) {
            log.error("Using provided state filters for rule");
            request.stateFilters = *stateFilters;
        } else {
            log.error("Using default state filters (all enabled)");
        }
    }
    // The up cycle passes through the full-screen frame, which is what maximize asks for.
    std::string_view word =
        direction == Action::MoveDirection::maximize ? "up" : directionName(direction);
    log.error("Calling handleMoveApp: direction=" + std::string(word));
    int status = host.moveApp(request, frontmost, host.context);
    if (status != 0) log.error("handleMoveApp failed with status " + std::to_string(status));
}

void WindowActions::performMoveMouse(const Action::MouseTarget& target,
                                     Action::MousePosition position, ActionHost& host) {
    Logger log(host.log, LogCategory::windowActions);
    log.error("performMoveMouse called: target=" + describeMouseTarget(target) +
              ", position=" + std::string(positionName(position)));
    platform::Desktop& desktop = host.context.desktop();
    platform::Rect area;
    if (const auto* screen = std::get_if<Action::MouseTarget::Screen>(&target.value)) {
        auto displays = desktop.displays().activeDisplays();
        if (screen->index < 0 || screen->index >= static_cast<std::int64_t>(displays.size())) {
            log.error("Screen index " + std::to_string(screen->index) + " out of bounds");
            return;
        }
        // Display bounds are in the global space already (top-left origin, y down).
        area = desktop.displays().bounds(displays[static_cast<std::size_t>(screen->index)]);
    } else {
        auto& windows = desktop.windowSystem();
        auto app = windows.frontmostApplication();
        if (!app) {
            log.error("No frontmost application");
            return;
        }
        auto focused = windows.focusedWindow(app->pid);
        if (focused.error != platform::ax::success || !focused.window) {
            log.error("Could not get frontmost window");
            return;
        }
        auto origin = windows.position(*focused.window);
        auto size = windows.size(*focused.window);
        if (!origin || !size) {
            log.error("Could not get window frame");
            return;
        }
        area = {origin->x, origin->y, size->width, size->height};
    }
    platform::Point point = mousePoint(area, position);
    log.error("Moving mouse to: (" + fixed(point.x) + ", " + fixed(point.y) + ")");
    desktop.pointer().warp(point);
}

void KeySender::send(const std::string& sequence, std::int64_t marker, ActionHost& host) {
    try {
        int status = keys::handleKeys({sequence}, marker, host.context, host.keysBuffer);
        if (status != 0) {
            Logger(host.log, LogCategory::keystrokeInterceptor)
                .error("Keystroke sequence failed with status " + std::to_string(status));
        }
    } catch (const CommandFailure& error) {
        host.context.out << "Failed to send keys '" << sequence << "': " << error.what()
                         << std::endl;
    }
}

}  // namespace tarn::agent
