#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <utility>

namespace tarn::agent {

// A file descriptor closed with its owner.
class Fd {
  public:
    explicit Fd(int fd = -1) : fd_(fd) {}
    ~Fd();
    Fd(Fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Fd& operator=(Fd&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return fd_; }

  private:
    int fd_;
};

// The desktop an agent works on, as the single-instance rule keys it: "sim:<absolute path>"
// for a simulated desktop (TARN_SIM_DESKTOP), else "wayland:<socket path>" from
// WAYLAND_DISPLAY (under XDG_RUNTIME_DIR unless absolute), else "x11:<host>:<display>" from
// DISPLAY, the screen number left out (":0", ":0.0" and "unix:0" are one display); "none"
// without any.
std::string desktopKey();

// One agent per user and desktop. The lock is a Unix socket in Linux's abstract namespace,
// named for the user id and the desktop key: it is no file, so nothing can delete it from
// under a running agent and no environment variable (XDG_RUNTIME_DIR) decides where it is;
// the kernel lets it go however the agent ends. The holder listens on it: a later launch
// connects, checks that the holder is the same user (SO_PEERCRED), and can ask it to show
// its settings window.
//
// When the socket cannot be had (no Unix sockets allowed, or its name is held by a process
// of another user or one that does not answer, which no agent is), the lock falls back to
// an advisory lock (flock) on a file in the Tarn folder of the configuration, named for the
// desktop, and says why in `warning`. When that fails too the result is `failed`: the agent
// does not start (status 1), since it cannot make sure it would be the only one.
struct InstanceLock {
    enum class Result { acquired, heldByAnother, failed };
    Result result = Result::failed;
    // acquired: held for the agent's life (the listening socket, or the fallback's lock file).
    Fd fd;
    bool listening = false;  // fd is the socket later launches connect to
    // heldByAnother: a connection to the running agent, when it took one.
    Fd running;
    std::string error;  // failed: why
    std::string
        warning;  // acquired or heldByAnother through the fallback: why the socket was not had
};

// The abstract socket's name (without its leading NUL) for this user and desktop.
std::string instanceSocketName(uid_t uid, const std::string& desktopKey);
// The fallback's lock file for this desktop, in `folder`.
std::filesystem::path instanceLockFile(const std::filesystem::path& folder,
                                       const std::string& desktopKey);

InstanceLock lockInstance();
// The same with the names given (tests).
InstanceLock lockInstanceAt(const std::string& socketName,
                            const std::filesystem::path& fallbackFile);

// The later launch: asks the running agent to show its settings window. False when there
// is no connection to it or the request could not be sent.
bool askToShowSettings(InstanceLock& lock);
// The running agent without windows: takes every connection waiting on its socket and
// closes it (a window's agent serves them with ui::SingleInstance instead).
void closeWaitingConnections(int listeningFd);

// Says why the agent does not start beside the one that holds the lock (or why the lock
// could not be taken) and gives the exit status: 0 and 1.
int reportLockNotAcquired(const InstanceLock& lock);

}  // namespace tarn::agent
