#include "platform/x11/keyboard.h"

#include <X11/XKBlib.h>
#include <X11/extensions/XInput.h>
#include <X11/extensions/XInput2.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include "platform/marker_ledger.h"

namespace tarn::platform::x11 {
namespace {

struct ModifierMapDeleter {
    void operator()(XModifierKeymap* map) const {
        if (map) XFreeModifiermap(map);
    }
};
using ModifierMap = std::unique_ptr<XModifierKeymap, ModifierMapDeleter>;

constexpr std::uint64_t kChordFlags =
    keyflags::shift | keyflags::control | keyflags::option | keyflags::command;

}  // namespace

namespace {

// Keys whose press toggles a lock: releasing and pressing them again would flip it.
bool isLockKey(KeySym symbol) {
    return symbol == XK_Num_Lock || symbol == XK_Caps_Lock || symbol == XK_Shift_Lock ||
           symbol == XK_Scroll_Lock;
}

bool isDown(const char* keys, KeyCode key) {
    return keys[key / 8] & (1 << (key % 8));
}

}  // namespace

// Whether the device is one the XTEST extension feeds (ours and every other sender's),
// as opposed to a keyboard the user types on.
bool isXTestDevice(Display* display, int device) {
    Atom property = XInternAtom(display, "XTEST Device", True);
    if (property == None) return false;
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    bool xtest = XIGetProperty(display, device, property, 0, 1, False, AnyPropertyType, &type,
                               &format, &count, &after, &data) == Success &&
                 count > 0;
    if (data) XFree(data);
    return xtest;
}

ModifierMasks ModifierMasks::read(Display* display) {
    ModifierMasks masks;
    ModifierMap map(XGetModifierMapping(display));
    if (!map) return masks;
    // The modifier that holds the first key with the symbol; 0 when none does.
    auto holding = [&](KeySym symbol) -> unsigned {
        for (int modifier = 0; modifier < 8; ++modifier) {
            for (int i = 0; i < map->max_keypermod; ++i) {
                KeyCode key = map->modifiermap[modifier * map->max_keypermod + i];
                if (key != 0 && XkbKeycodeToKeysym(display, key, 0, 0) == symbol) {
                    return 1u << modifier;
                }
            }
        }
        return 0;
    };
    auto either = [&](KeySym left, KeySym right) {
        unsigned mask = holding(left);
        return mask ? mask : holding(right);
    };
    if (unsigned alt = either(XK_Alt_L, XK_Alt_R)) masks.option = alt;
    if (unsigned super = either(XK_Super_L, XK_Super_R)) masks.command = super;
    masks.numLock = holding(XK_Num_Lock);
    masks.scrollLock = holding(XK_Scroll_Lock);
    return masks;
}

unsigned ModifierMasks::toX(std::uint64_t flags) const {
    unsigned state = 0;
    if (flags & keyflags::shift) state |= shift;
    if (flags & keyflags::control) state |= control;
    if (flags & keyflags::option) state |= option;
    if (flags & keyflags::command) state |= command;
    return state;
}

std::uint64_t ModifierMasks::fromX(unsigned state) const {
    std::uint64_t flags = 0;
    if (state & shift) flags |= keyflags::shift;
    if (state & control) flags |= keyflags::control;
    if (state & option) flags |= keyflags::option;
    if (state & command) flags |= keyflags::command;
    return flags;
}

KeyCode KeyboardX11::keyCodeFor(std::uint16_t macKeyCode) {
    x_.refreshKeymap();
    KeySym symbol = keySymForMacKey(macKeyCode);
    return symbol == NoSymbol ? 0 : XKeysymToKeycode(x_.display(), symbol);
}

bool KeyboardX11::canPost(std::uint16_t keyCode) {
    bool possible = xtest_ && keyCodeFor(keyCode) != 0;
    x_.check();
    return possible;
}

std::vector<KeyCode> KeyboardX11::chordModifiers(std::uint64_t flags) {
    static constexpr std::array<std::pair<std::uint64_t, KeySym>, 4> order{{
        {keyflags::control, XK_Control_L},
        {keyflags::option, XK_Alt_L},
        {keyflags::shift, XK_Shift_L},
        {keyflags::command, XK_Super_L},
    }};
    std::vector<KeyCode> keys;
    for (const auto& [flag, symbol] : order) {
        if (!(flags & flag)) continue;
        if (KeyCode key = XKeysymToKeycode(x_.display(), symbol)) keys.push_back(key);
    }
    return keys;
}

// Modifier keys that are down now (the user's, or a hotkey's that is still held), lock
// keys excepted.
std::vector<KeyCode> KeyboardX11::heldModifiers() {
    std::vector<KeyCode> held;
    char keys[32] = {};
    XQueryKeymap(x_.display(), keys);
    ModifierMap map(XGetModifierMapping(x_.display()));
    if (!map) return held;
    for (int modifier = 0; modifier < 8; ++modifier) {
        if (modifier == LockMapIndex) continue;
        for (int i = 0; i < map->max_keypermod; ++i) {
            KeyCode key = map->modifiermap[modifier * map->max_keypermod + i];
            if (key == 0 || !isDown(keys, key)) continue;
            if (isLockKey(XkbKeycodeToKeysym(x_.display(), key, 0, 0))) continue;
            if (std::find(held.begin(), held.end(), key) == held.end()) held.push_back(key);
        }
    }
    return held;
}

// Which of the keys a keyboard the user types on holds down now. Not XQueryKeymap: once the
// run has released a key through XTEST, the core keyboard reports it up however long the
// user keeps holding it; the keyboard devices themselves still know.
std::vector<KeyCode> KeyboardX11::physicallyDown(const std::vector<KeyCode>& keys) {
    std::vector<KeyCode> down;
    Display* display = x_.display();
    int count = 0;
    XIDeviceInfo* devices = XIQueryDevice(display, XIAllDevices, &count);
    for (int d = 0; devices && d < count; ++d) {
        if (devices[d].use != XISlaveKeyboard || !devices[d].enabled) continue;
        if (isXTestDevice(display, devices[d].deviceid)) continue;
        XDevice* device = XOpenDevice(display, static_cast<XID>(devices[d].deviceid));
        if (!device) continue;
        if (XDeviceState* state = XQueryDeviceState(display, device)) {
            auto* item = reinterpret_cast<char*>(state->data);
            for (int c = 0; c < state->num_classes; ++c) {
                auto* deviceClass = reinterpret_cast<XInputClass*>(item);
                if (deviceClass->c_class == KeyClass) {
                    const char* held = reinterpret_cast<XKeyState*>(deviceClass)->keys;
                    for (KeyCode key : keys) {
                        bool known = std::find(down.begin(), down.end(), key) != down.end();
                        if (isDown(held, key) && !known) down.push_back(key);
                    }
                }
                item += deviceClass->length;
            }
            XFreeDeviceState(state);
        }
        XCloseDevice(display, device);
    }
    if (devices) XIFreeDeviceInfo(devices);
    return down;
}

void KeyboardX11::fake(KeyCode key, bool down) {
    XTestFakeKeyEvent(x_.display(), key, down ? True : False, CurrentTime);
    XFlush(x_.display());
}

void KeyboardX11::beginTyping() {
    if (typing_) return;
    typing_ = true;
    if (!xtest_) return;
    released_ = heldModifiers();
    for (KeyCode held : released_) fake(held, false);
    x_.check();
}

void KeyboardX11::endTyping() {
    if (!typing_) return;
    typing_ = false;
    if (!xtest_ || released_.empty()) return;
    for (KeyCode held : physicallyDown(released_)) fake(held, true);
    released_.clear();
    x_.check();
}

void KeyboardX11::post(const KeyEvent& event) {
    KeyCode key = xtest_ ? keyCodeFor(event.keyCode) : 0;
    if (key == 0) {
        x_.check();
        return;  // nothing can be made for this key
    }
    if (event.down) {
        if (pressed_.empty()) {
            keyIsItsOwnRun_ = !typing_;
            beginTyping();
            pressed_ = chordModifiers(event.flags);
            for (KeyCode modifier : pressed_) fake(modifier, true);
        }
        if (event.marker) {
            ledger_->expect(x_.name(), {key, event.flags & kChordFlags}, *event.marker);
        }
        fake(key, true);
    } else {
        fake(key, false);
        for (auto it = pressed_.rbegin(); it != pressed_.rend(); ++it) fake(*it, false);
        pressed_.clear();
        if (keyIsItsOwnRun_) endTyping();
        keyIsItsOwnRun_ = false;
    }
    x_.check();
}

}  // namespace tarn::platform::x11
