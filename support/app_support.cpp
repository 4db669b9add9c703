#include "support/app_support.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace tarn::support {

std::optional<std::filesystem::path> homeDirectory() {
    if (const char* home = std::getenv("HOME"); home && *home) return std::filesystem::path(home);
    if (const passwd* entry = ::getpwuid(::getuid()); entry && entry->pw_dir && *entry->pw_dir) {
        return std::filesystem::path(entry->pw_dir);
    }
    return std::nullopt;
}

std::optional<std::filesystem::path> xdgHomeDirectory(const char* variable, const char* underHome) {
    // The XDG base-directory rules ignore a relative value.
    if (const char* value = std::getenv(variable); value && value[0] == '/') {
        return std::filesystem::path(value);
    }
    auto home = homeDirectory();
    if (!home) return std::nullopt;
    return *home / underHome;
}

std::optional<std::filesystem::path> xdgConfigHome() {
    return xdgHomeDirectory("XDG_CONFIG_HOME", ".config");
}

std::optional<std::filesystem::path> applicationSupportBase() {
#ifdef __APPLE__
    auto home = homeDirectory();
    if (!home) return std::nullopt;
    return *home / "Library" / "Application Support";
#else
    return xdgConfigHome();
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
