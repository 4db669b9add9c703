#pragma once

#include <memory>
#include <string>

#include "platform/desktop.h"
#include "platform/sway/bindings.h"

namespace tarn::platform::sway {

// The desktop of a wlroots compositor that speaks sway's IPC: windows and outputs through
// the IPC socket (windows.h), keys, pointer and clipboard through the Wayland protocols
// every wlroots compositor serves (platform/wayland/). The Wayland connection is made when
// keys, the pointer or the clipboard are first used, so a window move never waits for it.
// The pointer's layout is the bounding box of the outputs.
//
// Trusted = the IPC socket answers and the compositor offers a virtual keyboard (its
// registry lists the manager; the keyboard itself is made at the first key). Marked keys
// it types get past the agent's own bindings through `gate` (bindings.h).
//
// No desktop (and the reason) when the socket cannot be reached.
DesktopChoice openSwayDesktop(const std::string& socket, const std::string& waylandDisplay,
                              std::unique_ptr<BrowserServices> browsers,
                              std::unique_ptr<ScriptRunner> scripts, DesktopOptions options,
                              std::shared_ptr<BindingGate> gate);

}  // namespace tarn::platform::sway
