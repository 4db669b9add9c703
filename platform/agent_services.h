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

// platform/backend.h opens them, with the Desktop, for the chosen backend.

}  // namespace tarn::platform
