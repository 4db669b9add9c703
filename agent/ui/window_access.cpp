#include "agent/ui/window_access.h"

#include "platform/desktop.h"

namespace tarn::agent::ui {
namespace {

// A desktop that went away (the X server ended) reads as one without applications.
template <typename Result, typename Read>
Result orNothing(platform::Desktop* desktop, Read read) {
    if (!desktop) return Result{};
    try {
        return read(*desktop);
    } catch (const platform::DesktopError&) {
        return Result{};
    }
}

}  // namespace

std::optional<platform::Pid> DesktopWindowAccess::runningApp(const std::string& bundleID) {
    return orNothing<std::optional<platform::Pid>>(desktop_, [&](platform::Desktop& desktop) {
        // Each recording looks at the desktop afresh.
        desktop.windowSystem().forget();
        desktop.displays().forget();
        std::optional<platform::Pid> found;
        for (const auto& app : desktop.windowSystem().runningApplications()) {
            if (app.bundleID == bundleID) {
                found = app.pid;
                break;
            }
        }
        return found;
    });
}

std::vector<platform::WindowId> DesktopWindowAccess::windows(platform::Pid pid) {
    return orNothing<std::vector<platform::WindowId>>(
        desktop_, [&](platform::Desktop& desktop) { return desktop.windowSystem().windows(pid); });
}

std::optional<platform::Point> DesktopWindowAccess::position(platform::WindowId window) {
    return orNothing<std::optional<platform::Point>>(desktop_, [&](platform::Desktop& desktop) {
        return desktop.windowSystem().position(window);
    });
}

std::optional<platform::Size> DesktopWindowAccess::size(platform::WindowId window) {
    return orNothing<std::optional<platform::Size>>(
        desktop_, [&](platform::Desktop& desktop) { return desktop.windowSystem().size(window); });
}

std::vector<platform::Rect> DesktopWindowAccess::screens() {
    return orNothing<std::vector<platform::Rect>>(desktop_, [&](platform::Desktop& desktop) {
        std::vector<platform::Rect> bounds;
        for (auto display : desktop.displays().activeDisplays()) {
            bounds.push_back(desktop.displays().bounds(display));
        }
        return bounds;
    });
}

std::optional<platform::IconImage> DesktopWindowAccess::windowIcon(platform::WindowId window,
                                                                   int size) {
    return orNothing<std::optional<platform::IconImage>>(desktop_, [&](platform::Desktop& desktop) {
        return desktop.windowSystem().windowIcon(window, size);
    });
}

}  // namespace tarn::agent::ui
