#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/geometry.h"

namespace tarn::platform {

using Pid = std::int64_t;
// Opaque window handle, valid for the duration of one command. Backends pick the numbering
// (the sim uses the ids of its desktop file, X11 uses client window ids).
using WindowId = std::uint64_t;

// Error codes in the numbering of the macOS Accessibility interface, so the texts that print
// them mean the same on every platform.
namespace ax {
inline constexpr int success = 0;
inline constexpr int failure = -25200;
inline constexpr int noValue = -25212;
inline constexpr int apiDisabled = -25211;
inline constexpr int invalidElement = -25202;
}  // namespace ax

struct AppInfo {
    Pid pid = 0;
    std::optional<std::string> bundleID;
    std::optional<std::string> localizedName;
    // A regular (Dock) application, as opposed to an accessory or background one.
    bool regularActivationPolicy = true;
};

// A picture a window publishes of itself: rows of 0xAARRGGBB pixels, top row first.
struct IconImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> argb;
};

// Result of asking an application for its focused window: the window, or the error code of
// the failed read (ax::success with no window when the read succeeded without a value).
struct FocusedWindow {
    std::optional<WindowId> window;
    int error = ax::success;
};

// Other applications' windows. Reads that fail are absent results; writes are fire-and-forget
// (a window that refuses a position or size keeps what it can).
class WindowSystem {
  public:
    virtual ~WindowSystem() = default;

    // The application that has the keyboard focus; absent when there is none.
    virtual std::optional<AppInfo> frontmostApplication() = 0;
    // Running applications in the desktop's own, stable order.
    virtual std::vector<AppInfo> runningApplications() = 0;
    // The application's focused window.
    virtual FocusedWindow focusedWindow(Pid pid) = 0;
    // The application's windows in the desktop's order; empty when the read fails.
    virtual std::vector<WindowId> windows(Pid pid) = 0;

    // Minimised flag; absent when it cannot be read.
    virtual std::optional<bool> isMinimized(WindowId window) = 0;
    virtual void setMinimized(WindowId window, bool minimized) = 0;

    // The window's outer frame, read the way the Accessibility interface splits it.
    virtual std::optional<Point> position(WindowId window) = 0;
    virtual std::optional<Size> size(WindowId window) = 0;
    // Places the outer frame, position and size together: every desktop places a frame in
    // one request (a window manager message, a compositor command), and two would show the
    // window half-moved. A window that refuses a size keeps what it can.
    virtual void setFrame(WindowId window, Rect frame) = 0;

    // Health probe: error code of reading the application's window list, and of reading the
    // system-wide focused element.
    virtual int windowListError(Pid pid) = 0;
    virtual int focusedElementError() = 0;

    // The icon the window publishes, of those it offers the one nearest to `size` pixels
    // square; absent when it offers none (or the desktop has no such thing).
    virtual std::optional<IconImage> windowIcon(WindowId /*window*/, int /*size*/) {
        return std::nullopt;
    }
    // Backends may remember what they read for the length of one operation (a command, or
    // one agent action); this drops it, so the next read asks the desktop again.
    virtual void forget() {}
};

}  // namespace tarn::platform
