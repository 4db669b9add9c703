#pragma once

#include <memory>
#include <string>

#include "platform/app_events.h"

namespace tarn::platform::x11 {

// The applications of an X server, followed on a thread with a connection of its own: the
// root window's _NET_ACTIVE_WINDOW changing is an activation, its _NET_CLIENT_LIST changing a
// launch or a quit (every change of the window list is reported). Notifications that arrive
// together are reported once.
//
// Applications are what the X11 window system makes of the windows (windows.h): the bundle
// identifier and name are the WM_CLASS class, the pid is _NET_WM_PID or the X-Resource
// answer. The reads run on the source's thread (the calling thread waits), or on a
// connection of their own while the source is not running; a desktop that cannot be read
// gives no application.
std::unique_ptr<AppEvents> makeAppEvents(std::string displayName);

}  // namespace tarn::platform::x11
