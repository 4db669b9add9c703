#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/geometry.h"
#include "platform/window_system.h"

namespace tarn::platform {
class Desktop;
}

namespace tarn::agent::ui {

// What recording a saved location reads of the desktop: an application's windows and their
// outer frames, and the display list, the same frames and displays `tarn move-app` works in.
class WindowAccess {
  public:
    virtual ~WindowAccess() = default;
    // The first running application with this bundle identifier; absent when none runs.
    virtual std::optional<platform::Pid> runningApp(const std::string& bundleID) = 0;
    // Its windows in the desktop's order; empty when there are none or they cannot be read.
    virtual std::vector<platform::WindowId> windows(platform::Pid pid) = 0;
    virtual std::optional<platform::Point> position(platform::WindowId window) = 0;
    virtual std::optional<platform::Size> size(platform::WindowId window) = 0;
    // The displays' bounds, the primary first.
    virtual std::vector<platform::Rect> screens() = 0;
    // The icon a window publishes of itself, nearest to `size` pixels square.
    virtual std::optional<platform::IconImage> windowIcon(platform::WindowId /*window*/,
                                                          int /*size*/) {
        return std::nullopt;
    }
};

// The desktop's window system and displays. Without a desktop, or once it has gone away,
// nothing runs and there are no windows.
class DesktopWindowAccess final : public WindowAccess {
  public:
    explicit DesktopWindowAccess(platform::Desktop* desktop) : desktop_(desktop) {}
    std::optional<platform::Pid> runningApp(const std::string& bundleID) override;
    std::vector<platform::WindowId> windows(platform::Pid pid) override;
    std::optional<platform::Point> position(platform::WindowId window) override;
    std::optional<platform::Size> size(platform::WindowId window) override;
    std::vector<platform::Rect> screens() override;
    std::optional<platform::IconImage> windowIcon(platform::WindowId window, int size) override;

  private:
    platform::Desktop* desktop_;
};

}  // namespace tarn::agent::ui
