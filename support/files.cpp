#include "support/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

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

// Creates a file of a fresh name beside the target. The kernel gives it 0666 less the
// process umask, as any new file gets: reading the umask would mean setting it, which races
// with every other thread that creates a file meanwhile.
int createAside(const std::filesystem::path& directory, const std::filesystem::path& target,
                std::string& created) {
    // Unique among this process's threads; a name left behind by a dead process of the same
    // id only moves on to the next number.
    static std::atomic<unsigned> counter{0};
    for (int attempt = 0; attempt < 1000; ++attempt) {
        created = (directory / ("." + target.filename().string() + ".tmp-" +
                                std::to_string(::getpid()) + "-" + std::to_string(counter++)))
                      .string();
        int fd = ::open(created.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
    return -1;
}

}  // namespace

std::optional<std::string> readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream content;
    content << in.rdbuf();
    if (in.bad()) return std::nullopt;
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) return std::nullopt;
    return content.str();
}

std::optional<std::string> writeFileAtomically(const std::filesystem::path& path,
                                               const std::string& bytes, Durability durability) {
    std::filesystem::path directory = path.parent_path();
    if (directory.empty()) directory = ".";
    std::string pattern;
    int fd = createAside(directory, path, pattern);
    if (fd < 0) return errnoText();
    FileDescriptor file(fd);
    auto fail = [&](std::string reason) -> std::optional<std::string> {
        file.close();
        ::unlink(pattern.c_str());
        return reason;
    };
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
    int fd = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
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

std::optional<std::filesystem::path> writeBackup(const std::filesystem::path& path,
                                                 const std::string& bytes) {
    std::filesystem::path backup = path;
    backup += ".bak-" + fileNameTimestamp();
    // Two backups in the same second keep both.
    for (int n = 2; std::filesystem::exists(backup); ++n) {
        backup = path;
        backup += ".bak-" + fileNameTimestamp() + "-" + std::to_string(n);
    }
    if (writeFileAtomically(backup, bytes)) return std::nullopt;
    return backup;
}

std::optional<std::filesystem::path> backupFile(const std::filesystem::path& path) {
    auto content = readFile(path);
    if (!content) return std::nullopt;
    return writeBackup(path, *content);
}

}  // namespace tarn::support
