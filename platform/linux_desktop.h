#pragma once

#include <memory>

#include "platform/desktop.h"

namespace tarn::platform {

// What every Linux desktop holds alike: the browsers and scripts it was given (from the XDG
// layer, whatever the desktop) and a sleep of the process's own. The desktop adds its windows,
// displays and input.
class LinuxDesktop : public Desktop {
  public:
    LinuxDesktop(std::unique_ptr<BrowserServices> browsers, std::unique_ptr<ScriptRunner> scripts);

    Sleeper& sleeper() override;
    BrowserServices& browsers() override { return *browsers_; }
    ScriptRunner& scripts() override { return *scripts_; }

  private:
    std::unique_ptr<BrowserServices> browsers_;
    std::unique_ptr<ScriptRunner> scripts_;
};

}  // namespace tarn::platform
