#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/app_events.h"

namespace tarn::platform::xdg {

// The login item of a Linux desktop: an XDG autostart entry, a desktop entry in
// $XDG_CONFIG_HOME/autostart/ that the session starts at login. Registering writes it whole
// and atomically (support::writeFileAtomically, which also gives it the file mode);
// unregistering removes it. It counts as enabled while the file exists and neither hides
// itself (Hidden=true) nor is switched off (X-GNOME-Autostart-enabled=false), which is how
// desktop settings panels turn an entry off. Needs no display.
class AutostartLoginItem final : public LoginItem {
  public:
    // `file` is the entry's path (empty: there is no home directory to put it in);
    // `command` the program and its arguments that the entry starts.
    AutostartLoginItem(std::filesystem::path file, std::vector<std::string> command)
        : file_(std::move(file)), command_(std::move(command)) {}

    LoginItemStatus status() override;
    bool registerItem(std::string& error) override;
    bool unregisterItem(std::string& error) override;

    const std::filesystem::path& file() const { return file_; }

  private:
    std::filesystem::path file_;
    std::vector<std::string> command_;
};

// The entry's text: the template platform/xdg/wendle-autostart.desktop.in ([Desktop Entry]
// with Type, Name, Comment, Icon, Exec and X-GNOME-Autostart-enabled=true), its Exec line
// `command` with each word quoted by the rules desktop entries give Exec lines. The package
// installs the entry this writes for the installed wendle (share/tarn/).
std::string autostartEntry(const std::vector<std::string>& command);

// The agent's login item: $XDG_CONFIG_HOME/autostart/wendle.desktop (default
// ~/.config/autostart), its path resolved now, starting `command`.
std::unique_ptr<AutostartLoginItem> makeLoginItem(std::vector<std::string> command);

}  // namespace tarn::platform::xdg
