#include "platform/kde/fake_input.h"

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon.h>

#include <cmath>
#include <map>
#include <vector>

#include "fake-input-client-protocol.h"
#include "platform/desktop.h"
#include "platform/mac_keys.h"
#include "platform/wayland/connection.h"

namespace tarn::platform::kde {
namespace {

// Every key symbol of the US keymap at its first level, with the key's evdev code.
std::map<xkb_keysym_t, std::uint32_t> usKeys() {
    std::map<xkb_keysym_t, std::uint32_t> keys;
    std::unique_ptr<xkb_context, decltype(&xkb_context_unref)> context(
        xkb_context_new(XKB_CONTEXT_NO_FLAGS), xkb_context_unref);
    if (!context) return keys;
    const xkb_rule_names names{"evdev", "pc105", "us", "", ""};
    std::unique_ptr<xkb_keymap, decltype(&xkb_keymap_unref)> keymap(
        xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS),
        xkb_keymap_unref);
    if (!keymap) return keys;
    for (xkb_keycode_t code = xkb_keymap_min_keycode(keymap.get());
         code <= xkb_keymap_max_keycode(keymap.get()); ++code) {
        const xkb_keysym_t* syms = nullptr;
        int count = xkb_keymap_key_get_syms_by_level(keymap.get(), code, 0, 0, &syms);
        // xkb numbers keys 8 above evdev.
        for (int i = 0; i < count; ++i) keys.emplace(syms[i], code - 8);
    }
    return keys;
}

void destroyFakeInput(org_kde_kwin_fake_input* p) {
    org_kde_kwin_fake_input_destroy(p);
}

}  // namespace

// Connects at the first use. KWin reads a new client's whole executable before it answers
// the client's first round trip (some 10 ms a megabyte here), so a command that makes no
// event and reads no clipboard (moving a window) never connects.
struct WaylandLink::State {
    std::shared_ptr<wayland::Connection> connection;
    wayland::Owned<org_kde_kwin_fake_input, destroyFakeInput> input;
    std::string error;
};

WaylandLink::WaylandLink() : state_(std::make_unique<State>()) {}
WaylandLink::~WaylandLink() = default;

std::shared_ptr<wayland::Connection> WaylandLink::connection() {
    if (!state_->connection) {
        if (!state_->error.empty()) throw DesktopError(state_->error);
        state_->connection = wayland::Connection::open("", state_->error);
        if (!state_->connection) throw DesktopError(state_->error);
    }
    return state_->connection;
}

org_kde_kwin_fake_input* WaylandLink::fakeInput() {
    if (!state_->input) {
        auto link = connection();
        if (!link->global(org_kde_kwin_fake_input_interface.name))
            throw DesktopError(
                "KWin does not let Tarn make key and pointer events (it offers no "
                "org_kde_kwin_fake_input to this program): install Tarn's package, whose "
                "desktop entries ask KWin for it, and run tarn and wendle from where their "
                "entries' Exec lines say (/usr/bin); see `man tarn`, KDE Plasma");
        state_->input.reset(static_cast<org_kde_kwin_fake_input*>(
            link->bind(&org_kde_kwin_fake_input_interface, 4)));
        org_kde_kwin_fake_input_authenticate(state_->input.get(), "Tarn",
                                             "moves windows and types keys for you");
    }
    return state_->input.get();
}

void WaylandLink::sync() {
    if (!connection()->roundtrip())
        throw DesktopError("the Wayland compositor closed Tarn's connection");
}

void WaylandLink::flush() {
    if (!connection()->flush())
        throw DesktopError("the Wayland compositor closed Tarn's connection");
}

namespace {

class FakeKeyboard final : public KeyboardOutput {
  public:
    FakeKeyboard(std::shared_ptr<WaylandLink> link, std::function<void(bool)> blockShortcuts)
        : link_(std::move(link)), blockShortcuts_(std::move(blockShortcuts)) {}
    ~FakeKeyboard() override {
        if (blocked_) blockShortcuts_(false);
    }

    bool canPost(std::uint16_t keyCode) override { return evdevKeyForMacKey(keyCode).has_value(); }

    void post(const KeyEvent& event) override {
        auto key = evdevKeyForMacKey(event.keyCode);
        if (!key) return;
        auto send = [&](std::uint32_t code, bool down) {
            org_kde_kwin_fake_input_keyboard_key(
                link_->fakeInput(), code,
                down ? WL_KEYBOARD_KEY_STATE_PRESSED : WL_KEYBOARD_KEY_STATE_RELEASED);
        };
        if (event.marker && blockShortcuts_ && !blocked_) {
            blockShortcuts_(true);
            blocked_ = true;
        }
        if (event.down) {
            for (std::uint32_t modifier : modifiersOf(event.flags)) send(modifier, true);
            send(*key, true);
            link_->flush();
        } else {
            send(*key, false);
            auto modifiers = modifiersOf(event.flags);
            for (auto it = modifiers.rbegin(); it != modifiers.rend(); ++it) send(*it, false);
            if (typing_) {
                link_->flush();
            } else {
                link_->sync();
                unblock();
            }
        }
    }

    void beginTyping() override { typing_ = true; }
    void endTyping() override {
        typing_ = false;
        link_->sync();
        unblock();
    }

  private:
    static std::vector<std::uint32_t> modifiersOf(std::uint64_t flags) {
        std::vector<std::uint32_t> keys;
        if (flags & keyflags::command) keys.push_back(KEY_LEFTMETA);
        if (flags & keyflags::control) keys.push_back(KEY_LEFTCTRL);
        if (flags & keyflags::option) keys.push_back(KEY_LEFTALT);
        if (flags & keyflags::shift) keys.push_back(KEY_LEFTSHIFT);
        return keys;
    }

    void unblock() {
        if (!blocked_) return;
        blocked_ = false;
        blockShortcuts_(false);
    }

    std::shared_ptr<WaylandLink> link_;
    std::function<void(bool)> blockShortcuts_;
    bool typing_ = false;
    bool blocked_ = false;
};

class FakePointer final : public Pointer {
  public:
    FakePointer(std::shared_ptr<WaylandLink> link, std::function<Point()> origin,
                std::function<std::optional<Point>()> location)
        : link_(std::move(link)), origin_(std::move(origin)), location_(std::move(location)) {}

    void warp(Point to) override {
        const Point o = origin_();
        org_kde_kwin_fake_input_pointer_motion_absolute(
            link_->fakeInput(), wl_fixed_from_double(to.x + o.x), wl_fixed_from_double(to.y + o.y));
        link_->sync();
    }
    std::optional<Point> location() override {
        auto at = location_();
        if (!at) return std::nullopt;
        const Point o = origin_();
        return Point{at->x - o.x, at->y - o.y};
    }
    bool canCreateMouseEvent(Point) override { return true; }

  private:
    std::shared_ptr<WaylandLink> link_;
    std::function<Point()> origin_;
    std::function<std::optional<Point>()> location_;
};

}  // namespace

std::optional<std::uint32_t> evdevKeyForMacKey(std::uint16_t macKeyCode) {
    static const std::map<xkb_keysym_t, std::uint32_t> keys = usKeys();
    const std::uint32_t sym = keySymForMacKey(macKeyCode);
    if (sym == 0) return std::nullopt;
    auto it = keys.find(sym);
    if (it == keys.end()) return std::nullopt;
    return it->second;
}

FakeInputParts openFakeInput(std::shared_ptr<WaylandLink> link, std::function<Point()> origin,
                             std::function<std::optional<Point>()> location,
                             std::function<void(bool)> blockShortcuts) {
    FakeInputParts parts;
    parts.keyboard = std::make_unique<FakeKeyboard>(link, std::move(blockShortcuts));
    parts.pointer = std::make_unique<FakePointer>(link, std::move(origin), std::move(location));
    return parts;
}

namespace {

class LazyClipboard final : public Clipboard {
  public:
    LazyClipboard(std::shared_ptr<WaylandLink> link, bool outlivesProcess)
        : link_(std::move(link)), outlivesProcess_(outlivesProcess) {}
    std::optional<std::string> readText() override { return clipboard().readText(); }
    void writeText(const std::string& text) override { clipboard().writeText(text); }

  private:
    Clipboard& clipboard() {
        if (!clipboard_) {
            std::string error;
            clipboard_ = wayland::makeClipboard(link_->connection(), outlivesProcess_, error);
            if (!clipboard_) throw DesktopError(error);
        }
        return *clipboard_;
    }
    std::shared_ptr<WaylandLink> link_;
    bool outlivesProcess_;
    std::unique_ptr<Clipboard> clipboard_;
};

}  // namespace

std::unique_ptr<Clipboard> makeClipboard(std::shared_ptr<WaylandLink> link, bool outlivesProcess) {
    return std::make_unique<LazyClipboard>(std::move(link), outlivesProcess);
}

}  // namespace tarn::platform::kde
