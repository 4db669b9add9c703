#include "browser/host/host.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <cerrno>
#include <chrono>
#include <cstdio>

#include "browser/protocol/channel.h"
#include "browser/protocol/messages.h"

namespace tarn::browser {
namespace {

// How long tarn waits on the extension before it hears that the browser did not answer.
constexpr int kAnswerTimeoutMs = 5000;

// The client whose request is with the extension.
struct Client {
    UniqueFd fd;
    FrameReader reader{kMaxRequest};
    std::optional<std::int64_t> pending;
    std::chrono::steady_clock::time_point asked;
};

void answerError(Client& client, std::int64_t id, const std::string& error) {
    writeAll(client.fd.get(), frame(writeAnswer({id, error, std::nullopt})));
    client = Client{};
}

}  // namespace

std::optional<std::string> pinnedCaller(const std::vector<std::string>& args) {
    const std::string chromium = std::string("chrome-extension://") + kChromiumExtensionId + "/";
    if (args.size() >= 2 && args[1] == chromium) return args[1];
    if (args.size() >= 3 && args[2] == kFirefoxExtensionId) return args[2];
    return std::nullopt;
}

int serve(int fromBrowser, int toBrowser, int listening, std::FILE* log) {
    FrameReader browser{kMaxAnswer};
    Client client;
    char buffer[65536];
    for (;;) {
        pollfd fds[3] = {{fromBrowser, POLLIN, 0}, {listening, POLLIN, 0}, {-1, POLLIN, 0}};
        int timeout = -1;
        if (client.fd) {
            fds[1].fd = -1;  // the next client waits in the backlog
            fds[2].fd = client.fd.get();
            if (client.pending) timeout = 100;
        }
        if (::poll(fds, 3, timeout) < 0) {
            if (errno == EINTR) continue;
            std::fprintf(log, "tarn-browser-host: poll failed\n");
            return 1;
        }
        if (client.pending && std::chrono::steady_clock::now() - client.asked >
                                  std::chrono::milliseconds(kAnswerTimeoutMs)) {
            answerError(client, *client.pending, "the browser extension did not answer");
        }
        if (fds[0].revents & (POLLIN | POLLHUP | POLLERR)) {
            ssize_t got = ::read(fromBrowser, buffer, sizeof buffer);
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) {
                if (browser.finish()) std::fprintf(log, "tarn-browser-host: message cut short\n");
                return 0;  // the browser let go of the extension's port
            }
            browser.feed({buffer, static_cast<std::size_t>(got)});
            for (;;) {
                auto next = browser.next();
                if (next.error) {
                    std::fprintf(log, "tarn-browser-host: message from the browser too large\n");
                    return 1;
                }
                if (!next.message) break;
                auto answer = parseAnswer(*next.message);
                if (!answer) {
                    std::fprintf(log, "tarn-browser-host: malformed message from the browser\n");
                    continue;
                }
                if (client.pending && answer->id == *client.pending) {
                    writeAll(client.fd.get(), frame(writeAnswer(*answer)));
                    client = Client{};
                }
            }
        }
        if (fds[1].fd >= 0 && (fds[1].revents & POLLIN)) {
            client = Client{};
            client.fd = UniqueFd(::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC));
        }
        if (fds[2].fd >= 0 && client.fd && (fds[2].revents & (POLLIN | POLLHUP | POLLERR))) {
            ssize_t got = ::read(client.fd.get(), buffer, sizeof buffer);
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) {
                client = Client{};  // tarn gave up; a late answer is dropped
                continue;
            }
            if (client.pending) continue;  // one request per connection
            client.reader.feed({buffer, static_cast<std::size_t>(got)});
            auto next = client.reader.next();
            if (next.error) {
                answerError(client, 0, "request too large");
            } else if (next.message) {
                auto request = parseRequest(*next.message);
                if (!request) {
                    answerError(client, 0, "malformed request");
                } else if (!writeAll(toBrowser, frame(writeRequest(*request)))) {
                    answerError(client, request->id, "the browser closed the extension's host");
                } else {
                    client.pending = request->id;
                    client.asked = std::chrono::steady_clock::now();
                }
            }
        }
    }
}

}  // namespace tarn::browser
