#pragma once

#include <memory>
#include <string>

#include "platform/desktop.h"
#include "platform/marker_ledger.h"

namespace tarn::platform::gnome {

// The desktop of a GNOME Shell session: windows, monitors, the clipboard and the pointer
// through Tarn's Shell extension, keys through Mutter's RemoteDesktop session, all over one
// connection to the session bus held for the desktop's life.
//
// No desktop (and the reason) when the session bus cannot be reached. A desktop whose shell
// lacks the extension, or has one of another version, still opens: it counts as untrusted,
// and untrustedReason says what to run, so every command that needs the desktop says so.
// Text put on the clipboard is the shell's to serve, so it outlives the process anyway.
// Marked keys it types are entered in `ledger`, shared with the program's key source.
DesktopChoice openGnomeDesktop(std::unique_ptr<BrowserServices> browsers,
                               std::unique_ptr<ScriptRunner> scripts,
                               std::shared_ptr<platform::MarkerLedger> ledger);

}  // namespace tarn::platform::gnome
