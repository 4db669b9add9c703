#pragma once

#include <QIcon>

namespace tarn::agent::ui {

// The small pictures the settings window and the tray use. Each comes from the desktop's
// icon theme when the theme has a fitting one, else it is drawn here, so a bare X server
// without any theme still shows every one of them.
enum class Symbol {
    checkmarkCircleFill,  // a rule that swallows its key
    circle,               // a rule that lets its key through
    gear,                 // the settings menu
    locationFill,         // an application with saved window locations
    chevronLeft,          // back to the global rules
    gearBadgeCheckmark,   // a rule an application gives state filters of its own (blue)
    warning,              // a hotkey that cannot work
};

QIcon symbolIcon(Symbol symbol);
// The drawn picture alone, whatever the theme offers.
QIcon drawnSymbolIcon(Symbol symbol);
// The tray icon: a light window outline with a dark rim, readable on light and dark panels.
QIcon trayIcon();

}  // namespace tarn::agent::ui
