#pragma once

#include <string_view>

#include "core/context.h"
#include "platform/desktop.h"

namespace tarn::commands {

enum class PermissionHealth { healthy, cannotMoveMouse, cannotReadPosition };

std::string_view permissionHealthName(PermissionHealth health);

// Can this process read other applications' windows and move the pointer? Asks the first
// regular application with a bundle identifier other than ourselves for its window list
// (or, failing that, the system for its focused element), then tries to make a mouse event.
namespace TarnCoreHealth {
PermissionHealth checkPermissionHealth(platform::Desktop& desktop, platform::Pid ownPid);
}

// The healthcheck command: prints the verdict; 0 when healthy, else 1.
int handleHealthcheck(CommandContext& context);

}  // namespace tarn::commands
