#include "tests/common/temp_dir.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

namespace tarn::testing {

TempDir::TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tarn-test-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    // Tests may leave read-only directories behind; make them writable before removing.
    for (auto it = std::filesystem::recursive_directory_iterator(path_, ignored);
         it != std::filesystem::recursive_directory_iterator(); it.increment(ignored)) {
        std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::add, ignored);
    }
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::add, ignored);
    std::filesystem::remove_all(path_, ignored);
}

std::vector<std::filesystem::path> backupsOf(const std::filesystem::path& file) {
    std::vector<std::filesystem::path> found;
    const std::string prefix = file.filename().string() + ".bak-";
    for (const auto& entry : std::filesystem::directory_iterator(file.parent_path())) {
        if (entry.path().filename().string().starts_with(prefix)) found.push_back(entry.path());
    }
    return found;
}

bool makeUnreadable(const std::filesystem::path& path, Unreadable kind, const std::string& bytes) {
    std::filesystem::create_directories(path.parent_path());
    switch (kind) {
        case Unreadable::fifo:
            return ::mkfifo(path.c_str(), 0600) == 0;
        case Unreadable::folder:
            return std::filesystem::create_directory(path);
        case Unreadable::noPermission:
            std::ofstream(path, std::ios::binary) << bytes;
            std::filesystem::permissions(path, std::filesystem::perms::none);
            return ::geteuid() != 0;
    }
    return false;
}

std::string unreadableProblem(Unreadable kind) {
    switch (kind) {
        case Unreadable::fifo:
            return "it is a FIFO, not a regular file";
        case Unreadable::folder:
            return "it is a folder, not a regular file";
        case Unreadable::noPermission:
            return "it cannot be read: Permission denied";
    }
    return "";
}

ScopedEnv::ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) previous_ = old;
    value ? ::setenv(name, value, 1) : ::unsetenv(name);
}

ScopedEnv::~ScopedEnv() {
    previous_ ? ::setenv(name_.c_str(), previous_->c_str(), 1) : ::unsetenv(name_.c_str());
}

}  // namespace tarn::testing
