#pragma once

// The values a move press is made of, shared by the placement engine, the command line and
// the agent, whose configuration file stores them.

namespace tarn::window {

// maximize is the up cycle's full-screen step, which the engine reaches by moving up.
enum class MoveDirection { left, right, up, down, maximize };

// Which placements the left/right cycle offers. "Primary" is screen index 0, "secondary"
// every other screen; a false flag drops that placement from that kind of screen. The
// original placement and saved locations are never filtered.
struct StateFilters {
    bool fullWidthOnPrimary = true;
    bool fullWidthOnSecondary = true;
    bool alignRightOnPrimary = true;
    bool alignRightOnSecondary = true;
    bool alignLeftOnPrimary = true;
    bool alignLeftOnSecondary = true;
    friend bool operator==(const StateFilters&, const StateFilters&) = default;
};

}  // namespace tarn::window
