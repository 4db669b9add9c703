#include "platform/kde/kde_desktop.h"

#include "platform/kde/fake_input.h"
#include "platform/kde/key_source.h"
#include "platform/kde/kwin.h"
#include "platform/kde/windows.h"
#include "platform/linux_desktop.h"

namespace tarn::platform::kde {
namespace {

// KWin asks nothing of a program that drives windows through scripts, and the desktop
// exists only once its script runs. Keys and the pointer need KWin's fake input, granted by
// the program's desktop entry: an event that cannot be made says so when it is made.
class KdeAccessibility final : public Accessibility {
  public:
    bool isTrusted(bool) override { return true; }
    std::string untrustedReason() override { return ""; }
};

class KdeDesktop final : public LinuxDesktop {
  public:
    KdeDesktop(std::unique_ptr<KWinSession> session, std::unique_ptr<BrowserServices> browsers,
               std::unique_ptr<ScriptRunner> scripts, DesktopOptions options)
        : LinuxDesktop(std::move(browsers), std::move(scripts)),
          session_(std::move(session)),
          displays_(*session_),
          windows_(*session_, displays_),
          clipboard_(makeClipboard(link_, options.clipboardOutlivesProcess)) {
        auto input = openFakeInput(
            link_, [this] { return displays_.origin(); },
            [this]() -> std::optional<Point> {
                auto at = session_->request({{"op", "cursor"}});
                if (!at.is_object()) return std::nullopt;
                return Point{at.value("x", 0.0), at.value("y", 0.0)};
            },
            [](bool blocked) { blockGlobalShortcuts(blocked); });
        keyboard_ = std::move(input.keyboard);
        pointer_ = std::move(input.pointer);
    }

    WindowSystem& windowSystem() override { return windows_; }
    Displays& displays() override { return displays_; }
    KeyboardOutput& keyboard() override { return *keyboard_; }
    Clipboard& clipboard() override { return *clipboard_; }
    Pointer& pointer() override { return *pointer_; }
    Accessibility& accessibility() override { return accessibility_; }

  private:
    std::unique_ptr<KWinSession> session_;
    KWinDisplays displays_;
    KWinWindows windows_;
    std::shared_ptr<WaylandLink> link_ = std::make_shared<WaylandLink>();
    std::unique_ptr<KeyboardOutput> keyboard_;
    std::unique_ptr<Pointer> pointer_;
    std::unique_ptr<Clipboard> clipboard_;
    KdeAccessibility accessibility_;
};

}  // namespace

DesktopChoice openKdeDesktop(std::unique_ptr<BrowserServices> browsers,
                             std::unique_ptr<ScriptRunner> scripts, DesktopOptions options) {
    std::string error;
    auto session = KWinSession::open(error);
    if (!session) return {nullptr, "No desktop to work on: " + error};
    return {std::make_unique<KdeDesktop>(std::move(session), std::move(browsers),
                                         std::move(scripts), options),
            {}};
}

}  // namespace tarn::platform::kde
