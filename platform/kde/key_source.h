#pragma once

// The agent's key source on KDE Plasma: one resident KWin script per chord set registers
// every chord as a KWin global shortcut (kglobalaccel files them under KWin's component, as
// "tarn-<keys>") and calls this process when one fires. The source runs on a thread of its
// own with a session-bus connection of its own.
//
// - A chord another program or KWin itself holds (kglobalaccel knows a shortcut of that key
//   that is not Tarn's) is not registered and is reported takenByOther; a chord whose key has
//   no name in a key sequence (the keypad, media keys) is reported noKey.
// - A new chord set loads a new script and unregisters the names the old one had and the new
//   one lacks: unloading a script leaves its shortcuts with kglobalaccel (inactive, but still
//   filed), so names are taken back explicitly. Stopping unregisters every one; starting
//   clears what an agent that died left.
// - KWin consumes a shortcut's key. A chord whose rule lets it pass is typed again into the
//   focused window through fake input, with global shortcuts blocked around it
//   (kglobalaccel's blockGlobalShortcuts), so that it never fires a shortcut again.

#include <memory>

#include "platform/key_source.h"

namespace tarn::platform::kde {

// What the agent's own typing does on KDE: its marked keys go to the focused window with
// global shortcuts blocked, so they never trigger its rules (or KWin's). The desktop's
// keyboard calls this around such keys; `blocked` true before them, false after.
bool blockGlobalShortcuts(bool blocked);

std::unique_ptr<KeySource> makeKeySource();

}  // namespace tarn::platform::kde
