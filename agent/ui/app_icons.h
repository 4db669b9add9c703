#pragma once

#include <map>
#include <string>

#include "agent/ui/settings_services.h"
#include "platform/app_icons.h"

namespace tarn::agent::ui {

class WindowAccess;

// An application's icon on Linux, by its bundle identifier (its X11 window class): the icon
// of its desktop entry (the entry's StartupWMClass or file name matching the class), else
// the icon its first window publishes, else none (the caller draws an empty square). Looked
// up once per application until refresh().
class DesktopAppIcons final : public AppIcons {
  public:
    static constexpr int kSize = 18;

    // `names` may be null: then only windows' icons are shown.
    DesktopAppIcons(WindowAccess& windows, platform::AppIconNames* names)
        : windows_(windows), names_(names) {}

    QIcon icon(const std::string& bundleID) override;
    // Forgets what was looked up: applications started since then show their windows' icons.
    void refresh() override { known_.clear(); }

  private:
    QIcon lookUp(const std::string& bundleID);

    WindowAccess& windows_;
    platform::AppIconNames* names_;
    std::map<std::string, QIcon> known_;
};

}  // namespace tarn::agent::ui
