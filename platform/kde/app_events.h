#pragma once

#include <memory>

#include "platform/app_events.h"

namespace tarn::platform::kde {

// Applications on KDE Plasma as the agent follows them: a resident KWin script calls this
// process when the active window changes and when a window comes or goes (its own thread and
// session-bus connection); the frontmost and running applications are read on demand through
// a window script of their own, as windows.h reads them.
std::unique_ptr<AppEvents> makeAppEvents();

}  // namespace tarn::platform::kde
