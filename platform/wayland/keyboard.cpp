#include "platform/wayland/keyboard.h"

#include <sys/mman.h>
#include <unistd.h>
#include <xkbcommon/xkbcommon.h>

#include <chrono>
#include <memory>
#include <thread>

#include "platform/mac_keys.h"
#include "virtual-keyboard-unstable-v1-client-protocol.h"

namespace tarn::platform::wayland {
namespace {

// The highest macOS virtual key code.
constexpr std::uint16_t kLastMacKey = 127;

// The US map on evdev key codes, with the keys the macOS table names that it lacks at the
// first level put on keys of their own: the keypad digits (which a US map gives only behind
// Num Lock), F13-F20 (media launchers there) and Clear (on a key no US map uses).
constexpr const char* kKeymapSource = R"KEYMAP(xkb_keymap {
    xkb_keycodes { include "evdev+aliases(qwerty)" };
    xkb_types { include "complete" };
    xkb_compat { include "complete" };
    xkb_symbols {
        include "pc+us+inet(evdev)"
        replace key <KP0> { [ KP_0 ] };
        replace key <KP1> { [ KP_1 ] };
        replace key <KP2> { [ KP_2 ] };
        replace key <KP3> { [ KP_3 ] };
        replace key <KP4> { [ KP_4 ] };
        replace key <KP5> { [ KP_5 ] };
        replace key <KP6> { [ KP_6 ] };
        replace key <KP7> { [ KP_7 ] };
        replace key <KP8> { [ KP_8 ] };
        replace key <KP9> { [ KP_9 ] };
        replace key <FK13> { [ F13 ] };
        replace key <FK14> { [ F14 ] };
        replace key <FK15> { [ F15 ] };
        replace key <FK16> { [ F16 ] };
        replace key <FK17> { [ F17 ] };
        replace key <FK18> { [ F18 ] };
        replace key <FK19> { [ F19 ] };
        replace key <FK20> { [ F20 ] };
        replace key <I120> { [ Clear ] };
    };
};
)KEYMAP";

struct ContextDeleter {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
};
struct KeymapDeleter {
    void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
};

std::unique_ptr<MacKeymap> buildMacKeymap(std::string& error) {
    std::unique_ptr<xkb_context, ContextDeleter> context(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    if (!context) {
        error = "xkbcommon could not start";
        return nullptr;
    }
    std::unique_ptr<xkb_keymap, KeymapDeleter> keymap(xkb_keymap_new_from_string(
        context.get(), kKeymapSource, XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!keymap) {
        error = "xkbcommon could not build a US keymap (is xkb-data installed?)";
        return nullptr;
    }
    auto result = std::make_unique<MacKeymap>();
    std::unique_ptr<char, decltype(&std::free)> text(
        xkb_keymap_get_as_string(keymap.get(), XKB_KEYMAP_FORMAT_TEXT_V1), &std::free);
    if (!text) {
        error = "xkbcommon could not write the keymap";
        return nullptr;
    }
    result->text = text.get();
    for (std::uint16_t mac = 0; mac <= kLastMacKey; ++mac) {
        xkb_keysym_t wanted = keySymForMacKey(mac);
        if (wanted == 0) continue;
        for (xkb_keycode_t key = xkb_keymap_min_keycode(keymap.get());
             key <= xkb_keymap_max_keycode(keymap.get()); ++key) {
            const xkb_keysym_t* symbols = nullptr;
            if (xkb_keymap_key_get_syms_by_level(keymap.get(), key, 0, 0, &symbols) == 1 &&
                symbols[0] == wanted) {
                result->evdevCodes[mac] = key - 8;  // xkb numbers keys 8 above evdev
                break;
            }
        }
    }
    auto mask = [&](const char* name) -> std::uint32_t {
        xkb_mod_index_t index = xkb_keymap_mod_get_index(keymap.get(), name);
        return index == XKB_MOD_INVALID ? 0 : 1u << index;
    };
    result->shift = mask(XKB_MOD_NAME_SHIFT);
    result->control = mask(XKB_MOD_NAME_CTRL);
    result->option = mask(XKB_MOD_NAME_ALT);
    result->command = mask(XKB_MOD_NAME_LOGO);
    return result;
}

std::uint32_t milliseconds() {
    using namespace std::chrono;
    return static_cast<std::uint32_t>(
        duration_cast<std::chrono::milliseconds>(steady_clock::now().time_since_epoch()).count());
}

}  // namespace

std::uint32_t MacKeymap::modifiers(std::uint64_t flags) const {
    std::uint32_t mask = 0;
    if (flags & keyflags::shift) mask |= shift;
    if (flags & keyflags::control) mask |= control;
    if (flags & keyflags::option) mask |= option;
    if (flags & keyflags::command) mask |= command;
    return mask;
}

const MacKeymap* macKeymap(std::string& error) {
    static std::string buildError;
    static const std::unique_ptr<MacKeymap> keymap = buildMacKeymap(buildError);
    if (!keymap) error = buildError;
    return keymap.get();
}

std::unique_ptr<VirtualKeyboard> VirtualKeyboard::create(std::shared_ptr<Connection> connection,
                                                         std::string& error) {
    if (!connection->seat()) {
        error = "the Wayland compositor has no seat";
        return nullptr;
    }
    const MacKeymap* keymap = macKeymap(error);
    if (!keymap) return nullptr;
    auto* manager = static_cast<zwp_virtual_keyboard_manager_v1*>(
        connection->bind(&zwp_virtual_keyboard_manager_v1_interface, 1));
    if (!manager) {
        error = "the Wayland compositor offers no virtual keyboard (zwp_virtual_keyboard_v1)";
        return nullptr;
    }
    return std::unique_ptr<VirtualKeyboard>(
        new VirtualKeyboard(std::move(connection), manager, *keymap));
}

VirtualKeyboard::~VirtualKeyboard() {
    if (keyboard_) {
        setModifiers(0);
        zwp_virtual_keyboard_v1_destroy(keyboard_);
    }
    zwp_virtual_keyboard_manager_v1_destroy(manager_);
    connection_->flush();
}

// Makes the keyboard and uploads the keymap at the first key.
bool VirtualKeyboard::ready() {
    if (keyboard_ || failed_) return keyboard_ != nullptr;
    failed_ = true;
    const bool seatHadKeyboard = connection_->seatHasKeyboard();
    const std::size_t size = keymap_.text.size() + 1;  // with its terminating NUL
    int fd = ::memfd_create("tarn-keymap", MFD_CLOEXEC);
    if (fd < 0) return false;
    bool written = ::ftruncate(fd, static_cast<off_t>(size)) == 0 &&
                   ::pwrite(fd, keymap_.text.c_str(), size, 0) == static_cast<ssize_t>(size);
    if (written) {
        keyboard_ =
            zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(manager_, connection_->seat());
        zwp_virtual_keyboard_v1_keymap(keyboard_, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, fd,
                                       static_cast<std::uint32_t>(size));
    }
    ::close(fd);
    // The compositor has the keymap before any key: it hands a client a keyboard's keymap
    // ahead of that keyboard's first key, in order, so no later key can overtake it.
    if (!keyboard_ || !connection_->roundtrip()) return false;
    failed_ = false;
    if (!seatHadKeyboard) {
        // Ours is the seat's first keyboard: the focused client makes its wl_keyboard only
        // after it hears of it, and nothing in the protocol says when it has. Give it a
        // moment, once; a seat with a keyboard (every seat a person types on) needs none.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return true;
}

void VirtualKeyboard::setModifiers(std::uint32_t mask) {
    if (mask == sentModifiers_) return;
    zwp_virtual_keyboard_v1_modifiers(keyboard_, mask, 0, 0, 0);
    sentModifiers_ = mask;
}

bool VirtualKeyboard::canPost(std::uint16_t keyCode) {
    return keymap_.evdevCodes.contains(keyCode) && !connection_->lost();
}

void VirtualKeyboard::beginTyping() {
    typing_ = true;
}

void VirtualKeyboard::endTyping() {
    typing_ = false;
    if (!keyboard_ || keysDown_ > 0) return;
    setModifiers(0);
    connection_->roundtrip();
}

void VirtualKeyboard::post(const KeyEvent& event) {
    auto code = keymap_.evdevCodes.find(event.keyCode);
    if (code == keymap_.evdevCodes.end() || !ready()) return;
    if (event.down && event.marker && markedHook_) markedHook_(event);
    setModifiers(keymap_.modifiers(event.flags));
    zwp_virtual_keyboard_v1_key(
        keyboard_, milliseconds(), code->second,
        event.down ? WL_KEYBOARD_KEY_STATE_PRESSED : WL_KEYBOARD_KEY_STATE_RELEASED);
    keysDown_ = event.down ? keysDown_ + 1 : std::max(0, keysDown_ - 1);
    // A key outside a run is a run of its own: it ends with its key up.
    if (!typing_ && keysDown_ == 0) {
        endTyping();
        return;
    }
    connection_->flush();
}

std::unique_ptr<KeyboardOutput> makeKeyboard(std::shared_ptr<Connection> connection,
                                             std::string& error) {
    return VirtualKeyboard::create(std::move(connection), error);
}

}  // namespace tarn::platform::wayland
