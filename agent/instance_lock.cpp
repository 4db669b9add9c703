#include "agent/instance_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string_view>
#include <thread>

#include "support/app_support.h"

namespace tarn::agent {
namespace {

constexpr std::string_view kShowSettings = "show-settings\n";
// How long a later launch waits for a holder that has bound the name but not yet listens
// (the window between an agent's bind and its listen).
constexpr auto kListenWait = std::chrono::seconds(1);

std::string errnoText(int error) {
    return std::strerror(error);
}

// 64-bit FNV-1a, as hex: a stable short name for a long key.
std::string shortHash(const std::string& text) {
    std::uint64_t hash = 14695981039346656037ull;
    for (unsigned char c : text) {
        hash ^= c;
        hash *= 1099511628211ull;
    }
    char hex[17];
    std::snprintf(hex, sizeof hex, "%016llx", static_cast<unsigned long long>(hash));
    return hex;
}

// An abstract address: sun_path starts with a NUL; its length is the name's, not the array's.
socklen_t abstractAddress(const std::string& name, sockaddr_un& address) {
    address = {};
    address.sun_family = AF_UNIX;
    std::size_t length = std::min(name.size(), sizeof(address.sun_path) - 1);
    std::memcpy(address.sun_path + 1, name.data(), length);
    return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + length);
}

enum class Connection { ours, otherUser, silent, busy };

// Connects to the holder of the name and checks who it is.
Connection connectToHolder(const std::string& name, Fd& connection, std::string& who) {
    sockaddr_un address;
    socklen_t length = abstractAddress(name, address);
    auto deadline = std::chrono::steady_clock::now() + kListenWait;
    while (true) {
        Fd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        if (fd.get() < 0) return Connection::silent;
        if (::connect(fd.get(), reinterpret_cast<sockaddr*>(&address), length) == 0) {
            ucred peer{};
            socklen_t size = sizeof peer;
            if (::getsockopt(fd.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
                return Connection::silent;
            }
            if (peer.uid != ::getuid()) {
                who = "a process of user " + std::to_string(peer.uid) + " (pid " +
                      std::to_string(peer.pid) + ")";
                return Connection::otherUser;
            }
            connection = std::move(fd);
            return Connection::ours;
        }
        // A full queue of waiting connections: something listens, and it is busy.
        if (errno == EAGAIN) return Connection::busy;
        if (errno != ECONNREFUSED || std::chrono::steady_clock::now() > deadline) {
            who = "a process that does not answer (" + errnoText(errno) + ")";
            return Connection::silent;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

// The fallback: flock on a file, as the lock was before it was a socket.
InstanceLock lockFile(const std::filesystem::path& path, const std::string& why) {
    InstanceLock lock;
    lock.warning = why + "; the lock file " + path.string() + " keeps to one agent instead";
    std::error_code ignored;
    std::filesystem::create_directories(path.parent_path(), ignored);
    Fd fd(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (fd.get() < 0) {
        lock.error = why + ", and " + path.string() + ": " + errnoText(errno);
    } else if (::flock(fd.get(), LOCK_EX | LOCK_NB) == 0) {
        lock.result = InstanceLock::Result::acquired;
        lock.fd = std::move(fd);
    } else if (errno == EWOULDBLOCK) {
        lock.result = InstanceLock::Result::heldByAnother;
    } else {
        lock.error = why + ", and " + path.string() + ": " + errnoText(errno);
    }
    if (lock.result == InstanceLock::Result::failed) lock.warning.clear();
    return lock;
}

std::string normalisedDisplay(std::string display) {
    // [protocol/]host:number[.screen]
    if (auto slash = display.find('/'); slash != std::string::npos) display.erase(0, slash + 1);
    auto colon = display.rfind(':');
    if (colon == std::string::npos) return display;
    std::string host = display.substr(0, colon);
    std::string number = display.substr(colon + 1);
    if (auto dot = number.find('.'); dot != std::string::npos) number.erase(dot);
    if (host == "unix") host.clear();
    return host + ":" + number;
}

}  // namespace

Fd::~Fd() {
    if (fd_ >= 0) ::close(fd_);
}

std::string desktopKey() {
    if (const char* sim = std::getenv("TARN_SIM_DESKTOP"); sim && *sim) {
        std::error_code error;
        auto absolute = std::filesystem::absolute(sim, error);
        return "sim:" + (error ? std::string(sim) : absolute.lexically_normal().string());
    }
    // A Wayland session is named by its compositor's socket; XWayland's DISPLAY may come and
    // go with it, and two sessions of one user each have their own socket.
    if (const char* wayland = std::getenv("WAYLAND_DISPLAY"); wayland && *wayland) {
        const char* runtime = std::getenv("XDG_RUNTIME_DIR");
        std::string socket = wayland;
        if (socket.front() != '/') socket = std::string(runtime ? runtime : "") + "/" + socket;
        return "wayland:" + std::filesystem::path(socket).lexically_normal().string();
    }
    if (const char* display = std::getenv("DISPLAY"); display && *display) {
        return "x11:" + normalisedDisplay(display);
    }
    return "none";
}

std::string instanceSocketName(uid_t uid, const std::string& desktopKey) {
    std::string name = "tarn-wendle/" + std::to_string(uid) + "/" + desktopKey;
    // sun_path holds 108 bytes, the leading NUL among them.
    if (name.size() > 100)
        name = "tarn-wendle/" + std::to_string(uid) + "/" + shortHash(desktopKey);
    return name;
}

std::filesystem::path instanceLockFile(const std::filesystem::path& folder,
                                       const std::string& desktopKey) {
    std::string safe;
    for (char c : desktopKey) {
        bool plain = std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '-';
        safe += plain ? c : '_';
    }
    if (safe.size() > 64) safe = shortHash(desktopKey);
    return folder / ("wendle-" + safe + ".lock");
}

InstanceLock lockInstance() {
    std::string key = desktopKey();
    return lockInstanceAt(instanceSocketName(::getuid(), key),
                          instanceLockFile(support::getAppSupportDir(support::kAppDirName), key));
}

InstanceLock lockInstanceAt(const std::string& socketName,
                            const std::filesystem::path& fallbackFile) {
    std::string shown = "@" + socketName;  // as ss(8) and /proc/net/unix show abstract names
    Fd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (fd.get() < 0) {
        return lockFile(fallbackFile, "no Unix socket could be made: " + errnoText(errno));
    }
    sockaddr_un address;
    socklen_t length = abstractAddress(socketName, address);
    if (::bind(fd.get(), reinterpret_cast<sockaddr*>(&address), length) == 0) {
        if (::listen(fd.get(), 16) != 0) {
            return lockFile(fallbackFile, shown + " cannot listen: " + errnoText(errno));
        }
        InstanceLock lock;
        lock.result = InstanceLock::Result::acquired;
        lock.fd = std::move(fd);
        lock.listening = true;
        return lock;
    }
    if (errno != EADDRINUSE) {
        return lockFile(fallbackFile, shown + " cannot be bound: " + errnoText(errno));
    }
    InstanceLock lock;
    std::string who;
    switch (connectToHolder(socketName, lock.running, who)) {
        case Connection::ours:
        case Connection::busy:
            lock.result = InstanceLock::Result::heldByAnother;
            return lock;
        case Connection::otherUser:
        case Connection::silent:
            break;
    }
    // Not an agent of this user's: the name cannot be had, the file lock decides instead.
    return lockFile(fallbackFile, shown + " is held by " + who);
}

bool askToShowSettings(InstanceLock& lock) {
    if (lock.running.get() < 0) return false;
    // Blocking for this one short write; MSG_NOSIGNAL: a holder that already closed the
    // connection (a headless agent) is an error here, not a SIGPIPE.
    int flags = ::fcntl(lock.running.get(), F_GETFL);
    if (flags >= 0) ::fcntl(lock.running.get(), F_SETFL, flags & ~O_NONBLOCK);
    ssize_t sent =
        ::send(lock.running.get(), kShowSettings.data(), kShowSettings.size(), MSG_NOSIGNAL);
    lock.running = Fd();
    return sent == static_cast<ssize_t>(kShowSettings.size());
}

void closeWaitingConnections(int listeningFd) {
    while (true) {
        int connection = ::accept4(listeningFd, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0) {
            if (errno == EINTR) continue;
            return;
        }
        ::close(connection);
    }
}

int reportLockNotAcquired(const InstanceLock& lock) {
    if (lock.result == InstanceLock::Result::heldByAnother) {
        std::cout << "Wendle is already running in this session\n";
        return 0;
    }
    std::cerr << "wendle: cannot make sure only one agent runs: " << lock.error << '\n';
    return 1;
}

}  // namespace tarn::agent
