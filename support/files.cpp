#include "support/files.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "support/time_text.h"

namespace tarn::support {
namespace {

class FileDescriptor {
  public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { close(); }
    int get() const { return fd_; }
    // Closing reports errors that a write may only show at this point (NFS, quotas).
    bool close() {
        if (fd_ < 0) return true;
        int result = ::close(fd_);
        fd_ = -1;
        return result == 0;
    }

  private:
    int fd_;
};

std::string errnoText() {
    return std::strerror(errno);
}

bool writeAll(int fd, const std::string& bytes) {
    const char* data = bytes.data();
    std::size_t left = bytes.size();
    while (left > 0) {
        ssize_t written = ::write(fd, data, left);
        if (written < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += written;
        left -= static_cast<std::size_t>(written);
    }
    return true;
}

constexpr const char* kTemporaryMark = ".tmp-";

// The permission bits of mode as std::filesystem names them.
std::filesystem::perms permissionsOf(mode_t mode) {
    return static_cast<std::filesystem::perms>(mode & 0777);
}

// What stands where a regular file was expected, for a reader's message.
const char* kindOf(mode_t mode) {
    if (S_ISDIR(mode)) return "a folder";
    if (S_ISFIFO(mode)) return "a FIFO";
    if (S_ISCHR(mode)) return "a character device";
    if (S_ISBLK(mode)) return "a block device";
    if (S_ISSOCK(mode)) return "a socket";
    return "a special file";
}

bool allDigits(std::string_view text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// The writer's pid when `name` is a temporary file of `target` (".<target>.tmp-<pid>-<n>",
// or the same for one of its backups, ".<target>.bak-<...>.tmp-<pid>-<n>"), else absent.
std::optional<pid_t> temporaryWriter(std::string_view name, const std::string& target) {
    const std::string own = "." + target;
    if (!name.starts_with(own)) return std::nullopt;
    auto mark = name.rfind(kTemporaryMark);
    if (mark == std::string_view::npos || mark < own.size()) return std::nullopt;
    std::string_view middle = name.substr(own.size(), mark - own.size());
    if (!middle.empty() && !middle.starts_with(".bak-")) return std::nullopt;
    std::string_view tail = name.substr(mark + std::string_view(kTemporaryMark).size());
    auto dash = tail.find('-');
    if (dash == std::string_view::npos || !allDigits(tail.substr(0, dash)) ||
        !allDigits(tail.substr(dash + 1)) || dash > 9) {
        return std::nullopt;
    }
    long pid = std::stol(std::string(tail.substr(0, dash)));
    if (pid <= 0) return std::nullopt;
    return static_cast<pid_t>(pid);
}

// Whether a process of this id runs (perhaps another user's, which may not be signalled).
bool isRunning(pid_t pid) {
    return ::kill(pid, 0) == 0 || errno == EPERM;
}

// Removes the temporary files of the target that writers killed before their rename left
// behind. Only this target's own names, only in its folder, and only of processes that no
// longer run: a live writer's file is its work in progress.
void removeStaleTemporaries(const std::filesystem::path& directory,
                            const std::filesystem::path& target) {
    const std::string name = target.filename().string();
    std::error_code ec;
    for (std::filesystem::directory_iterator it(directory, ec), end; !ec && it != end;
         it.increment(ec)) {
        auto writer = temporaryWriter(it->path().filename().native(), name);
        if (writer && !isRunning(*writer)) {
            std::error_code ignored;  // another writer may have removed it first
            std::filesystem::remove(it->path(), ignored);
        }
    }
}

// Creates a file of a fresh name beside the target, readable and writable by the user only
// (less what the umask takes): its permissions are set before it replaces anything, so no
// other user can open it meanwhile.
int createAside(const std::filesystem::path& directory, const std::filesystem::path& target,
                std::string& created) {
    // Unique among this process's threads; a name left behind by a dead process of the same
    // id only moves on to the next number.
    static std::atomic<unsigned> counter{0};
    for (int attempt = 0; attempt < 1000; ++attempt) {
        created = (directory / ("." + target.filename().string() + kTemporaryMark +
                                std::to_string(::getpid()) + "-" + std::to_string(counter++)))
                      .string();
        int fd = ::open(created.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
    return -1;
}

}  // namespace

FileRead readRegularFile(const std::filesystem::path& path) {
    FileRead read;
    auto cannotRead = [&] {
        // A path through a file ("config.json/x") leads nowhere, as a missing folder does.
        read.missing = errno == ENOENT || errno == ENOTDIR;
        read.problem = "it cannot be read: " + errnoText();
        return read;
    };
    // O_NONBLOCK: opening a FIFO waits for a writer, a serial line for its carrier.
    int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) return cannotRead();
    FileDescriptor file(fd);
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) return cannotRead();
    read.permissions = permissionsOf(status.st_mode);
    if (!S_ISREG(status.st_mode)) {
        read.problem = std::string("it is ") + kindOf(status.st_mode) + ", not a regular file";
        return read;
    }
    std::string bytes;
    if (status.st_size > 0) bytes.reserve(static_cast<std::size_t>(status.st_size));
    char buffer[65536];
    for (;;) {
        ssize_t got = ::read(file.get(), buffer, sizeof buffer);
        if (got == 0) break;
        if (got < 0) {
            if (errno == EINTR) continue;
            return cannotRead();
        }
        bytes.append(buffer, static_cast<std::size_t>(got));
    }
    read.bytes = std::move(bytes);
    return read;
}

std::optional<std::string> readFile(const std::filesystem::path& path) {
    return readRegularFile(path).bytes;
}

std::optional<std::string> writeFileAtomically(const std::filesystem::path& path,
                                               const std::string& bytes, Durability durability,
                                               std::optional<std::filesystem::perms> permissions) {
    std::filesystem::path directory = path.parent_path();
    if (directory.empty()) directory = ".";
    if (!permissions) {
        struct stat replaced {};
        if (::stat(path.c_str(), &replaced) == 0 && S_ISREG(replaced.st_mode)) {
            permissions = permissionsOf(replaced.st_mode);
        }
    }
    removeStaleTemporaries(directory, path);
    std::string pattern;
    int fd = createAside(directory, path, pattern);
    if (fd < 0) return errnoText();
    FileDescriptor file(fd);
    auto fail = [&](std::string reason) -> std::optional<std::string> {
        file.close();
        ::unlink(pattern.c_str());
        return reason;
    };
    // Exactly the permissions asked for or kept, whatever the umask; a new file keeps what
    // the umask left of 0600.
    if (permissions && ::fchmod(file.get(), static_cast<mode_t>(*permissions)) != 0) {
        return fail(errnoText());
    }
    if (!writeAll(file.get(), bytes)) return fail(errnoText());
    if (::fsync(file.get()) != 0) return fail(errnoText());
    if (!file.close()) return fail(errnoText());
    if (::rename(pattern.c_str(), path.c_str()) != 0) return fail(errnoText());
    if (durability == Durability::contentOnly) return std::nullopt;
    // Make the rename itself durable.
    int dirFd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY);
    if (dirFd >= 0) {
        FileDescriptor dir(dirFd);
        ::fsync(dir.get());
    }
    return std::nullopt;
}

std::optional<FileLock> FileLock::acquire(const std::filesystem::path& path) {
    std::filesystem::path lockPath = path;
    lockPath += ".lock";
    int fd = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0600);
    if (fd < 0) return std::nullopt;
    FileLock lock(fd);
    while (::flock(fd, LOCK_EX) != 0) {
        if (errno != EINTR) return std::nullopt;
    }
    return lock;
}

FileLock::~FileLock() {
    // Closing the only descriptor of the lock file releases the lock.
    if (fd_ >= 0) ::close(fd_);
}

namespace {

// Writes the bytes to a fresh "<name>.bak-<UTC timestamp>" beside the file.
std::optional<std::filesystem::path> writeCopy(const std::filesystem::path& path,
                                               const std::string& bytes,
                                               std::filesystem::perms permissions) {
    std::filesystem::path backup = path;
    backup += ".bak-" + fileNameTimestamp();
    // Two backups in the same second keep both.
    for (int n = 2; std::filesystem::exists(backup); ++n) {
        backup = path;
        backup += ".bak-" + fileNameTimestamp() + "-" + std::to_string(n);
    }
    if (writeFileAtomically(backup, bytes, Durability::whole, permissions)) return std::nullopt;
    return backup;
}

}  // namespace

std::optional<std::filesystem::path> writeBackup(const std::filesystem::path& path,
                                                 const std::string& bytes) {
    std::optional<std::filesystem::perms> permissions;
    struct stat original {};
    if (::stat(path.c_str(), &original) == 0) permissions = permissionsOf(original.st_mode);
    return writeCopy(path, bytes, permissions.value_or(kNewFilePermissions));
}

std::optional<std::filesystem::path> backupFile(const std::filesystem::path& path) {
    auto read = readRegularFile(path);
    if (!read.bytes) return std::nullopt;
    return writeCopy(path, *read.bytes, read.permissions);
}

KeptCopy keepCopyBeforeReplacing(const std::filesystem::path& path) {
    if (auto copy = backupFile(path)) return {.mayReplace = true, .copy = std::move(copy)};
    // Anything still there, even what cannot be checked, is kept: only a file gone meanwhile
    // leaves nothing to protect.
    struct stat status {};
    bool gone = ::lstat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
    return {.mayReplace = gone, .copy = std::nullopt};
}

}  // namespace tarn::support
