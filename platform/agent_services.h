#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/app_events.h"
#include "platform/desktop.h"
#include "platform/key_source.h"

namespace tarn::platform {

// What the agent needs of the desktop beside the Desktop itself.
struct AgentServices {
    std::unique_ptr<KeySource> keys;
    std::unique_ptr<AppEvents> apps;
    std::unique_ptr<LoginItem> loginItem;
    std::string error;  // why there are no keys and apps, when they are null
};

// Chosen like openDesktop(): TARN_SIM_DESKTOP=<file> gives the simulated ones
// (sim::SimKeySource and sim::SimAppEvents, platform/sim/sim_agent.h, which tests drive
// in-process); otherwise, on Linux, those of the X server named by DISPLAY; otherwise none,
// with the reason. Nothing is started or connected yet. The login item is the XDG autostart
// entry on Linux whatever the desktop, starting `loginCommand` (the program and its
// arguments; empty: this executable with no arguments); it is present even when the rest
// is not.
AgentServices openAgentServices(std::vector<std::string> loginCommand = {});

// The agent opens its Desktop with openAgentDesktop() (desktop.h).

}  // namespace tarn::platform
