#pragma once

#include <cstdint>
#include <vector>

#include "platform/displays.h"
#include "platform/geometry.h"

// The screen rules every placement uses. Nothing is cached: each call asks the display list
// afresh, so a screen plugged in or out between two presses is seen at once.
namespace tarn::window {

// Height of the band at the top of every screen that placements leave free for the menu bar.
inline constexpr double kMenuBarAllowance = 25;

// Active displays in the platform's order; index 0 is the primary screen.
std::vector<platform::DisplayId> getActiveDisplays(platform::Displays& displays);

// Index of the first display containing the point (minimum edges inclusive, maximum edges
// exclusive, so a shared edge belongs to the next display); 0 when none does.
std::int64_t screenIndexForPoint(platform::Displays& displays, platform::Point point);

// The display's bounds; the zero rectangle for an index outside the list.
platform::Rect displayBounds(platform::Displays& displays, std::int64_t index);

// displayBounds less the menu-bar band at the top, on every screen: (0, 25, 0, -25) for an
// index outside the list.
platform::Rect usableScreenRect(platform::Displays& displays, std::int64_t index);

}  // namespace tarn::window
