#pragma once

#include <vector>

#include "platform/input.h"
#include "platform/x11/connection.h"

namespace tarn::platform::x11 {

// Keys through XTest. A macOS virtual key code (ANSI layout) names a key symbol, which the
// server's keymap turns into a key code; a key the keymap lacks cannot be posted.
//
// X events carry no flag word that a sender may set: the server derives the modifier state
// from the keys that are down. So a run of keys starts by releasing the modifiers the user
// holds; each key's down event presses the chord's own modifier keys (command: Super,
// option: Alt, control, shift) and then the key, its up event releases them in reverse; the
// run ends by pressing again those of the user's modifiers that are still physically down
// (a key the user let go of meanwhile stays up). The marker has no X equivalent.
class KeyboardX11 final : public KeyboardOutput {
  public:
    KeyboardX11(Connection& connection, bool haveXTest) : x_(connection), xtest_(haveXTest) {}

    bool canPost(std::uint16_t keyCode) override;
    void post(const KeyEvent& event) override;
    void beginTyping() override;
    void endTyping() override;

  private:
    KeyCode keyCodeFor(std::uint16_t macKeyCode);
    std::vector<KeyCode> chordModifiers(std::uint64_t flags);
    std::vector<KeyCode> heldModifiers();
    std::vector<KeyCode> physicallyDown(const std::vector<KeyCode>& keys);
    void fake(KeyCode key, bool down);

    Connection& x_;
    bool xtest_;
    bool typing_ = false;            // between beginTyping and endTyping
    bool keyIsItsOwnRun_ = false;    // the key now down was posted outside a run
    std::vector<KeyCode> released_;  // the user's modifiers the run lifted
    std::vector<KeyCode> pressed_;   // the chord modifiers of the key now down
};

}  // namespace tarn::platform::x11
