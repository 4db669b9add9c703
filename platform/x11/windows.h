#pragma once

#include <initializer_list>
#include <utility>

#include "platform/window_system.h"
#include "platform/x11/connection.h"

namespace tarn::platform::x11 {

// Other applications' windows through the window manager's EWMH properties.
//
// An application is a process: a client window's _NET_WM_PID, or, for clients that do not
// set it, the process the X-Resource extension knows for the window's connection. A client
// neither names (a remote one) counts as an application of its own, with the negated
// window id as its pid. Its bundle identifier and name are the class part of WM_CLASS.
//
// Frames are outer frames: the client's geometry plus the decorations the window manager
// reports in _NET_FRAME_EXTENTS, in root coordinates (which are the global display space).
//
// Without a window manager (no live _NET_SUPPORTING_WM_CHECK window) nothing is frontmost,
// no application is listed, and moves go straight to the window.
// Of the icons in a _NET_WM_ICON value (width, height, then width × height ARGB pixels,
// repeated), the smallest at least `size` pixels wide, else the largest; absent when the
// value holds no complete icon.
std::optional<IconImage> pickNetWmIcon(const std::vector<long>& value, int size);

class WindowSystemX11 final : public WindowSystem {
  public:
    explicit WindowSystemX11(Connection& connection) : x_(connection) {}

    std::optional<AppInfo> frontmostApplication() override;
    std::vector<AppInfo> runningApplications() override;
    FocusedWindow focusedWindow(Pid pid) override;
    std::vector<WindowId> windows(Pid pid) override;
    std::optional<bool> isMinimized(WindowId window) override;
    void setMinimized(WindowId window, bool minimized) override;
    std::optional<Point> position(WindowId window) override;
    std::optional<Size> size(WindowId window) override;
    void setFrame(WindowId window, Rect frame) override;
    int windowListError(Pid pid) override;
    int focusedElementError() override;
    void forget() override;
    std::optional<IconImage> windowIcon(WindowId window, int size) override;

    // runningApplications(), with regularActivationPolicy read from the windows: an
    // application is an ordinary one when one of its windows is a normal window (of type
    // _NET_WM_WINDOW_TYPE_NORMAL, or of no type) that the task bar shows (no
    // _NET_WM_STATE_SKIP_TASKBAR).
    std::vector<AppInfo> applicationsWithPolicy();

  private:
    std::vector<AppInfo> applications(bool readPolicy);
    bool onTaskBar(Window window);
    struct Extents {
        long left = 0, right = 0, top = 0, bottom = 0;
    };
    struct Placement {
        Rect outer;
        Extents extents;
        int border = 0;
    };

    bool haveWindowManager();
    bool findWindowManager();
    std::vector<Window> clientList();
    std::optional<Window> activeWindow();
    Pid pidOf(Window window);
    AppInfo appInfo(Pid pid, Window window);
    std::optional<Placement> placement(Window window);
    std::optional<Placement> readPlacement(Window window);
    bool hasState(Window window, std::initializer_list<const char*> wanted);
    bool clearMaximized(Window window);
    void moveResize(Window window, const Rect& frame);

    Connection& x_;
    Window windowManagerCheck_ = None;  // the window manager's own window, once seen

    // What one operation learnt and may use again until forget(): a move reads the frame
    // as a position and a size and writes it the same way, and each step would otherwise
    // ask the server again for the window manager, the maximised state and the decorations.
    std::optional<bool> managed_;
    // The window and pid the frontmost application was found by: the focused window, asked
    // for next with that pid, is that same window.
    std::optional<std::pair<Window, Pid>> frontmost_;
    struct Remembered {
        Window window = None;
        std::optional<Placement> placement;  // until the window is written to
        std::optional<Extents> extents;      // decorations do not change with a move
        int border = 0;
        bool notMaximized = false;
    };
    Remembered remembered_;
    Remembered& rememberedFor(Window window);
};

}  // namespace tarn::platform::x11
