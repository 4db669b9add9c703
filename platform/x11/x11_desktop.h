#pragma once

#include <memory>
#include <string>

#include "platform/desktop.h"
#include "platform/x11/clipboard.h"

namespace tarn::platform::x11 {

// The desktop of an X server: windows through the window manager's EWMH properties,
// displays from RandR, keys through XTest, the CLIPBOARD selection, the pointer.
// Browser services and scripts are not X matters: the caller hands them in (null: the
// desktop-file ones of platform/xdg).
//
// No desktop (and the reason) when the display cannot be opened. The desktop counts as
// trusted when the server has the XTEST extension; without it, untrustedReason says so.
// `clipboard` says who serves the text the desktop puts on the clipboard (clipboard.h): a
// forked owner for the one-shot command, this process for the long-running agent.
DesktopChoice openX11Desktop(const std::string& displayName,
                             std::unique_ptr<BrowserServices> browsers,
                             std::unique_ptr<ScriptRunner> scripts,
                             ClipboardOwner clipboard = ClipboardOwner::forkedProcess);

}  // namespace tarn::platform::x11
