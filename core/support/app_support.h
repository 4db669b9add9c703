#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tarn::support {

// The user's Application Support folder: $XDG_CONFIG_HOME (when absolute) or ~/.config on
// Linux, ~/Library/Application Support on macOS. Absent when no home directory is known.
// Creates nothing.
std::optional<std::filesystem::path> applicationSupportBase();

// applicationSupportBase()/appName, created with its parents if missing. A failure to create
// it is ignored: the path is returned all the same and the later read or write reports.
std::filesystem::path getAppSupportDir(const std::string& appName);

inline constexpr const char* kAppDirName = "Tarn";

}  // namespace tarn::support
