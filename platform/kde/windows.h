#pragma once

// Windows and displays of KWin, through the process's resident script (kwin.h).
//
// A window's id is the first 64 bits of KWin's UUID for it, so the same window has the same
// id in every process (the move cycle's state file names windows across presses). An
// application is a process id; its identifier and name are the window's resource class
// (the Wayland app_id, or the X class of an XWayland window). Displays are KWin's outputs in
// KWin's own order, the first one the primary; coordinates are moved so that the primary's
// top-left corner is the origin, as everywhere in Tarn.

#include <map>
#include <optional>
#include <vector>

#include "platform/displays.h"
#include "platform/kde/kwin.h"
#include "platform/window_system.h"

namespace tarn::platform::kde {

struct KWinOutput {
    Rect geometry;
    Rect usable;  // less panels and other reserved edges
};

// The outputs as the script reports them ({g: {x,y,w,h}, u: {...}} each); empty for anything
// else.
std::vector<KWinOutput> parseOutputs(const support::Json& answer);
// The window id in a script's text id (16 hex digits); absent when it is not one.
std::optional<WindowId> parseWindowId(const std::string& text);

class KWinDisplays final : public Displays {
  public:
    explicit KWinDisplays(KWinSession& session) : session_(session) {}
    std::vector<DisplayId> activeDisplays() override;
    Rect bounds(DisplayId display) override;
    DisplayId mainDisplay() override { return 0; }
    void forget() override { cached_.reset(); }

    // KWin's outputs, in its coordinates, read once per operation.
    const std::vector<KWinOutput>& outputs();
    // Where the primary output's top-left corner is in KWin's coordinates.
    Point origin();

  private:
    KWinSession& session_;
    std::optional<std::vector<KWinOutput>> cached_;
};

class KWinWindows final : public WindowSystem {
  public:
    KWinWindows(KWinSession& session, KWinDisplays& displays)
        : session_(session), displays_(displays) {}

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
    void forget() override { frames_.clear(); }

  private:
    struct Window {
        WindowId id = 0;
        Pid pid = 0;
        std::string resourceClass;
    };
    struct Frame {
        Rect rect;
        bool minimized = false;
    };
    std::vector<Window> allWindows();
    std::optional<Frame> frame(WindowId window);
    static std::string idText(WindowId window);

    KWinSession& session_;
    KWinDisplays& displays_;
    std::map<WindowId, Frame> frames_;  // for the length of one operation
};

}  // namespace tarn::platform::kde
