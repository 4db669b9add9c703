#pragma once

// The Unix sockets between tarn and the native host: one per running browser, in a private
// folder of the user's runtime directory, named after the browser's program and process.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tarn::browser {

class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept;
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd();
    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }

  private:
    int fd_ = -1;
};

// "$XDG_RUNTIME_DIR/tarn-browser" (without a runtime directory, "/tmp/tarn-browser-<uid>"),
// made with mode 0700 when missing. Absent, with the reason, when it cannot be made or is
// not a folder of this user's that only they can enter.
struct SocketFolder {
    std::optional<std::filesystem::path> path;
    std::string error;
};
SocketFolder socketFolder(bool create);

// "<program>-<pid>.sock": the browser's program name (its executable's file name) and its
// process id, so each running browser has its own and tarn finds a family by name.
std::string socketName(const std::string& program, long pid);
// The program part of a socket's file name; absent when it is not one of ours.
std::optional<std::string> socketProgram(const std::string& fileName);

// Listens on a fresh socket at the path (a stale one there is replaced).
std::optional<UniqueFd> listenAt(const std::filesystem::path& path, std::string& error);

enum class ConnectResult { connected, stale, failed };
// Connects; stale when nobody listens there any more.
std::pair<ConnectResult, UniqueFd> connectTo(const std::filesystem::path& path);

// Writes all of it; false on an error (the peer went away).
bool writeAll(int fd, std::string_view bytes);

}  // namespace tarn::browser
