#pragma once

// Keys through zwp_virtual_keyboard_v1, for the Wayland backends that compose it into their
// desktop (platform/sway, platform/kde).

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

#include "platform/input.h"
#include "platform/wayland/connection.h"

struct zwp_virtual_keyboard_manager_v1;
struct zwp_virtual_keyboard_v1;

namespace tarn::platform::wayland {

// The one keymap the virtual keyboard uploads, built once per process with xkbcommon: the
// US layout on evdev key codes, with every key symbol the macOS key table names at the
// first level of a key of its own (the keypad's digits too, which a US map has only behind
// Num Lock, and F13-F20 and Clear, which it lacks), so that nothing is remapped while keys
// are typed. Modifiers are sent as state, not as keys: each chord modifier is one real
// modifier of this map (shift Shift, control Control, option Mod1 = Alt, command Mod4 = Super).
struct MacKeymap {
    std::string text;                                               // self-contained, as uploaded
    std::unordered_map<std::uint16_t, std::uint32_t> evdevCodes;    // macOS key code -> evdev code
    std::uint32_t shift = 0, control = 0, option = 0, command = 0;  // modifier masks
    std::uint32_t modifiers(std::uint64_t flags) const;
};
// Null when xkbcommon could not build it (its keyboard data missing), with the reason.
const MacKeymap* macKeymap(std::string& error);

// Each key event carries exactly its own modifiers, sent as the keyboard's modifier state
// right before it; the state goes back to none once a run of keys ends. The user's keyboard
// is another device whose held modifiers do not reach this one, so a run lifts nothing.
//
// The virtual keyboard is made at the first key, not before: a command that types nothing
// adds no device to the seat. A seat without a keyboard gains one with it, and every client
// then asks for its wl_keyboard only once it hears of that; keys sent meanwhile are lost to
// it. The first key on such a seat waits (once) until the clients have had time for that.
//
// Every event is sent at once (a pause between keys is a pause on the screen), and each run
// ends with a round trip, so what was typed has reached the compositor when it returns.
class VirtualKeyboard final : public KeyboardOutput {
  public:
    static std::unique_ptr<VirtualKeyboard> create(std::shared_ptr<Connection> connection,
                                                   std::string& error);
    ~VirtualKeyboard() override;

    bool canPost(std::uint16_t keyCode) override;
    void post(const KeyEvent& event) override;
    void beginTyping() override;
    void endTyping() override;

    // Called right before a key-down that carries a marker is sent, so that a key source can
    // know its own program's keys when the compositor reports them.
    void onMarkedKeyDown(std::function<void(const KeyEvent&)> hook) {
        markedHook_ = std::move(hook);
    }

  private:
    VirtualKeyboard(std::shared_ptr<Connection> connection,
                    zwp_virtual_keyboard_manager_v1* manager, const MacKeymap& keymap)
        : connection_(std::move(connection)), manager_(manager), keymap_(keymap) {}
    bool ready();
    void setModifiers(std::uint32_t mask);

    std::shared_ptr<Connection> connection_;
    zwp_virtual_keyboard_manager_v1* manager_;
    const MacKeymap& keymap_;
    zwp_virtual_keyboard_v1* keyboard_ = nullptr;  // made at the first key
    bool failed_ = false;                          // the keymap could not be uploaded
    std::uint32_t sentModifiers_ = 0;
    bool typing_ = false;
    int keysDown_ = 0;
    std::function<void(const KeyEvent&)> markedHook_;
};

}  // namespace tarn::platform::wayland
