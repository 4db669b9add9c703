#pragma once

#include <vector>

#include "platform/window_system.h"

namespace tarn::agent::ui {

// What the settings window needs of the application observer: the ordinary applications
// running now, in the order the observer keeps them.
class RunningApps {
  public:
    virtual ~RunningApps() = default;
    // Reads the desktop again, so a picker that opens shows what runs at that moment.
    virtual void refreshRunningApps() = 0;
    virtual std::vector<platform::AppInfo> runningApps() const = 0;
};

}  // namespace tarn::agent::ui
