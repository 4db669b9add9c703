#include "agent/saved_locations.h"

#include <algorithm>

namespace tarn::agent {

std::int64_t screenIndexOf(const platform::Rect& window,
                           const std::vector<platform::Rect>& screens) {
    double half = 0.5 * window.width * window.height;
    for (std::size_t i = 0; i < screens.size(); ++i) {
        const platform::Rect& screen = screens[i];
        double width = std::min(window.maxX(), screen.maxX()) - std::max(window.x, screen.x);
        double height = std::min(window.maxY(), screen.maxY()) - std::max(window.y, screen.y);
        if (width > 0 && height > 0 && width * height > half) return static_cast<std::int64_t>(i);
    }
    return 0;
}

void storeInSlot(std::vector<SavedWindowLocation>& locations, std::size_t slot,
                 const SavedWindowLocation& location) {
    if (slot < locations.size()) {
        locations[slot] = location;
        return;
    }
    locations.resize(slot, SavedWindowLocation{});
    locations.push_back(location);
}

}  // namespace tarn::agent
