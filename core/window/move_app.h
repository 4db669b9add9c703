#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/context.h"
#include "core/window/move_types.h"
#include "core/window/override_lookup.h"
#include "core/window/window_state.h"
#include "core/window/windows.h"

namespace tarn::window {

// "left", "right", "up", "down" exactly (letter case counts); anything else is absent.
std::optional<MoveDirection> parseMoveDirection(std::string_view word);

// One press of a move-app key: moves, resizes, minimises or restores the focused window of
// the frontmost application in a direction ("left", "right", "up", "down") and remembers
// what it did in the state file. A direct call (fromUserRule false) first looks for an
// agent rule that takes such calls over. Returns the exit status (0; 1 no window, unreadable
// frame, bad direction or unsaved state; 5 no permission) instead of ending the process, so
// the agent can host it.
int handleMoveApp(const std::string& direction, const std::vector<MoveAppLocation>& savedLocations,
                  const StateFilters& stateFilters, bool fromUserRule, CommandContext& context);

// A press of one of the agent's move rules: the frontmost window as the agent found it for
// this press (absent: there is none, and a minimised window is looked for), and the rule's
// direction, filters and the application's saved locations. The agent's file is not read.
struct MoveAppRequest {
    MoveDirection direction = MoveDirection::left;
    std::vector<MoveAppLocation> savedLocations;
    StateFilters stateFilters;
    friend bool operator==(const MoveAppRequest&, const MoveAppRequest&) = default;
};
int handleMoveApp(const MoveAppRequest& request, const std::optional<FrontmostWindow>& frontmost,
                  CommandContext& context);

// The command line's move-app: no saved locations, every state filter on, not a user rule.
int runMoveAppCommand(const std::string& direction, CommandContext& context);

}  // namespace tarn::window
