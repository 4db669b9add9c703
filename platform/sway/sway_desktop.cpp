#include "platform/sway/sway_desktop.h"

#include "platform/linux_desktop.h"
#include "platform/sway/windows.h"
#include "platform/wayland/connection.h"

namespace tarn::platform::sway {
namespace {

// Stands in for what the compositor does not offer: nothing is made, nothing is read.
class Unavailable final : public KeyboardOutput, public Pointer, public Clipboard {
  public:
    bool canPost(std::uint16_t) override { return false; }
    void post(const KeyEvent&) override {}
    void warp(Point) override {}
    std::optional<Point> location() override { return std::nullopt; }
    bool canCreateMouseEvent(Point) override { return false; }
    std::optional<std::string> readText() override { return std::nullopt; }
    void writeText(const std::string&) override {}
};

class SwayDesktop final : public LinuxDesktop, public KeyboardOutput, public Accessibility {
  public:
    SwayDesktop(std::shared_ptr<Session> session, std::string waylandDisplay,
                std::unique_ptr<BrowserServices> browsers, std::unique_ptr<ScriptRunner> scripts,
                DesktopOptions options, std::shared_ptr<BindingGate> gate)
        : LinuxDesktop(std::move(browsers), std::move(scripts)),
          session_(session),
          windows_(session),
          displays_(session),
          waylandDisplay_(std::move(waylandDisplay)),
          options_(options),
          gate_(std::move(gate)) {}

    WindowSystem& windowSystem() override { return windows_; }
    Displays& displays() override { return displays_; }
    KeyboardOutput& keyboard() override { return *this; }
    Clipboard& clipboard() override {
        if (!clipboard_) {
            std::string error;
            if (auto connection = wayland()) {
                clipboard_ =
                    wayland::makeClipboard(connection, options_.clipboardOutlivesProcess, error);
            }
        }
        return clipboard_ ? *clipboard_ : static_cast<Clipboard&>(unavailable_);
    }
    Pointer& pointer() override {
        if (!pointer_) {
            std::string error;
            if (auto connection = wayland()) {
                pointer_ = wayland::makePointer(
                    connection, [this] { return displays_.layout(); },
                    [] { return std::optional<Point>(); }, error);
            }
        }
        return pointer_ ? *pointer_ : static_cast<Pointer&>(unavailable_);
    }
    Accessibility& accessibility() override { return *this; }

    // --- KeyboardOutput: the virtual keyboard, past the agent's own bindings ------------
    bool canPost(std::uint16_t keyCode) override { return keys().canPost(keyCode); }
    void post(const KeyEvent& key) override {
        KeyboardOutput& keyboard = keys();
        if (!key.down || !key.marker) {
            keyboard.post(key);
            return;
        }
        gate_->aroundTyping(
            {key.keyCode, chordModifiersOf(key.flags)}, session_->ipc(),
            [&] { keyboard.post(key); },
            [&] {
                // Settled: every key so far was handled before the binding comes back.
                keyboard.endTyping();
                keyboard.beginTyping();
            });
    }
    void beginTyping() override { keys().beginTyping(); }
    void endTyping() override { keys().endTyping(); }

    // --- Accessibility ------------------------------------------------------------------
    bool isTrusted(bool) override { return untrustedReason().empty(); }
    std::string untrustedReason() override {
        // Connected at the desktop's opening; a connection sway has dropped since stays
        // failed.
        if (session_->ipc().failed()) return "sway's IPC socket does not answer";
        auto connection = wayland();
        if (!connection) return "cannot connect to the Wayland display: " + waylandError_;
        // Asked of the registry: making the keyboard builds its keymap, which a window move
        // has no use for.
        if (!connection->global("zwp_virtual_keyboard_manager_v1")) {
            return "the compositor offers no virtual keyboard (zwp_virtual_keyboard_v1)";
        }
        return "";
    }

  private:
    std::shared_ptr<wayland::Connection> wayland() {
        if (!connection_ && waylandError_.empty()) {
            auto connected = wayland::connect(waylandDisplay_);
            connection_ = connected.connection;
            waylandError_ = connected.connection ? "" : connected.error;
        }
        return connection_;
    }
    KeyboardOutput& keys() {
        if (!keyboard_ && keyboardError_.empty()) {
            if (auto connection = wayland()) {
                keyboard_ = wayland::makeKeyboard(connection, keyboardError_);
                if (!keyboard_ && keyboardError_.empty()) keyboardError_ = "no keyboard";
            } else {
                keyboardError_ = waylandError_;
            }
        }
        return keyboard_ ? *keyboard_ : static_cast<KeyboardOutput&>(unavailable_);
    }

    std::shared_ptr<Session> session_;
    SwayWindows windows_;
    SwayDisplays displays_;
    std::string waylandDisplay_;
    DesktopOptions options_;
    std::shared_ptr<BindingGate> gate_;
    std::shared_ptr<wayland::Connection> connection_;
    std::string waylandError_;
    std::string keyboardError_;
    std::unique_ptr<KeyboardOutput> keyboard_;
    std::unique_ptr<Pointer> pointer_;
    std::unique_ptr<Clipboard> clipboard_;
    Unavailable unavailable_;
};

}  // namespace

DesktopChoice openSwayDesktop(const std::string& socket, const std::string& waylandDisplay,
                              std::unique_ptr<BrowserServices> browsers,
                              std::unique_ptr<ScriptRunner> scripts, DesktopOptions options,
                              std::shared_ptr<BindingGate> gate) {
    std::string error;
    auto ipc = Ipc::open(socket, error);
    if (!ipc) return {nullptr, error};
    auto session = std::make_shared<Session>(std::move(*ipc));
    return {std::make_unique<SwayDesktop>(std::move(session), waylandDisplay, std::move(browsers),
                                          std::move(scripts), options, std::move(gate)),
            {}};
}

}  // namespace tarn::platform::sway
