#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/window_system.h"

namespace tarn::platform {

// The desktop's applications as the agent's observer follows them.
class AppEvents {
  public:
    using Notify = std::function<void()>;

    virtual ~AppEvents() = default;

    // Starts following the desktop: `onActivated` after the frontmost application changed
    // (or was re-asserted), `onLaunchedOrTerminated` after the set of running applications
    // changed. Both are called on the source's own thread; the caller moves the work to its
    // main thread. Returns false with a reason when the desktop cannot be followed.
    virtual bool start(Notify onActivated, Notify onLaunchedOrTerminated, std::string& error) = 0;
    virtual void stop() = 0;

    // Read on demand (any thread): the frontmost application, and the running ones in the
    // desktop's order with `regularActivationPolicy` set for ordinary applications.
    virtual std::optional<AppInfo> frontmostApplication() = 0;
    virtual std::vector<AppInfo> runningApplications() = 0;
};

enum class LoginItemStatus { enabled, notRegistered };

// Starting the agent when the user logs in.
class LoginItem {
  public:
    virtual ~LoginItem() = default;
    virtual LoginItemStatus status() = 0;
    // False with a reason in `error` when the change could not be made.
    virtual bool registerItem(std::string& error) = 0;
    virtual bool unregisterItem(std::string& error) = 0;
};

}  // namespace tarn::platform
