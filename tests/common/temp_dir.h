#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tarn::testing {

// A fresh directory under the system temp dir, removed with everything in it at the end.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

// The copies a save kept of `file` before replacing it, named `<file>.bak-<time>` beside it.
std::vector<std::filesystem::path> backupsOf(const std::filesystem::path& file);

// Sets an environment variable for the lifetime of the object, then restores it.
class ScopedEnv {
  public:
    ScopedEnv(const char* name, const char* value);  // null value unsets
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

  private:
    std::string name_;
    std::optional<std::string> previous_;
};

}  // namespace tarn::testing
