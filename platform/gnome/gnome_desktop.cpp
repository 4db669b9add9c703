#include "platform/gnome/gnome_desktop.h"

#include <algorithm>
#include <map>

#include "platform/gnome/keys.h"
#include "platform/gnome/remote_desktop.h"
#include "platform/gnome/shell_extension.h"
#include "platform/linux_desktop.h"

namespace tarn::platform::gnome {
namespace {

AppInfo appOf(Pid pid, const std::string& appId, const std::string& appName) {
    AppInfo app;
    app.pid = pid;
    if (!appId.empty()) app.bundleID = appId;
    if (!appName.empty()) app.localizedName = appName;
    return app;
}

// What it reads is remembered for the operation (a command, or one action of the agent): a
// move reads the focused window and its frame several times, and each read is a round trip
// through the shell's main loop.
class WindowSystemGnome final : public WindowSystem {
  public:
    explicit WindowSystemGnome(ShellExtension& shell) : shell_(shell) {}

    std::optional<AppInfo> frontmostApplication() override {
        const auto& focused = focused_();
        if (!focused || focused->pid <= 0) return std::nullopt;
        return appOf(focused->pid, focused->appId, focused->appName);
    }

    std::vector<AppInfo> runningApplications() override {
        std::vector<AppInfo> apps;
        for (const ShellApp& app : shell_.apps().value_or(std::vector<ShellApp>{})) {
            apps.push_back(appOf(app.pid, app.appId, app.appName));
        }
        return apps;
    }

    FocusedWindow focusedWindow(Pid pid) override {
        const auto& focused = focused_();
        if (focused && focused->pid == pid) return {.window = focused->id, .error = ax::success};
        return {.window = std::nullopt, .error = ax::noValue};
    }

    std::vector<WindowId> windows(Pid pid) override {
        std::vector<WindowId> ids;
        if (pid <= 0) return ids;
        for (const ShellWindow& window : shell_.windows(pid).value_or(std::vector<ShellWindow>{})) {
            ids.push_back(window.id);
        }
        return ids;
    }

    std::optional<bool> isMinimized(WindowId window) override { return shell_.isMinimized(window); }

    // Restoring gives the window the focus too, as a click on its icon in the dash would.
    void setMinimized(WindowId window, bool minimized) override {
        forget();
        if (shell_.setMinimized(window, minimized) && !minimized) shell_.activate(window);
    }

    std::optional<Point> position(WindowId window) override {
        auto frame = frameOf(window);
        if (!frame) return std::nullopt;
        return frame->origin();
    }

    std::optional<Size> size(WindowId window) override {
        auto frame = frameOf(window);
        if (!frame) return std::nullopt;
        return frame->size();
    }

    void setFrame(WindowId window, Rect frame) override {
        frames_.erase(window);
        shell_.place(window, frame);
    }

    int windowListError(Pid pid) override {
        auto windows = shell_.windows(pid);
        if (!windows) return ax::apiDisabled;
        return windows->empty() ? ax::invalidElement : ax::success;
    }

    int focusedElementError() override {
        return shell_.check().empty() ? ax::success : ax::apiDisabled;
    }

    void forget() override {
        focused_.reset();
        frames_.clear();
    }

  private:
    // The focused window as first read in this operation (absent: none has the focus).
    class Focused {
      public:
        explicit Focused(ShellExtension& shell) : shell_(shell) {}
        const std::optional<ShellWindow>& operator()() {
            if (!read_) read_ = shell_.focusedWindow();
            return *read_;
        }
        void reset() { read_.reset(); }

      private:
        ShellExtension& shell_;
        std::optional<std::optional<ShellWindow>> read_;
    };

    std::optional<Rect> frameOf(WindowId window) {
        if (auto known = frames_.find(window); known != frames_.end()) return known->second;
        auto frame = shell_.frame(window);
        if (frame) frames_[window] = *frame;
        return frame;
    }

    ShellExtension& shell_;
    Focused focused_{shell_};
    std::map<WindowId, Rect> frames_;
};

// The monitors, the primary first and the others in the shell's order.
class DisplaysGnome final : public Displays {
  public:
    explicit DisplaysGnome(ShellExtension& shell) : shell_(shell) {}

    std::vector<DisplayId> activeDisplays() override {
        std::vector<DisplayId> ids;
        for (std::size_t i = 0; i < monitors().size(); ++i) ids.push_back(monitors()[i].id);
        return ids;
    }

    Rect bounds(DisplayId display) override {
        for (const Monitor& monitor : monitors()) {
            if (monitor.id == display) return monitor.bounds;
        }
        return {};
    }

    DisplayId mainDisplay() override { return monitors().empty() ? 0 : monitors().front().id; }

    void forget() override { cached_.reset(); }

  private:
    struct Monitor {
        DisplayId id;  // the shell's monitor index
        Rect bounds;
    };

    const std::vector<Monitor>& monitors() {
        if (!cached_) {
            std::vector<Monitor> found;
            auto shell = shell_.monitors();
            for (std::size_t i = 0; i < shell.size(); ++i) {
                Monitor monitor{static_cast<DisplayId>(i), shell[i].bounds};
                if (shell[i].primary) {
                    found.insert(found.begin(), monitor);
                } else {
                    found.push_back(monitor);
                }
            }
            cached_ = std::move(found);
        }
        return *cached_;
    }

    ShellExtension& shell_;
    std::optional<std::vector<Monitor>> cached_;
};

class ClipboardGnome final : public Clipboard {
  public:
    explicit ClipboardGnome(ShellExtension& shell) : shell_(shell) {}
    std::optional<std::string> readText() override { return shell_.clipboard(); }
    void writeText(const std::string& text) override { shell_.setClipboard(text); }

  private:
    ShellExtension& shell_;
};

// The pointer through the extension: Mutter's RemoteDesktop takes absolute motion only
// relative to a screen-cast stream, and a stream per monitor means PipeWire running and a
// cast started for each move; the shell warps its own pointer directly.
class PointerGnome final : public Pointer {
  public:
    explicit PointerGnome(ShellExtension& shell) : shell_(shell) {}
    void warp(Point to) override { shell_.warpPointer(to); }
    std::optional<Point> location() override { return shell_.pointer(); }
    bool canCreateMouseEvent(Point) override { return shell_.check().empty(); }

  private:
    ShellExtension& shell_;
};

class AccessibilityGnome final : public Accessibility {
  public:
    explicit AccessibilityGnome(ShellExtension& shell) : shell_(shell) {}
    bool isTrusted(bool) override { return untrustedReason().empty(); }
    std::string untrustedReason() override {
        if (!reason_) reason_ = shell_.check();
        return *reason_;
    }

  private:
    ShellExtension& shell_;
    std::optional<std::string> reason_;
};

class GnomeDesktop final : public LinuxDesktop {
  public:
    GnomeDesktop(std::unique_ptr<dbus::Bus> bus, std::unique_ptr<BrowserServices> browsers,
                 std::unique_ptr<ScriptRunner> scripts,
                 std::shared_ptr<platform::MarkerLedger> ledger)
        : LinuxDesktop(std::move(browsers), std::move(scripts)),
          bus_(std::move(bus)),
          shell_(*bus_),
          remote_(*bus_),
          windows_(shell_),
          displays_(shell_),
          keyboard_(remote_, std::move(ledger)),
          clipboard_(shell_),
          pointer_(shell_),
          accessibility_(shell_) {}

    WindowSystem& windowSystem() override { return windows_; }
    Displays& displays() override { return displays_; }
    KeyboardOutput& keyboard() override { return keyboard_; }
    Clipboard& clipboard() override { return clipboard_; }
    Pointer& pointer() override { return pointer_; }
    Accessibility& accessibility() override { return accessibility_; }

  private:
    // Declared first so that it closes last, after everything that uses it.
    std::unique_ptr<dbus::Bus> bus_;
    ShellExtension shell_;
    RemoteDesktop remote_;
    WindowSystemGnome windows_;
    DisplaysGnome displays_;
    KeyboardGnome keyboard_;
    ClipboardGnome clipboard_;
    PointerGnome pointer_;
    AccessibilityGnome accessibility_;
};

}  // namespace

DesktopChoice openGnomeDesktop(std::unique_ptr<BrowserServices> browsers,
                               std::unique_ptr<ScriptRunner> scripts,
                               std::shared_ptr<platform::MarkerLedger> ledger) {
    std::string error;
    auto bus = dbus::Bus::session(error);
    if (!bus) return {nullptr, "the session bus cannot be reached: " + error};
    return {std::make_unique<GnomeDesktop>(std::move(bus), std::move(browsers), std::move(scripts),
                                           std::move(ledger)),
            {}};
}

}  // namespace tarn::platform::gnome
