#pragma once

// Tarn's GNOME Shell extension (extension/shell.js) as the C++ side calls it: the
// org.tarn.Shell1 interface on the session bus, one typed method per call. On GNOME's Wayland
// session only the shell may see other programs' windows, place them or hold a key chord, so
// everything the gnome backend does to windows goes through here.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/dbus/bus.h"
#include "platform/geometry.h"
#include "platform/window_system.h"

namespace tarn::platform::gnome {

// The interface version this build speaks (the extension's own number, read from its source
// at build time).
std::uint32_t interfaceVersion();

// What to run to get the extension, for every message that needs it.
inline constexpr const char* kInstallHint =
    "run `tarn-gnome-extension install`, then log out and back in";

struct ShellWindow {
    std::uint64_t id = 0;
    Pid pid = 0;
    std::string appId;    // the Wayland app_id or the X class
    std::string appName;  // the shell's name for the application
    std::string title;
    bool minimized = false;
    Rect frame;
};

struct ShellApp {
    Pid pid = 0;
    std::string appId;
    std::string appName;
};

struct ShellMonitor {
    Rect bounds;
    Rect workArea;
    bool primary = false;
};

// How a grab went: the action id the shell's signal names, or why there is none.
struct ShellGrab {
    std::optional<std::uint32_t> action;
    bool taken = false;  // GNOME or another program holds the chord
    std::string error;
};

class ShellExtension {
  public:
    explicit ShellExtension(dbus::Bus& bus) : bus_(bus) {}

    // "" when the extension answers in the version this build speaks; otherwise what is wrong
    // and what to run, in one sentence.
    std::string check();

    // The focused window; absent when nothing has the focus or the shell does not answer.
    std::optional<ShellWindow> focusedWindow();
    // Ordinary windows, of one process (pid > 0) or all, oldest first; absent on failure.
    std::optional<std::vector<ShellWindow>> windows(Pid pid);
    std::optional<std::vector<ShellApp>> apps();
    std::optional<Rect> frame(std::uint64_t window);
    bool place(std::uint64_t window, Rect frame);
    std::optional<bool> isMinimized(std::uint64_t window);
    bool setMinimized(std::uint64_t window, bool minimized);
    bool activate(std::uint64_t window);
    // In the shell's order; empty when the shell does not answer.
    std::vector<ShellMonitor> monitors();

    ShellGrab grab(const std::string& accelerator);
    bool release(std::uint32_t action);
    bool releaseAll();

    std::optional<std::string> clipboard();
    bool setClipboard(const std::string& text);
    std::optional<Point> pointer();
    // Whether any of Shift, Control, Alt or Super is held on the seat; absent when the shell
    // does not answer.
    std::optional<bool> modifiersHeld();
    bool warpPointer(Point to);

    // The last failure, in words (for logs).
    const std::string& lastError() const { return lastError_; }

    static const dbus::Address& address();

  private:
    dbus::Reply call(const std::string& member, const std::string& signature,
                     const std::vector<dbus::Value>& arguments);

    dbus::Bus& bus_;
    std::string lastError_;
};

}  // namespace tarn::platform::gnome
