#pragma once

#include <filesystem>
#include <optional>
#include <vector>

namespace tarn::platform::xdg {

// The XDG base directories the desktop-entry and mimeapps readers search, besides
// $XDG_CONFIG_HOME (support::xdgConfigHome). $XDG_DATA_HOME counts only when absolute, else
// ~/.local/share; the search lists ($XDG_CONFIG_DIRS, $XDG_DATA_DIRS) are split at ":",
// relative entries dropped, and fall back to their defaults when unset or empty.
std::optional<std::filesystem::path> dataHome();
std::vector<std::filesystem::path> configDirs();
std::vector<std::filesystem::path> dataDirs();

}  // namespace tarn::platform::xdg
