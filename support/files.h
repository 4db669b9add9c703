#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>

namespace tarn::support {

// What reading a whole file found.
struct FileRead {
    std::optional<std::string> bytes;  // the whole file; absent when it could not be read
    bool missing = false;              // absent because nothing is there
    // Absent bytes: why, as a clause ("it cannot be read: Permission denied", "it is a FIFO,
    // not a regular file").
    std::string problem;
    // The file's permission bits, which a copy of it takes.
    std::filesystem::perms permissions = std::filesystem::perms::none;
};

// Reads a regular file whole. It is opened without waiting (O_NONBLOCK) and anything else
// in its place, a FIFO, a device, a socket or a folder, is refused before a byte is read:
// a FIFO without a writer would otherwise block the reader for ever.
FileRead readRegularFile(const std::filesystem::path& path);

// The whole file (readRegularFile); absent when it does not exist or cannot be read.
std::optional<std::string> readFile(const std::filesystem::path& path);

// How much of a write must outlive a crash of the machine. Either way a reader, then or
// after the crash, finds the old file or the new one whole, never a part of either.
enum class Durability {
    // The rename too is flushed, so the new file is the one found after a crash: anything
    // the user wrote or chose.
    whole,
    // The rename is left for the system to flush when it will, so a crash soon after may
    // bring back the file before it. For records whose newest change costs nothing to lose
    // and which are written on every command (the window cycle's place), where the
    // directory's flush would be a noticeable part of the command's time.
    contentOnly,
};

// The permissions of a file Tarn creates for itself: private to the user.
inline constexpr std::filesystem::perms kNewFilePermissions =
    std::filesystem::perms::owner_read | std::filesystem::perms::owner_write;

// Writes the bytes aside in the same directory as ".<name>.tmp-<pid>-<n>", flushes them to
// disk and renames them over the target, so readers see the old file or the new one, never a
// part. Returns the reason when it fails; the target is then untouched and no temporary file
// is left behind. The file gets `permissions` when given, else those of the file it replaces,
// else kNewFilePermissions (less what the umask takes away). Temporary files of this target
// left by writers that died before their rename (their pid names no running process) are
// removed first.
std::optional<std::string> writeFileAtomically(
    const std::filesystem::path& path, const std::string& bytes,
    Durability durability = Durability::whole,
    std::optional<std::filesystem::perms> permissions = std::nullopt);

// Copies the file to "<name>.bak-<UTC timestamp>" beside it, with the file's permissions,
// before it is replaced by a writer that could not read it whole. Returns the copy's path, or
// absent on failure.
std::optional<std::filesystem::path> backupFile(const std::filesystem::path& path);
// Writes these bytes to "<name>.bak-<UTC timestamp>" beside the file, whether or not the file
// exists: a copy of content that is about to be replaced some other way than by a write of
// the file (a whole configuration imported over the current one). The copy has the file's
// permissions, or kNewFilePermissions when there is none. The copy's path, or absent.
std::optional<std::filesystem::path> writeBackup(const std::filesystem::path& path,
                                                 const std::string& bytes);

// The one rule for replacing a file that was there but not read whole (it could not be read,
// was not understood, or held more than the writer keeps): first keep a copy of it beside it
// (backupFile). When no copy can be made and the file is still there, it must not be
// replaced at all; the writer then says "Not saving <path>: ... no copy of it could be made"
// and fails. A file gone meanwhile leaves nothing to protect.
struct KeptCopy {
    bool mayReplace = false;
    std::optional<std::filesystem::path> copy;  // where the copy is, when one was made
};
KeptCopy keepCopyBeforeReplacing(const std::filesystem::path& path);

// An advisory lock (flock) on "<name>.lock" beside a file, held for the object's life. A
// read-change-write of a file that other processes change too runs under it, so parallel
// writers each keep their change. The lock file is left in place: removing it would let a
// writer waiting on it lock a file the next writer no longer sees. It is created private to
// the user (0600), as every file Tarn makes for itself.
class FileLock {
  public:
    // Waits for the lock. Absent when no lock file can be made there (a folder that cannot
    // be written, where the write that follows fails anyway).
    static std::optional<FileLock> acquire(const std::filesystem::path& path);

    FileLock(FileLock&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileLock& operator=(FileLock&&) = delete;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock();

  private:
    explicit FileLock(int fd) : fd_(fd) {}
    int fd_;
};

}  // namespace tarn::support
