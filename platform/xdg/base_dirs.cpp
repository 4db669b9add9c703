#include "platform/xdg/base_dirs.h"

#include <cstdlib>
#include <string_view>

#include "support/app_support.h"
#include "support/text.h"

namespace tarn::platform::xdg {
namespace {

std::vector<std::filesystem::path> searchList(const char* variable, std::string_view fallback) {
    const char* value = std::getenv(variable);
    std::string_view list = value && *value ? std::string_view(value) : fallback;
    std::vector<std::filesystem::path> dirs;
    for (auto entry : support::splitText(list, ":")) {
        if (entry.starts_with('/')) dirs.emplace_back(entry);
    }
    return dirs;
}

}  // namespace

std::optional<std::filesystem::path> dataHome() {
    return support::xdgHomeDirectory("XDG_DATA_HOME", ".local/share");
}

std::vector<std::filesystem::path> configDirs() {
    return searchList("XDG_CONFIG_DIRS", "/etc/xdg");
}

std::vector<std::filesystem::path> dataDirs() {
    return searchList("XDG_DATA_DIRS", "/usr/local/share/:/usr/share/");
}

}  // namespace tarn::platform::xdg
