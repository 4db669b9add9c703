#pragma once

#include <memory>
#include <vector>

#include "platform/input.h"
#include "platform/mac_keys.h"
#include "platform/marker_ledger.h"
#include "platform/x11/connection.h"

namespace tarn::platform::x11 {

// Whether the input device is one the XTEST extension feeds (this process's and every other
// sender's synthetic events), as opposed to a keyboard the user types on.
bool isXTestDevice(Display* display, int device);

// The X modifier masks of the four chord modifiers and of the lock keys, as the current
// modifier mapping has them: option is the modifier that holds Alt (Mod1 on common
// keymaps), command the one that holds Super (Mod4); a lock without a key is 0.
struct ModifierMasks {
    unsigned shift = ShiftMask;
    unsigned control = ControlMask;
    unsigned option = Mod1Mask;
    unsigned command = Mod4Mask;
    unsigned capsLock = LockMask;
    unsigned numLock = 0;
    unsigned scrollLock = 0;

    static ModifierMasks read(Display* display);
    // The chord modifiers (platform::keyflags bits) as an X modifier mask, and back; other
    // bits of the state are left out.
    unsigned toX(std::uint64_t flags) const;
    std::uint64_t fromX(unsigned state) const;
    friend bool operator==(const ModifierMasks&, const ModifierMasks&) = default;
};

// Keys through XTest. A macOS virtual key code (ANSI layout) names a key symbol, which the
// server's keymap turns into a key code; a key the keymap lacks cannot be posted.
//
// X events carry no flag word that a sender may set: the server derives the modifier state
// from the keys that are down. So a run of keys starts by releasing the modifiers the user
// holds; each key's down event presses the chord's own modifier keys (command: Super,
// option: Alt, control, shift) and then the key, its up event releases them in reverse; the
// run ends by pressing again those of the user's modifiers that are still physically down
// (a key the user let go of meanwhile stays up). The marker has no X equivalent: a
// key-down that carries one is entered in the program's MarkerLedger (marker_ledger.h)
// right before it is sent, so this process's key source knows it for its own.
//
// Key symbols translate by the keymap of the moment: mapping changes the server announced
// are taken in before each key.
class KeyboardX11 final : public KeyboardOutput {
  public:
    KeyboardX11(Connection& connection, bool haveXTest, std::shared_ptr<MarkerLedger> ledger)
        : x_(connection), xtest_(haveXTest), ledger_(std::move(ledger)) {}

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
    std::shared_ptr<MarkerLedger> ledger_;
    bool typing_ = false;            // between beginTyping and endTyping
    bool keyIsItsOwnRun_ = false;    // the key now down was posted outside a run
    std::vector<KeyCode> released_;  // the user's modifiers the run lifted
    std::vector<KeyCode> pressed_;   // the chord modifiers of the key now down
};

}  // namespace tarn::platform::x11
