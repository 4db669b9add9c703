#pragma once

#include <memory>

#include "platform/app_events.h"
#include "platform/key_source.h"
#include "platform/marker_ledger.h"

namespace tarn::platform::gnome {

// The agent's chords as the shell's accelerators, grabbed through Tarn's extension on a
// session-bus connection of the source's own thread. A grabbed accelerator never reaches the
// focused window, so a chord whose rule passes it is typed again through Mutter's
// RemoteDesktop session, the grab released around it. A chord GNOME or another program
// holds (GNOME binds <Control><Alt> and the arrows) is reported taken. Grabs are made again
// when the shell comes back after a restart, and the extension drops them when the agent's
// connection goes away. Key-downs the program typed itself (entered in `ledger` by its
// keyboard) carry their marker.
std::unique_ptr<KeySource> makeKeySource(std::shared_ptr<platform::MarkerLedger> ledger);

// The focused application and the running ones, followed through the extension's signals.
std::unique_ptr<AppEvents> makeAppEvents();

}  // namespace tarn::platform::gnome
