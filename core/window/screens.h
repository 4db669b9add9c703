#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/displays.h"
#include "platform/geometry.h"

// The screen rules every placement uses. Nothing outlives one operation: each rule, and each
// ScreenLayout, asks the display list afresh, so a screen plugged in or out between two
// presses is seen at once.
namespace tarn::window {

// Height of the band at the top of every screen that placements leave free for the menu bar.
inline constexpr double kMenuBarAllowance = 25;

// The display rectangles as they are at one moment, so that one computation (all the steps of
// one press) sees one consistent layout and asks the platform once.
class ScreenLayout {
  public:
    explicit ScreenLayout(platform::Displays& displays);

    std::size_t count() const { return bounds_.size(); }
    bool contains(std::int64_t index) const;

    // Index of the first display containing the point (minimum edges inclusive, maximum edges
    // exclusive, so a shared edge belongs to the next display); 0 when none does.
    std::int64_t screenIndexForPoint(platform::Point point) const;
    // The display's bounds; the zero rectangle for an index outside the list.
    platform::Rect displayBounds(std::int64_t index) const;
    // displayBounds less the menu-bar band at the top, on every screen: (0, 25, 0, -25) for an
    // index outside the list.
    platform::Rect usableScreenRect(std::int64_t index) const;

  private:
    std::vector<platform::Rect> bounds_;
};

// Active displays in the platform's order; index 0 is the primary screen.
std::vector<platform::DisplayId> getActiveDisplays(platform::Displays& displays);

// The rules of ScreenLayout on the display list as it is now.
std::int64_t screenIndexForPoint(platform::Displays& displays, platform::Point point);
platform::Rect displayBounds(platform::Displays& displays, std::int64_t index);
platform::Rect usableScreenRect(platform::Displays& displays, std::int64_t index);

}  // namespace tarn::window
