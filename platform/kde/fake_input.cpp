#include "platform/kde/fake_input.h"

#include <linux/input-event-codes.h>
#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <vector>

#include "fake-input-client-protocol.h"
#include "platform/desktop.h"
#include "platform/mac_keys.h"

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

template <typename T, void (*destroy)(T*)>
struct Deleter {
    void operator()(T* p) const {
        if (p) destroy(p);
    }
};

void destroyFakeInput(org_kde_kwin_fake_input* p) {
    org_kde_kwin_fake_input_destroy(p);
}

class Connection {
  public:
    static std::shared_ptr<Connection> open(std::string& error) {
        std::shared_ptr<Connection> c(new Connection());
        c->display_.reset(wl_display_connect(nullptr));
        if (!c->display_) {
            error = "cannot connect to the Wayland compositor (WAYLAND_DISPLAY=" +
                    std::string(std::getenv("WAYLAND_DISPLAY") ? std::getenv("WAYLAND_DISPLAY")
                                                               : "unset") +
                    ")";
            return nullptr;
        }
        c->registry_.reset(wl_display_get_registry(c->display_.get()));
        static const wl_registry_listener listener{
            [](void* data, wl_registry* registry, std::uint32_t name, const char* interface,
               std::uint32_t version) {
                auto* self = static_cast<Connection*>(data);
                if (std::strcmp(interface, org_kde_kwin_fake_input_interface.name) == 0 &&
                    version >= 4) {
                    self->input_.reset(static_cast<org_kde_kwin_fake_input*>(
                        wl_registry_bind(registry, name, &org_kde_kwin_fake_input_interface, 4)));
                }
            },
            [](void*, wl_registry*, std::uint32_t) {}};
        wl_registry_add_listener(c->registry_.get(), &listener, c.get());
        if (wl_display_roundtrip(c->display_.get()) < 0) {
            error = "the Wayland compositor closed the connection";
            return nullptr;
        }
        if (!c->input_) {
            error =
                "KWin does not let Tarn make key and pointer events (no org_kde_kwin_fake_input "
                "for this program): install Tarn's package, whose desktop entries ask KWin for "
                "it, or run `tarn` and `wendle` from where that entry's Exec line says";
            return nullptr;
        }
        org_kde_kwin_fake_input_authenticate(c->input_.get(), "Tarn",
                                             "moves windows and types keys for you");
        return c;
    }

    org_kde_kwin_fake_input* input() { return input_.get(); }

    // Sends what was made and waits until KWin has handled it, so what comes next (another
    // command, the application's reaction) sees it.
    void sync() {
        if (wl_display_roundtrip(display_.get()) < 0)
            throw DesktopError("the Wayland compositor closed Tarn's connection");
    }
    void flush() { wl_display_flush(display_.get()); }

  private:
    Connection() = default;
    // Declared so that the protocol objects go before the display.
    std::unique_ptr<wl_display, Deleter<wl_display, wl_display_disconnect>> display_;
    std::unique_ptr<wl_registry, Deleter<wl_registry, wl_registry_destroy>> registry_;
    std::unique_ptr<org_kde_kwin_fake_input, Deleter<org_kde_kwin_fake_input, destroyFakeInput>>
        input_;
};

// Connects at the first event. KWin reads a new client's whole executable before it answers
// the client's first round trip (some 10 ms a megabyte here), so a command that never makes
// an event (moving a window) never connects.
class LazyConnection {
  public:
    Connection* operator->() {
        if (!connection_) {
            if (!error_.empty()) throw DesktopError(error_);
            connection_ = Connection::open(error_);
            if (!connection_) throw DesktopError(error_);
        }
        return connection_.get();
    }

  private:
    std::shared_ptr<Connection> connection_;
    std::string error_;
};

class FakeKeyboard final : public KeyboardOutput {
  public:
    explicit FakeKeyboard(std::shared_ptr<LazyConnection> connection)
        : connection_(std::move(connection)) {}

    bool canPost(std::uint16_t keyCode) override { return evdevKeyForMacKey(keyCode).has_value(); }

    void post(const KeyEvent& event) override {
        auto key = evdevKeyForMacKey(event.keyCode);
        if (!key) return;
        auto send = [&](std::uint32_t code, bool down) {
            org_kde_kwin_fake_input_keyboard_key(
                (*connection_)->input(), code,
                down ? WL_KEYBOARD_KEY_STATE_PRESSED : WL_KEYBOARD_KEY_STATE_RELEASED);
        };
        if (event.down) {
            for (std::uint32_t modifier : modifiersOf(event.flags)) send(modifier, true);
            send(*key, true);
            (*connection_)->flush();
        } else {
            send(*key, false);
            auto modifiers = modifiersOf(event.flags);
            for (auto it = modifiers.rbegin(); it != modifiers.rend(); ++it) send(*it, false);
            if (typing_) {
                (*connection_)->flush();
            } else {
                (*connection_)->sync();
            }
        }
    }

    void beginTyping() override { typing_ = true; }
    void endTyping() override {
        typing_ = false;
        (*connection_)->sync();
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

    std::shared_ptr<LazyConnection> connection_;
    bool typing_ = false;
};

class FakePointer final : public Pointer {
  public:
    FakePointer(std::shared_ptr<LazyConnection> connection, std::function<Point()> origin,
                std::function<std::optional<Point>()> location)
        : connection_(std::move(connection)),
          origin_(std::move(origin)),
          location_(std::move(location)) {}

    void warp(Point to) override {
        const Point o = origin_();
        org_kde_kwin_fake_input_pointer_motion_absolute((*connection_)->input(),
                                                        wl_fixed_from_double(to.x + o.x),
                                                        wl_fixed_from_double(to.y + o.y));
        (*connection_)->sync();
    }
    std::optional<Point> location() override {
        auto at = location_();
        if (!at) return std::nullopt;
        const Point o = origin_();
        return Point{at->x - o.x, at->y - o.y};
    }
    bool canCreateMouseEvent(Point) override { return true; }

  private:
    std::shared_ptr<LazyConnection> connection_;
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

FakeInputParts openFakeInput(std::function<Point()> origin,
                             std::function<std::optional<Point>()> location) {
    FakeInputParts parts;
    auto connection = std::make_shared<LazyConnection>();
    parts.keyboard = std::make_unique<FakeKeyboard>(connection);
    parts.pointer =
        std::make_unique<FakePointer>(connection, std::move(origin), std::move(location));
    return parts;
}

}  // namespace tarn::platform::kde
