#include "core/support/app_support.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace tarn::support {
namespace {

std::optional<std::filesystem::path> homeDirectory() {
    if (const char* home = std::getenv("HOME"); home && *home) return std::filesystem::path(home);
    if (const passwd* entry = ::getpwuid(::getuid()); entry && entry->pw_dir && *entry->pw_dir) {
        return std::filesystem::path(entry->pw_dir);
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::filesystem::path> applicationSupportBase() {
#ifdef __APPLE__
    auto home = homeDirectory();
    if (!home) return std::nullopt;
    return *home / "Library" / "Application Support";
#else
    // The XDG base-directory rules ignore a relative XDG_CONFIG_HOME.
    if (const char* config = std::getenv("XDG_CONFIG_HOME"); config && config[0] == '/') {
        return std::filesystem::path(config);
    }
    auto home = homeDirectory();
    if (!home) return std::nullopt;
    return *home / ".config";
#endif
}

std::filesystem::path getAppSupportDir(const std::string& appName) {
    std::filesystem::path base = applicationSupportBase().value_or(std::filesystem::path("."));
    std::filesystem::path directory = base / appName;
    std::error_code ignored;
    std::filesystem::create_directories(directory, ignored);
    return directory;
}

}  // namespace tarn::support
