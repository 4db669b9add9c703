#pragma once

#include <string_view>

namespace tarn::agent::ui {

// Texts that send the user somewhere on their own system. The macOS wording points at
// System Settings; a Linux user has no such pane, so the Linux build says what that user
// must do instead. Everything else the user reads is the same on every platform.
struct PlatformTexts {
    // The troubleshooting alert's informative text and its middle button.
    std::string_view troubleshooting;
    std::string_view troubleshootingSecondButton;
    // Tooltips of a rule whose chord does not work.
    std::string_view chordTakenByOther;
    std::string_view chordHasNoKey;
    // What the desktop does with a chord whose rule lets it through, where its own binding
    // consumes the key: Wendle types it on, or it cannot.
    std::string_view chordRetyped;
    std::string_view chordCannotPass;
    // Logged when the desktop shows no tray, before the settings window opens instead.
    std::string_view noTray;
    // Shown in the settings window while the configuration file cannot be written; the
    // reason follows.
    std::string_view saveFailed;
};

const PlatformTexts& macTexts();
const PlatformTexts& linuxTexts();
// The table of the platform this build runs on.
const PlatformTexts& platformTexts();

}  // namespace tarn::agent::ui
