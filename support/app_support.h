#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tarn::support {

// $HOME, else the password database's home directory; absent when neither is known.
std::optional<std::filesystem::path> homeDirectory();

// An XDG base-directory home ($XDG_CONFIG_HOME, $XDG_DATA_HOME, ...): the variable counts
// only when it holds an absolute path, else `underHome` below the home directory (absent
// without one).
std::optional<std::filesystem::path> xdgHomeDirectory(const char* variable, const char* underHome);
// $XDG_CONFIG_HOME by that rule, default ~/.config.
std::optional<std::filesystem::path> xdgConfigHome();

// The user's Application Support folder: xdgConfigHome() on Linux, ~/Library/Application
// Support on macOS. Absent when no home directory is known. Creates nothing.
std::optional<std::filesystem::path> applicationSupportBase();

// applicationSupportBase()/appName, created with its parents if missing. A failure to create
// it is ignored: the path is returned all the same and the later read or write reports.
std::filesystem::path getAppSupportDir(const std::string& appName);

inline constexpr const char* kAppDirName = "Tarn";

}  // namespace tarn::support
