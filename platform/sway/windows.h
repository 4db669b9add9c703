#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platform/displays.h"
#include "platform/sway/ipc.h"
#include "platform/sway/tree.h"
#include "platform/window_system.h"

namespace tarn::platform::sway {

// The IPC connection a desktop's window system and displays share (they run on one thread).
// A request on a connection that failed throws DesktopError: sway went away.
class Session {
  public:
    explicit Session(Ipc ipc) : ipc_(std::move(ipc)) {}
    Json request(std::uint32_t type);
    // The layout tree, read once per operation (until forget()).
    const Json& tree();
    void forget() { tree_.reset(); }
    // Runs the commands; false (with sway's reason) when one of them failed.
    bool command(const std::string& commands, std::string* error = nullptr);
    Ipc& ipc() { return ipc_; }

  private:
    Ipc ipc_;
    std::optional<Json> tree_;
};

// Other applications' windows through sway's tree.
//
// An application is a process (a window's pid); its bundle identifier and name are the
// Wayland app_id, or the X class of an XWayland window. The frontmost application is the
// one of the focused window.
//
// Frames are outer frames: the container's rect with the title bar (deco_rect) above it.
// A frame is placed with one command that makes the window floating, sizes it and then
// moves it (sway keeps the centre when it resizes, so the move comes last).
//
// sway has no minimised windows. Minimising sends the window to the scratchpad, after
// remembering its frame in a hidden mark of its own (a mark whose name starts with "_" is
// never drawn), so that any later process can restore it: restoring shows it again,
// floating, at that frame. A window in the scratchpad counts as minimised.
class SwayWindows final : public WindowSystem {
  public:
    explicit SwayWindows(std::shared_ptr<Session> session) : session_(std::move(session)) {}

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
    void forget() override {
        tree_.reset();
        session_->forget();
    }

  private:
    // One operation reads the tree once; what this object changes drops it.
    const std::vector<SwayWindow>& tree();
    const SwayWindow* find(WindowId window);

    std::shared_ptr<Session> session_;
    std::optional<std::vector<SwayWindow>> tree_;
};

// The mark that keeps a minimised window's frame, and the frame it keeps.
std::string frameMark(Rect frame);
std::optional<Rect> frameOfMark(const std::string& mark);

// Applications of a tree: one per pid, in the tree's order.
std::vector<AppInfo> applicationsOf(const std::vector<SwayWindow>& windows);
std::optional<AppInfo> frontmostOf(const std::vector<SwayWindow>& windows);

// The active outputs, read from the tree (tree.h gives their order and the primary). Their bounds
// are the whole output: the placement rules leave their own band for a bar at the top of every
// screen, as they do on every desktop.
class SwayDisplays final : public Displays {
  public:
    explicit SwayDisplays(std::shared_ptr<Session> session) : session_(std::move(session)) {}

    std::vector<DisplayId> activeDisplays() override;
    Rect bounds(DisplayId display) override;
    DisplayId mainDisplay() override;
    void forget() override {
        outputs_.reset();
        session_->forget();
    }
    // The bounding box of every output: the virtual pointer's layout.
    Rect layout();

  private:
    const std::vector<SwayOutput>& outputs();

    std::shared_ptr<Session> session_;
    std::optional<std::vector<SwayOutput>> outputs_;
};

}  // namespace tarn::platform::sway
