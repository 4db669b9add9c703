#include "core/window/screens.h"

namespace tarn::window {

std::vector<platform::DisplayId> getActiveDisplays(platform::Displays& displays) {
    return displays.activeDisplays();
}

std::int64_t screenIndexForPoint(platform::Displays& displays, platform::Point point) {
    auto list = getActiveDisplays(displays);
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (displays.bounds(list[i]).contains(point)) return static_cast<std::int64_t>(i);
    }
    return 0;
}

platform::Rect displayBounds(platform::Displays& displays, std::int64_t index) {
    auto list = getActiveDisplays(displays);
    if (index < 0 || static_cast<std::uint64_t>(index) >= list.size()) return {};
    return displays.bounds(list[static_cast<std::size_t>(index)]);
}

platform::Rect usableScreenRect(platform::Displays& displays, std::int64_t index) {
    platform::Rect bounds = displayBounds(displays, index);
    bounds.y += kMenuBarAllowance;
    bounds.height -= kMenuBarAllowance;
    return bounds;
}

}  // namespace tarn::window
