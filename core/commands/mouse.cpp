#include "core/commands/mouse.h"

#include <algorithm>
#include <ostream>

#include "core/permission.h"
#include "support/number_text.h"

namespace tarn::commands {
namespace {

using platform::Point;
using platform::Rect;

Point targetIn(const Rect& area, bool toHome) {
    if (toHome) return {area.x + 10, area.y + 10};
    return {area.x + area.width * 0.5, area.y + area.height * 0.5};
}

// The remainder with the sign of the divisor, so negative numbers count from the end.
std::size_t wrapIndex(std::int64_t number, std::size_t count) {
    auto n = static_cast<std::int64_t>(count);
    return static_cast<std::size_t>(((number % n) + n) % n);
}

}  // namespace

std::vector<platform::DisplayId> screensFromLeft(platform::Displays& displays) {
    const auto active = displays.activeDisplays();
    const auto main = displays.mainDisplay();
    struct Other {
        platform::DisplayId id;
        double left;
    };
    std::vector<Other> others;
    for (auto id : active) {
        if (id != main) others.push_back({id, displays.bounds(id).x});
    }
    std::stable_sort(others.begin(), others.end(),
                     [](const Other& a, const Other& b) { return a.left < b.left; });
    std::vector<platform::DisplayId> order{main};
    for (const auto& other : others) order.push_back(other.id);
    return order;
}

// The frame is read here straight from the window system: the pointer only needs the
// focused window's position and size, and each failure has its own line.
void moveMouseToActiveWindow(bool toHome, CommandContext& context) {
    auto& windows = context.desktop().windowSystem();
    auto app = windows.frontmostApplication();
    if (!app) {
        context.out << "No frontmost application.\n";
        return;
    }
    auto focused = windows.focusedWindow(app->pid);
    if (focused.error != platform::ax::success || !focused.window) {
        context.out << "Could not get focused window (AX error " << focused.error << ").\n";
        return;
    }
    auto position = windows.position(*focused.window);
    if (!position) {
        context.out << "Could not get window position.\n";
        return;
    }
    auto size = windows.size(*focused.window);
    if (!size) {
        context.out << "Could not get window size.\n";
        return;
    }
    Rect frame{position->x, position->y, size->width, size->height};
    context.desktop().pointer().warp(targetIn(frame, toHome));
}

void moveMouseToScreen(std::int64_t screenNumber, bool toHome, CommandContext& context) {
    auto& displays = context.desktop().displays();
    if (displays.activeDisplays().empty()) {
        context.out << "No displays found.\n";
        return;
    }
    platform::DisplayId chosen = displays.mainDisplay();
    if (screenNumber != 0) {
        auto order = screensFromLeft(displays);
        chosen = order[wrapIndex(screenNumber, order.size())];
    }
    context.desktop().pointer().warp(targetIn(displays.bounds(chosen), toHome));
}

int moveMouse(const Args& args, CommandContext& context) {
    if (!ensureAccessibilityTrusted(context)) return 5;
    Args words = args;
    bool toHome = false;
    if (!words.empty() && (words.back() == "home" || words.back() == "center")) {
        toHome = words.back() == "home";
        words.pop_back();
    }
    if (words.empty() || words[0] == "app") {
        moveMouseToActiveWindow(toHome, context);
    } else if (words[0] == "screen") {
        std::int64_t number = 0;
        if (words.size() > 1) number = support::parseInt64(words[1]).value_or(0);
        moveMouseToScreen(number, toHome, context);
    } else {
        context.out << "Unknown target: " << words[0] << ". Use 'app' or 'screen'.\n";
    }
    return 0;
}

}  // namespace tarn::commands
