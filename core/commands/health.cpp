#include "core/commands/health.h"

#include <unistd.h>

#include <ostream>

namespace tarn::commands {

std::string_view permissionHealthName(PermissionHealth health) {
    switch (health) {
        case PermissionHealth::healthy:
            return "healthy";
        case PermissionHealth::cannotMoveMouse:
            return "cannotMoveMouse";
        case PermissionHealth::cannotReadPosition:
            return "cannotReadPosition";
    }
    return "cannotReadPosition";
}

PermissionHealth TarnCoreHealth::checkPermissionHealth(platform::Desktop& desktop,
                                                       platform::Pid ownPid) {
    auto& windows = desktop.windowSystem();
    bool canRead = false;
    for (const auto& app : windows.runningApplications()) {
        if (app.pid == ownPid || !app.regularActivationPolicy || !app.bundleID) continue;
        int error = windows.windowListError(app.pid);
        if (error == platform::ax::apiDisabled) return PermissionHealth::cannotReadPosition;
        canRead = error == platform::ax::success;
        break;
    }
    if (!canRead && windows.focusedElementError() != platform::ax::success) {
        return PermissionHealth::cannotReadPosition;
    }
    auto& pointer = desktop.pointer();
    auto location = pointer.location();
    if (!location || !pointer.canCreateMouseEvent(*location)) {
        return PermissionHealth::cannotMoveMouse;
    }
    return PermissionHealth::healthy;
}

int handleHealthcheck(CommandContext& context) {
    auto verdict = TarnCoreHealth::checkPermissionHealth(context.desktop(), ::getpid());
    context.out << permissionHealthName(verdict) << '\n';
    return verdict == PermissionHealth::healthy ? 0 : 1;
}

}  // namespace tarn::commands
