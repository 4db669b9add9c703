// Times one hotkey press on sway: from control+alt+KEY typed on a virtual keyboard of its
// own to the moment the test client (tests/wayland/test_client.cpp) logs that its window took
// the width asked for, read from the client's log as it grows (inotify). Prints the
// microseconds; status 1 when the width does not come within 5 s.
//
//   sway_latency_probe LOG WIDTH KEYCODE     e.g. app.log 1920 124 (the right arrow)
//
// The keyboard is tarn's own (platform/wayland), the one every contender's keys would come
// from if a person pressed them through it; what differs between contenders is only what
// they do with the chord.
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "platform/wayland/connection.h"
#include "platform/wayland/keyboard.h"

namespace {

using Clock = std::chrono::steady_clock;
using tarn::platform::KeyEvent;
namespace keyflags = tarn::platform::keyflags;

// Whether the log has a "size 1 WIDTHx..." line after `offset`.
bool hasWidth(const char* log, std::streamoff offset, const std::string& width) {
    std::ifstream in(log);
    in.seekg(offset);
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("size 1 " + width + "x", 0) == 0) return true;
    }
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: sway_latency_probe LOG WIDTH KEYCODE\n");
        return 2;
    }
    const char* log = argv[1];
    const std::string width = argv[2];
    const auto key = static_cast<std::uint16_t>(std::atoi(argv[3]));
    std::string error;
    auto connection = tarn::platform::wayland::Connection::open("", error);
    auto keyboard =
        connection ? tarn::platform::wayland::VirtualKeyboard::create(connection, error) : nullptr;
    if (!keyboard) {
        std::fprintf(stderr, "sway_latency_probe: %s\n", error.c_str());
        return 2;
    }
    // A shift tap first: it brings the keyboard (and its keymap) up, untimed.
    keyboard->post({56, true, 0, std::nullopt});
    keyboard->post({56, false, 0, std::nullopt});
    keyboard->endTyping();

    int watch = ::inotify_init1(IN_CLOEXEC);
    if (watch < 0 || ::inotify_add_watch(watch, log, IN_MODIFY) < 0) {
        std::fprintf(stderr, "sway_latency_probe: cannot watch %s\n", log);
        return 2;
    }
    std::streamoff offset = std::ifstream(log, std::ios::ate).tellg();
    const auto flags = keyflags::control | keyflags::option;
    const auto start = Clock::now();
    keyboard->beginTyping();
    keyboard->post({key, true, flags, std::nullopt});
    keyboard->post({key, false, flags, std::nullopt});
    keyboard->endTyping();
    const auto deadline = start + std::chrono::seconds(5);
    while (!hasWidth(log, offset, width)) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return 1;
        pollfd descriptor{watch, POLLIN, 0};
        if (::poll(&descriptor, 1, static_cast<int>(left.count())) > 0) {
            char events[4096];
            [[maybe_unused]] auto got = ::read(watch, events, sizeof events);
        }
    }
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
    std::printf("%lld\n", static_cast<long long>(elapsed.count()));
    return 0;
}
