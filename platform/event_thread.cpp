#include "platform/event_thread.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace tarn::platform {

std::string EventThread::start(Body body) {
    stop();
    wake_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wake_ < 0) return "cannot make a wake-up descriptor for the X thread";
    stopping_ = false;
    std::promise<std::string> started;
    auto result = started.get_future();
    thread_ = std::thread(
        [body = std::move(body), started = std::move(started)]() mutable { body(started); });
    std::string error = result.get();
    if (!error.empty()) {
        thread_.join();
        closeWake();
    }
    return error;
}

void EventThread::stop() {
    if (!thread_.joinable()) return;
    stopping_ = true;
    wake();
    if (std::this_thread::get_id() == thread_.get_id()) return;
    thread_.join();
    closeWake();
}

void EventThread::wake() {
    if (wake_ < 0) return;
    std::uint64_t one = 1;
    [[maybe_unused]] auto written = ::write(wake_, &one, sizeof one);
}

bool EventThread::sleep(int connection, bool& woken) {
    pollfd descriptors[2] = {{connection, POLLIN, 0}, {wake_, POLLIN, 0}};
    woken = false;
    if (::poll(descriptors, 2, -1) < 0) return errno == EINTR;
    if (descriptors[1].revents & POLLIN) {
        std::uint64_t count = 0;
        [[maybe_unused]] auto got = ::read(wake_, &count, sizeof count);
        woken = true;
    }
    return true;
}

void EventThread::closeWake() {
    ::close(wake_);
    wake_ = -1;
}

}  // namespace tarn::platform
