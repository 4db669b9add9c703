#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>

namespace tarn::support {

// The whole file; absent when it does not exist or cannot be read.
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

// Writes the bytes aside in the same directory, flushes them to disk and renames them over
// the target, so readers see the old file or the new one, never a part. Returns the reason
// when it fails; the target is then untouched and no temporary file is left behind.
std::optional<std::string> writeFileAtomically(const std::filesystem::path& path,
                                               const std::string& bytes,
                                               Durability durability = Durability::whole);

// Copies the file to "<name>.bak-<UTC timestamp>" beside it, before it is replaced by a
// writer that could not read it whole. Returns the copy's path, or absent on failure.
std::optional<std::filesystem::path> backupFile(const std::filesystem::path& path);
// Writes these bytes to "<name>.bak-<UTC timestamp>" beside the file, whether or not the file
// exists: a copy of content that is about to be replaced some other way than by a write of
// the file (a whole configuration imported over the current one). The copy's path, or absent.
std::optional<std::filesystem::path> writeBackup(const std::filesystem::path& path,
                                                 const std::string& bytes);

// An advisory lock (flock) on "<name>.lock" beside a file, held for the object's life. A
// read-change-write of a file that other processes change too runs under it, so parallel
// writers each keep their change. The lock file is left in place: removing it would let a
// writer waiting on it lock a file the next writer no longer sees.
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
