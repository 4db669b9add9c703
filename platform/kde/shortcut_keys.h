#pragma once

// Chords as KWin's global shortcuts name them: the key sequence text a script registers
// ("Meta+Ctrl+Right") and the key code kglobalaccel files it under (Qt's key number with its
// modifier bits). Pure, so it is tested without KWin.

#include <optional>
#include <string>

#include "platform/key_source.h"

namespace tarn::platform::kde {

struct ShortcutKey {
    std::string text;  // "Meta+Ctrl+Right"
    int code = 0;      // Qt::Key | Qt::KeyboardModifiers
    friend bool operator==(const ShortcutKey&, const ShortcutKey&) = default;
};

// Absent for a key that has no name in a key sequence (the keypad, media keys): such a
// chord cannot be a KWin shortcut.
std::optional<ShortcutKey> shortcutKeyFor(const Chord& chord);

}  // namespace tarn::platform::kde
