#pragma once

#include <memory>
#include <string>

#include "platform/desktop.h"
#include "platform/marker_ledger.h"
#include "platform/x11/clipboard.h"

namespace tarn::platform::x11 {

// The desktop of an X server: windows through the window manager's EWMH properties,
// displays from RandR, keys through XTest, the CLIPBOARD selection, the pointer.
// Browser services and scripts are not X matters: the caller hands them in.
//
// No desktop (and the reason) when the display cannot be opened. The desktop counts as
// trusted when the server has the XTEST extension; without it, untrustedReason says so.
// The text the desktop puts on the clipboard is served by a forked owner when it must
// outlive the process, by this process otherwise (clipboard.h). Marked keys it types are
// entered in `ledger`, shared with the program's key source.
DesktopChoice openX11Desktop(const std::string& displayName,
                             std::unique_ptr<BrowserServices> browsers,
                             std::unique_ptr<ScriptRunner> scripts, DesktopOptions options,
                             std::shared_ptr<MarkerLedger> ledger);

}  // namespace tarn::platform::x11
