#pragma once

// sway's IPC: the i3 binary framing ("i3-ipc", payload length, message type, payload) over
// the Unix socket $SWAYSOCK names, with JSON payloads.

#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "support/json_text.h"

namespace tarn::platform::sway {

using support::Json;

namespace message {
inline constexpr std::uint32_t runCommand = 0;
inline constexpr std::uint32_t getWorkspaces = 1;
inline constexpr std::uint32_t subscribe = 2;
inline constexpr std::uint32_t getOutputs = 3;
inline constexpr std::uint32_t getTree = 4;
inline constexpr std::uint32_t getVersion = 7;
inline constexpr std::uint32_t getConfig = 9;
}  // namespace message

// Events carry the high bit in their type.
namespace event {
inline constexpr std::uint32_t workspace = 0x80000000;
inline constexpr std::uint32_t window = 0x80000003;
inline constexpr std::uint32_t binding = 0x80000005;
inline constexpr std::uint32_t shutdown = 0x80000006;
}  // namespace event

struct Message {
    std::uint32_t type = 0;
    Json payload;  // null when the payload is not JSON
};

// One connection to the IPC socket, closed with the object. Replies come in the order of
// the requests; on a subscribed connection events may arrive between them, and request()
// keeps those for nextEvent(). Not for use from two threads at once.
class Ipc {
  public:
    // Connects to the socket at `path`; absent, with the reason, when it cannot.
    static std::optional<Ipc> open(const std::string& path, std::string& error);

    Ipc(Ipc&& other) noexcept;
    Ipc& operator=(Ipc&& other) noexcept;
    Ipc(const Ipc&) = delete;
    Ipc& operator=(const Ipc&) = delete;
    ~Ipc();

    // Sends a request and waits for its reply; absent when the connection failed (it stays
    // failed from then on).
    std::optional<Json> request(std::uint32_t type, const std::string& payload = {});
    // `run_command`: one result per command, true when every one succeeded. The first
    // failure's text goes to `error` when given.
    bool command(const std::string& commands, std::string* error = nullptr);

    // Events: a kept one, else one read from the socket (blocking); absent when the
    // connection failed.
    std::optional<Message> nextEvent();
    bool hasKeptEvent() const { return !kept_.empty(); }
    int fd() const { return fd_; }
    bool failed() const { return fd_ < 0; }

  private:
    explicit Ipc(int fd) : fd_(fd) {}
    bool send(std::uint32_t type, const std::string& payload);
    std::optional<Message> receive();
    void fail();

    int fd_ = -1;
    std::deque<Message> kept_;
};

// The socket sway announces in $SWAYSOCK; empty when it is not set.
std::string socketPath();

}  // namespace tarn::platform::sway
