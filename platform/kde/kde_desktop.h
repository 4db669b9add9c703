#pragma once

#include <memory>
#include <string>

#include "platform/desktop.h"

namespace tarn::platform::kde {

// The desktop of a KDE Plasma (KWin) Wayland session: windows and displays through a KWin
// script on the session bus (kwin.h), keys and the pointer through KWin's fake input
// (fake_input.h), the clipboard through the data-control protocol. Browser services and
// scripts are not KWin matters: the caller hands them in.
//
// No desktop (and the reason, saying what to do) when KWin cannot be reached on the bus or
// its script does not start. Without fake input the desktop still opens, untrusted, with the
// reason: windows can be read and moved, but no key or pointer event can be made.
DesktopChoice openKdeDesktop(std::unique_ptr<BrowserServices> browsers,
                             std::unique_ptr<ScriptRunner> scripts, DesktopOptions options);

}  // namespace tarn::platform::kde
