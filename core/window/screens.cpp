#include "core/window/screens.h"

namespace tarn::window {

ScreenLayout::ScreenLayout(platform::Displays& displays) {
    for (platform::DisplayId display : getActiveDisplays(displays)) {
        bounds_.push_back(displays.bounds(display));
    }
}

bool ScreenLayout::contains(std::int64_t index) const {
    return index >= 0 && static_cast<std::uint64_t>(index) < bounds_.size();
}

std::int64_t ScreenLayout::screenIndexForPoint(platform::Point point) const {
    for (std::size_t i = 0; i < bounds_.size(); ++i) {
        if (bounds_[i].contains(point)) return static_cast<std::int64_t>(i);
    }
    return 0;
}

platform::Rect ScreenLayout::displayBounds(std::int64_t index) const {
    if (!contains(index)) return {};
    return bounds_[static_cast<std::size_t>(index)];
}

platform::Rect ScreenLayout::usableScreenRect(std::int64_t index) const {
    platform::Rect bounds = displayBounds(index);
    bounds.y += kMenuBarAllowance;
    bounds.height -= kMenuBarAllowance;
    return bounds;
}

std::vector<platform::DisplayId> getActiveDisplays(platform::Displays& displays) {
    return displays.activeDisplays();
}

std::int64_t screenIndexForPoint(platform::Displays& displays, platform::Point point) {
    return ScreenLayout(displays).screenIndexForPoint(point);
}

platform::Rect displayBounds(platform::Displays& displays, std::int64_t index) {
    return ScreenLayout(displays).displayBounds(index);
}

platform::Rect usableScreenRect(platform::Displays& displays, std::int64_t index) {
    return ScreenLayout(displays).usableScreenRect(index);
}

}  // namespace tarn::window
