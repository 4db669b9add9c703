#pragma once

// The values a move press is made of, shared by the placement engine, the command line and
// the agent, whose configuration file stores them.

#include <array>
#include <cstddef>
#include <string_view>

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

// The flags' names in the agent's configuration file, and the flags in that order, for the
// readers and the writer of that file.
inline constexpr std::array<std::string_view, 6> kStateFilterNames{
    "fullWidthOnPrimary",    "fullWidthOnSecondary", "alignRightOnPrimary",
    "alignRightOnSecondary", "alignLeftOnPrimary",   "alignLeftOnSecondary"};
template <class Filters>  // StateFilters, const or not
constexpr auto stateFlags(Filters& filters) {
    return std::array{&filters.fullWidthOnPrimary,  &filters.fullWidthOnSecondary,
                      &filters.alignRightOnPrimary, &filters.alignRightOnSecondary,
                      &filters.alignLeftOnPrimary,  &filters.alignLeftOnSecondary};
}

}  // namespace tarn::window
