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

// What stands where a file is expected, in tests of files that cannot be read: a FIFO (which
// blocks a reader that waits for a writer), a folder, or a file of mode 000.
enum class Unreadable { fifo, folder, noPermission };
inline const char* nameOf(Unreadable kind) {
    return kind == Unreadable::fifo ? "FIFO" : kind == Unreadable::folder ? "folder" : "mode 000";
}
// Puts one at path (creating its folder); noPermission holds `bytes`. False when it would not
// be unreadable here: root reads a file of any mode.
bool makeUnreadable(const std::filesystem::path& path, Unreadable kind,
                    const std::string& bytes = "");
// What a reader says of it ("it is a FIFO, not a regular file").
std::string unreadableProblem(Unreadable kind);

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
