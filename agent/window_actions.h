#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agent/config.h"
#include "agent/config_store.h"
#include "agent/logger.h"
#include "core/context.h"
#include "core/window/move_app.h"

namespace tarn::agent {

// The core's move-app engine for one press, as actions call it.
using MoveApp = std::function<int(const window::MoveAppRequest& request,
                                  const std::optional<window::FrontmostWindow>& frontmost,
                                  CommandContext& context)>;

// What the work queue's actions run against: the core's context on the agent's own
// desktop, the session's keys buffer (text kept between two keystroke actions) and the log.
struct ActionHost {
    CommandContext& context;
    std::string& keysBuffer;
    LogSink& log;
    // Whose saved locations a left or right move offers.
    const ConfigStore& configStore;
    MoveApp moveApp = [](const window::MoveAppRequest& request,
                         const std::optional<window::FrontmostWindow>& frontmost,
                         CommandContext& context) {
        return window::handleMoveApp(request, frontmost, context);
    };
    // Called after the desktop went away under an action, so the next one reconnects.
    std::function<void()> desktopLost{};
    // Called before each action: the desktop outlives actions, and what it remembered for
    // the last one (monitors, window manager, a window's decorations) may have changed.
    std::function<void()> beforeAction{};
    // Called after each action, however it ended (the desktop's operation ends: a simulated
    // desktop writes what the action changed). May throw platform::DesktopError.
    std::function<void()> afterAction{};
};

// Moving the focused window and the pointer for a matched rule. Runs on the work queue.
class WindowActions {
  public:
    // Moves the frontmost window, found once for the press: the saved locations offered are
    // its application's.
    static void performMove(Action::MoveDirection direction,
                            const std::optional<StateFilters>& stateFilters, ActionHost& host);
    static void performMoveMouse(const Action::MouseTarget& target, Action::MousePosition position,
                                 ActionHost& host);
};

// Types a keystroke sequence through the core's keys language, every event carrying the
// marker so that the agent's own key source lets it pass.
class KeySender {
  public:
    static void send(const std::string& sequence, std::int64_t marker, ActionHost& host);
};

// "Upper Corner" or "Center" point of a rectangle, 10 points in from the top-left corner.
platform::Point mousePoint(const platform::Rect& rect, Action::MousePosition position);
// "app" or "screen(index: 1)".
std::string describeMouseTarget(const Action::MouseTarget& target);

}  // namespace tarn::agent
