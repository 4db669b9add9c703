#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/app_icons.h"
#include "platform/browser.h"

// The parts of a Linux desktop that live in files, not in the X server: browsers are the
// desktop entries (.desktop files) that handle http and https, and the default browser is
// what the mimeapps.list files say, the same files xdg-mime and xdg-settings read and write.
namespace tarn::platform::xdg {

// Where desktop entries and mimeapps.list files are looked for. Empty home paths are
// skipped.
struct Locations {
    std::filesystem::path configHome;
    std::vector<std::filesystem::path> configDirs;
    std::filesystem::path dataHome;
    std::vector<std::filesystem::path> dataDirs;
    // $XDG_CURRENT_DESKTOP in lower case, for the "<desktop>-mimeapps.list" files.
    std::vector<std::string> desktops;

    // The XDG base directories and current desktop of this process's environment.
    static Locations fromEnvironment();
};

// Bundle identifiers are desktop file ids ("firefox-esr.desktop"), names the entries' Name,
// paths the .desktop files. Setting a default writes the http, https, HTML and XHTML
// defaults into $XDG_CONFIG_HOME/mimeapps.list atomically, keeping everything else in it.
// The variant without locations reads the environment at every call.
std::unique_ptr<BrowserServices> makeBrowserServices();
std::unique_ptr<BrowserServices> makeBrowserServices(Locations locations);

// The Icon of the desktop entry of an application known by its X11 window class (its bundle
// identifier on X11): the entry whose StartupWMClass is that class, else the one whose file
// name (without ".desktop") is, compared without regard to letter case. An icon theme name or
// an absolute path; absent when no entry matches or it names no icon.
std::optional<std::string> applicationIcon(const Locations& where, std::string_view windowClass);
// The same as the desktop's icon names, from the locations given.
std::unique_ptr<AppIconNames> makeAppIconNames(Locations where);

// Browser tabs are switched with AppleScript, which Linux cannot run: every script fails
// with a run error that says so, and the command takes its script-error path.
std::unique_ptr<ScriptRunner> makeScriptRunner();

// What that runner's error says.
inline constexpr const char* kNoScriptRunnerText =
    "no script runner on this platform (AppleScript is not available on Linux)";

}  // namespace tarn::platform::xdg
