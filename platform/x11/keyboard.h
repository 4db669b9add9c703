#pragma once

#include <vector>

#include "platform/input.h"
#include "platform/x11/connection.h"

namespace tarn::platform::x11 {

// Keys through XTest. A macOS virtual key code (ANSI layout) names a key symbol, which the
// server's keymap turns into a key code; a key the keymap lacks cannot be posted.
//
// X events carry no flag word that a sender may set: the server derives the modifier state
// from the keys that are down. So a key's down event releases the modifiers the user still
// holds, presses the chord's own modifier keys (command: Super, option: Alt, control,
// shift) and then the key; its up event releases them in reverse and presses the user's
// modifiers again, leaving the keyboard as it was. The marker has no X equivalent.
class KeyboardX11 final : public KeyboardOutput {
  public:
    KeyboardX11(Connection& connection, bool haveXTest) : x_(connection), xtest_(haveXTest) {}

    bool canPost(std::uint16_t keyCode) override;
    void post(const KeyEvent& event) override;

  private:
    KeyCode keyCodeFor(std::uint16_t macKeyCode);
    std::vector<KeyCode> chordModifiers(std::uint64_t flags);
    std::vector<KeyCode> heldModifiers();
    void fake(KeyCode key, bool down);

    Connection& x_;
    bool xtest_;
    // Between a key's down and up: what the down event released and pressed.
    std::vector<KeyCode> released_;
    std::vector<KeyCode> pressed_;
};

}  // namespace tarn::platform::x11
