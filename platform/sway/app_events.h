#pragma once

#include <memory>
#include <string>

#include "platform/app_events.h"

namespace tarn::platform::sway {

// The agent's view of sway's applications: `window` and `workspace` events on a thread and
// connection of their own (focus moving to a window or to an empty workspace is an
// activation; a window made or closed changes the running applications). Reads on demand go
// through another connection, under a lock. Every application with a window counts as an
// ordinary one: sway shows no other kind.
std::unique_ptr<AppEvents> makeAppEvents(std::string socket);

}  // namespace tarn::platform::sway
