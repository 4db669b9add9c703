#include "browser/protocol/channel.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace tarn::browser {
namespace {

constexpr const char* kSuffix = ".sock";

std::optional<sockaddr_un> address(const std::filesystem::path& path) {
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    const std::string& text = path.native();
    if (text.size() >= sizeof(addr.sun_path)) return std::nullopt;
    std::memcpy(addr.sun_path, text.c_str(), text.size() + 1);
    return addr;
}

}  // namespace

UniqueFd& UniqueFd::operator=(UniqueFd&& other) noexcept {
    if (this != &other) {
        if (fd_ >= 0) ::close(fd_);
        fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
}

UniqueFd::~UniqueFd() {
    if (fd_ >= 0) ::close(fd_);
}

SocketFolder socketFolder(bool create) {
    std::filesystem::path folder;
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime) {
        folder = std::filesystem::path(runtime) / "tarn-browser";
    } else {
        folder = "/tmp/tarn-browser-" + std::to_string(::getuid());
    }
    if (create && ::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        return {std::nullopt, "cannot make " + folder.string() + ": " + std::strerror(errno)};
    }
    struct stat info {};
    if (::lstat(folder.c_str(), &info) != 0) {
        return {std::nullopt, folder.string() + ": " + std::strerror(errno)};
    }
    // Anyone who could enter it could talk to the browser as the user.
    if (!S_ISDIR(info.st_mode) || info.st_uid != ::getuid() || (info.st_mode & 077) != 0) {
        return {std::nullopt, folder.string() + " is not a folder private to this user"};
    }
    return {folder, {}};
}

std::string socketName(const std::string& program, long pid) {
    return program + "-" + std::to_string(pid) + kSuffix;
}

std::optional<std::string> socketProgram(const std::string& fileName) {
    std::string_view name = fileName;
    if (!name.ends_with(kSuffix)) return std::nullopt;
    name.remove_suffix(std::strlen(kSuffix));
    auto dash = name.rfind('-');
    if (dash == std::string_view::npos || dash == 0 || dash + 1 == name.size()) return std::nullopt;
    for (char c : name.substr(dash + 1)) {
        if (c < '0' || c > '9') return std::nullopt;
    }
    return std::string(name.substr(0, dash));
}

std::optional<UniqueFd> listenAt(const std::filesystem::path& path, std::string& error) {
    auto addr = address(path);
    if (!addr) {
        error = "socket path too long: " + path.string();
        return std::nullopt;
    }
    UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ::unlink(path.c_str());
    if (!fd || ::bind(fd.get(), reinterpret_cast<const sockaddr*>(&*addr), sizeof(*addr)) != 0 ||
        ::listen(fd.get(), 8) != 0) {
        error = "cannot listen on " + path.string() + ": " + std::strerror(errno);
        return std::nullopt;
    }
    return fd;
}

std::pair<ConnectResult, UniqueFd> connectTo(const std::filesystem::path& path) {
    auto addr = address(path);
    if (!addr) return {ConnectResult::failed, UniqueFd()};
    UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd) return {ConnectResult::failed, UniqueFd()};
    if (::connect(fd.get(), reinterpret_cast<const sockaddr*>(&*addr), sizeof(*addr)) == 0) {
        return {ConnectResult::connected, std::move(fd)};
    }
    bool stale = errno == ECONNREFUSED || errno == ENOENT;
    return {stale ? ConnectResult::stale : ConnectResult::failed, UniqueFd()};
}

bool writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t written = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0 && errno == ENOTSOCK) written = ::write(fd, bytes.data(), bytes.size());
        if (written <= 0) {
            if (errno == EINTR) continue;
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

}  // namespace tarn::browser
