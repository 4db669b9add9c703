#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/key_source.h"
#include "platform/marker_ledger.h"

namespace tarn::platform::x11 {

// The thread's name in logs. The operating system keeps 15 characters of it
// ("KeystrokeInterc").
inline constexpr const char* kKeySourceThreadName = "KeystrokeInterceptor.Thread";

// Lock keys in KeyDown::flags, beside the chord modifiers (the callers ignore them): Caps
// Lock in macOS's alpha-shift bit, Num Lock in its numeric-pad bit.
inline constexpr std::uint64_t kCapsLockFlag = 0x10000;
inline constexpr std::uint64_t kNumLockFlag = 0x200000;

// The key source of an X server: a thread with a connection of its own that holds a
// passive grab on the root window for every chord, under every combination of the lock
// modifiers (Caps, Num and Scroll Lock, as the modifier mapping places them), so that a
// chord fires whatever the lock keys say.
//
// Each chord holds two grabs: a core one, which is what other programs' hotkeys collide
// with (a chord another client holds is refused with BadAccess and reported as
// takenByOther; nothing else happens to either program), and XInput2 ones made after it,
// one per master keyboard, which the server therefore tries first and which deliver the
// key-down with the device it came from (needed for the marker, see marker_ledger.h). Both
// freeze the keyboard until the key source answers: swallow lets the keyboard run on
// without the key, pass replays the key to the focused window. The answer is sent as soon
// as the callback returns. (A grab made for all master keyboards at once would be simpler,
// but the server does not replay a key-down such a grab froze.)
//
// Chords map through the key table every backend shares (platform/mac_keys.h) to a key code of
// the current keymap; command is the modifier holding Super (Mod4), option the one holding
// Alt (Mod1). A keyboard mapping change regrabs everything by the new keymap (chords whose
// key and modifiers stay the same keep their grabs untouched). A chord whose key the keymap
// lacks is reported noKey. A key-down that arrives while the source regrabs waits for the
// regrab to end (one round trip per new chord).
//
// A swallowed chord's grab ends with its key-down, so while the key is held everything else
// (other keys, the keys its action types) goes to the focused window, its key-up included;
// each auto-repeat is a fresh key-down. The answer's `then` runs once the server has applied
// the verdict.
//
// This process's own key-downs are told apart through `ledger`, which the keyboard outputs
// of the same program share (marker_ledger.h).
//
// When the server goes away, the lost callback is called once on the thread, which then
// ends; the process is never exited by Xlib. Needs XInputExtension 2.0 or later.
std::unique_ptr<KeySource> makeKeySource(std::string displayName,
                                         std::shared_ptr<MarkerLedger> ledger);

}  // namespace tarn::platform::x11
