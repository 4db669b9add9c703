#include "agent/ui/platform_texts.h"

namespace tarn::agent::ui {

const PlatformTexts& macTexts() {
    static const PlatformTexts texts{
        .troubleshooting =
            "If hotkey shortcuts, window movement, or mouse movement isn't working:\n"
            "\n"
            "1. Open System Settings → Privacy & Security → Accessibility\n"
            "2. Check if Wendle is in the list\n"
            "3. If it's there but not working:\n"
            "   • Click the '-' button to remove Wendle\n"
            "   • Click 'Request Accessibility Permission…' in the menu\n"
            "   • Re-add Wendle when prompted\n"
            "   • Quit and restart Wendle\n"
            "\n"
            "⚠️ This is necessary after rebuilding the app because macOS treats it as a new "
            "application and requires re-granting permissions.\n"
            "\n"
            "If problems persist, ensure:\n"
            "• Wendle is running (check menu bar icon)\n"
            "• Your hotkeys aren't conflicting with system shortcuts\n"
            "• The frontmost window is moveable",
        .troubleshootingSecondButton = "Open System Settings",
        .chordTakenByOther = "Another application already uses this shortcut.",
        .chordHasNoKey = "This key does not exist on the current keyboard.",
        .chordRetyped = "",  // the system hands a key it lets through on as it came
        .chordCannotPass = "",
        .noTray = "The menu bar has no room for the status item; opening the settings window",
        .saveFailed = "Settings could not be saved: ",
    };
    return texts;
}

const PlatformTexts& linuxTexts() {
    static const PlatformTexts texts{
        .troubleshooting =
            "If hotkey shortcuts, window movement, or mouse movement isn't working:\n"
            "\n"
            "1. On GNOME's Wayland session, Tarn's GNOME Shell extension must be installed "
            "and enabled: run `tarn-gnome-extension install` in a terminal, then log out and "
            "back in\n"
            "2. On X11, check that the X server offers the XTEST extension and that the "
            "window manager follows EWMH (most do: GNOME on Xorg, KDE Plasma X11, Xfce, "
            "openbox)\n"
            "3. If a hotkey does nothing:\n"
            "   • Open Settings… and look for a warning next to its hotkey\n"
            "   • If another program holds that key combination, free it there or record "
            "another key\n"
            "   • Click 'Request Accessibility Permission…' in the menu to check the "
            "desktop again\n"
            "   • Quit and restart Wendle\n"
            "\n"
            "If problems persist, ensure:\n"
            "• Wendle is running (check its icon in the system tray)\n"
            "• Your hotkeys aren't conflicting with system shortcuts\n"
            "• The frontmost window is moveable",
        .troubleshootingSecondButton = "Open Wendle Settings",
        .chordTakenByOther =
            "Another program already holds this key combination, so Wendle never sees it. "
            "Free it in that program (often the desktop's keyboard shortcuts) or record "
            "another key.",
        .chordHasNoKey =
            "The current keyboard layout has no key for this key code; record another key.",
        .chordRetyped =
            "This desktop keeps the key combination for itself: Wendle types it on to the "
            "window itself.",
        .chordCannotPass =
            "This desktop keeps the key combination for itself and Wendle cannot type it on: "
            "the window never gets it.",
        .noTray =
            "No system tray on this desktop (on GNOME it needs the AppIndicator extension); "
            "opening the settings window instead",
        .saveFailed = "Settings could not be saved (your changes are kept while Wendle runs): ",
    };
    return texts;
}

const PlatformTexts& platformTexts() {
#ifdef __APPLE__
    return macTexts();
#else
    return linuxTexts();
#endif
}

}  // namespace tarn::agent::ui
