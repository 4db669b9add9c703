#include "platform/x11/x11_desktop.h"

#include <chrono>
#include <cmath>
#include <thread>

#include "platform/linux_desktop.h"
#include "platform/x11/clipboard.h"
#include "platform/x11/connection.h"
#include "platform/x11/displays.h"
#include "platform/x11/keyboard.h"
#include "platform/x11/windows.h"

namespace tarn::platform::x11 {
namespace {

class PointerX11 final : public Pointer {
  public:
    PointerX11(Connection& connection, bool haveXTest) : x_(connection), xtest_(haveXTest) {}

    void warp(Point to) override {
        XWarpPointer(x_.display(), None, x_.root(), 0, 0, 0, 0, static_cast<int>(std::lround(to.x)),
                     static_cast<int>(std::lround(to.y)));
        XFlush(x_.display());
        x_.check();
    }

    std::optional<Point> location() override {
        Window root = None;
        Window child = None;
        int rootX = 0, rootY = 0, windowX = 0, windowY = 0;
        unsigned int mask = 0;
        bool onScreen = XQueryPointer(x_.display(), x_.root(), &root, &child, &rootX, &rootY,
                                      &windowX, &windowY, &mask);
        x_.check();
        if (!onScreen) return std::nullopt;
        return Point{static_cast<double>(rootX), static_cast<double>(rootY)};
    }

    // Pointer events are made through XTest, as keys are.
    bool canCreateMouseEvent(Point) override { return xtest_; }

  private:
    Connection& x_;
    bool xtest_;
};

class AccessibilityX11 final : public Accessibility {
  public:
    AccessibilityX11(const Connection& connection, bool haveXTest)
        : name_(connection.name()), xtest_(haveXTest) {}

    // X has no permission to ask for: a client that reached the server may drive it, as
    // long as the server lets clients make input events.
    bool isTrusted(bool) override { return xtest_; }
    std::string untrustedReason() override {
        if (xtest_) return "";
        return "the X server on display " + name_ +
               " lacks the XTEST extension, so no keyboard or mouse events can be made";
    }

  private:
    std::string name_;
    bool xtest_;
};

class X11Desktop final : public LinuxDesktop {
  public:
    X11Desktop(std::unique_ptr<Connection> connection, std::unique_ptr<BrowserServices> browsers,
               std::unique_ptr<ScriptRunner> scripts, ClipboardOwner clipboard,
               std::shared_ptr<MarkerLedger> ledger)
        : LinuxDesktop(std::move(browsers), std::move(scripts)),
          connection_(std::move(connection)),
          xtest_(connection_->hasExtension("XTEST")),
          windows_(*connection_),
          displays_(*connection_),
          keyboard_(*connection_, xtest_, std::move(ledger)),
          clipboard_(*connection_, clipboard),
          pointer_(*connection_, xtest_),
          accessibility_(*connection_, xtest_) {}

    WindowSystem& windowSystem() override { return windows_; }
    Displays& displays() override { return displays_; }
    KeyboardOutput& keyboard() override { return keyboard_; }
    Clipboard& clipboard() override { return clipboard_; }
    Pointer& pointer() override { return pointer_; }
    Accessibility& accessibility() override { return accessibility_; }

  private:
    // Declared first so that it closes last, after everything that uses it.
    std::unique_ptr<Connection> connection_;
    bool xtest_;
    WindowSystemX11 windows_;
    DisplaysX11 displays_;
    KeyboardX11 keyboard_;
    ClipboardX11 clipboard_;
    PointerX11 pointer_;
    AccessibilityX11 accessibility_;
};

}  // namespace

DesktopChoice openX11Desktop(const std::string& displayName,
                             std::unique_ptr<BrowserServices> browsers,
                             std::unique_ptr<ScriptRunner> scripts, DesktopOptions options,
                             std::shared_ptr<MarkerLedger> ledger) {
    std::string error;
    auto connection = Connection::open(displayName, error);
    if (!connection) return {nullptr, error};
    auto clipboard = options.clipboardOutlivesProcess ? ClipboardOwner::forkedProcess
                                                      : ClipboardOwner::thisProcess;
    return {std::make_unique<X11Desktop>(std::move(connection), std::move(browsers),
                                         std::move(scripts), clipboard, std::move(ledger)),
            {}};
}

}  // namespace tarn::platform::x11
