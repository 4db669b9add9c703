#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tarn::support {

// $HOME, else the password database's home directory; absent when neither is known.
std::optional<std::filesystem::path> homeDirectory();

// The XDG base directories. A home directory variable ($XDG_CONFIG_HOME, $XDG_DATA_HOME)
// counts only when it is an absolute path, else its default under the home directory
// (absent without one). The search lists ($XDG_CONFIG_DIRS, $XDG_DATA_DIRS) are split at
// ":", relative entries dropped, and fall back to their defaults when unset or empty.
std::optional<std::filesystem::path> xdgConfigHome();
std::optional<std::filesystem::path> xdgDataHome();
std::vector<std::filesystem::path> xdgConfigDirs();
std::vector<std::filesystem::path> xdgDataDirs();

// The user's Application Support folder: xdgConfigHome() on Linux, ~/Library/Application
// Support on macOS. Absent when no home directory is known. Creates nothing.
std::optional<std::filesystem::path> applicationSupportBase();

// applicationSupportBase()/appName, created with its parents if missing. A failure to create
// it is ignored: the path is returned all the same and the later read or write reports.
std::filesystem::path getAppSupportDir(const std::string& appName);

inline constexpr const char* kAppDirName = "Tarn";

}  // namespace tarn::support
