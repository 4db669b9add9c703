#include "platform/sway/ipc.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace tarn::platform::sway {
namespace {

constexpr char kMagic[] = {'i', '3', '-', 'i', 'p', 'c'};
constexpr std::size_t kHeader = sizeof kMagic + 8;
// A tree of a few thousand windows is a few megabytes; anything far beyond is not sway.
constexpr std::uint32_t kMaxPayload = 256u << 20;

bool writeAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        ssize_t n = ::send(fd, data, size, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

bool readAll(int fd, char* data, std::size_t size) {
    while (size > 0) {
        ssize_t n = ::read(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

}  // namespace

std::string socketPath() {
    const char* path = std::getenv("SWAYSOCK");
    return path ? path : "";
}

std::optional<Ipc> Ipc::open(const std::string& path, std::string& error) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty()) {
        error = "SWAYSOCK is not set";
        return std::nullopt;
    }
    if (path.size() >= sizeof address.sun_path) {
        error = "the sway socket's path is too long: " + path;
        return std::nullopt;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        error = std::string("cannot make a socket: ") + std::strerror(errno);
        return std::nullopt;
    }
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        error = "cannot reach sway at " + path + ": " + std::strerror(errno);
        ::close(fd);
        return std::nullopt;
    }
    return Ipc(fd);
}

Ipc::Ipc(Ipc&& other) noexcept : fd_(other.fd_), kept_(std::move(other.kept_)) {
    other.fd_ = -1;
}

Ipc& Ipc::operator=(Ipc&& other) noexcept {
    if (this != &other) {
        fail();
        fd_ = other.fd_;
        kept_ = std::move(other.kept_);
        other.fd_ = -1;
    }
    return *this;
}

Ipc::~Ipc() {
    fail();
}

void Ipc::fail() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

bool Ipc::send(std::uint32_t type, const std::string& payload) {
    if (fd_ < 0) return false;
    std::string frame(kMagic, sizeof kMagic);
    auto length = static_cast<std::uint32_t>(payload.size());
    frame.append(reinterpret_cast<const char*>(&length), 4);
    frame.append(reinterpret_cast<const char*>(&type), 4);
    frame += payload;
    if (writeAll(fd_, frame.data(), frame.size())) return true;
    fail();
    return false;
}

std::optional<Message> Ipc::receive() {
    if (fd_ < 0) return std::nullopt;
    char header[kHeader];
    std::uint32_t length = 0;
    Message message;
    if (!readAll(fd_, header, kHeader) || std::memcmp(header, kMagic, sizeof kMagic) != 0) {
        fail();
        return std::nullopt;
    }
    std::memcpy(&length, header + sizeof kMagic, 4);
    std::memcpy(&message.type, header + sizeof kMagic + 4, 4);
    if (length > kMaxPayload) {
        fail();
        return std::nullopt;
    }
    std::string payload(length, '\0');
    if (!readAll(fd_, payload.data(), length)) {
        fail();
        return std::nullopt;
    }
    message.payload = support::parseJson(payload).value_or(Json());
    return message;
}

std::optional<Json> Ipc::request(std::uint32_t type, const std::string& payload) {
    if (!send(type, payload)) return std::nullopt;
    while (auto message = receive()) {
        if (message->type & 0x80000000u) {
            kept_.push_back(std::move(*message));
            continue;
        }
        return std::move(message->payload);
    }
    return std::nullopt;
}

bool Ipc::command(const std::string& commands, std::string* error) {
    auto reply = request(message::runCommand, commands);
    if (!reply || !reply->is_array()) {
        if (error) *error = "sway did not answer";
        return false;
    }
    for (const auto& result : *reply) {
        if (result.is_object() && result.value("success", false)) continue;
        if (error) {
            *error = result.is_object() ? result.value("error", std::string("failed"))
                                        : std::string("failed");
        }
        return false;
    }
    return true;
}

std::optional<Message> Ipc::nextEvent() {
    if (!kept_.empty()) {
        Message message = std::move(kept_.front());
        kept_.pop_front();
        return message;
    }
    return receive();
}

}  // namespace tarn::platform::sway
