#include "agent/main_loop.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tarn::agent {

MainLoop::MainLoop() {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "main loop wake pipe");
    }
    wakeRead_ = fds[0];
    wakeWrite_ = fds[1];
}

MainLoop::~MainLoop() {
    ::close(wakeRead_);
    ::close(wakeWrite_);
}

Scheduler::Ticket MainLoop::schedule(std::chrono::milliseconds delay, Task task) {
    Ticket ticket = 0;
    {
        std::lock_guard lock(mutex_);
        ticket = nextTicket_++;
        tasks_.emplace(Key{Clock::now() + delay, ticket}, std::move(task));
    }
    wake();
    return ticket;
}

void MainLoop::cancel(Ticket ticket) {
    std::lock_guard lock(mutex_);
    std::erase_if(tasks_, [ticket](const auto& entry) { return entry.first.ticket == ticket; });
}

void MainLoop::watch(int fd, std::function<void()> onReadable) {
    watches_.emplace_back(fd, std::move(onReadable));
}

void MainLoop::quit(int status) {
    {
        std::lock_guard lock(mutex_);
        if (!exitStatus_) exitStatus_ = status;
    }
    wake();
}

void MainLoop::wake() {
    char byte = 1;
    // A full pipe already holds a wake-up; nothing is lost when this write fails.
    [[maybe_unused]] ssize_t ignored = ::write(wakeWrite_, &byte, 1);
}

std::optional<Scheduler::Task> MainLoop::nextDueTask(int& timeoutMs) {
    std::lock_guard lock(mutex_);
    timeoutMs = -1;
    if (tasks_.empty()) return std::nullopt;
    auto first = tasks_.begin();
    auto now = Clock::now();
    if (first->first.due <= now) {
        Task task = std::move(first->second);
        tasks_.erase(first);
        return task;
    }
    auto wait = std::chrono::ceil<std::chrono::milliseconds>(first->first.due - now);
    timeoutMs = static_cast<int>(std::min<std::chrono::milliseconds::rep>(wait.count(), 60'000));
    return std::nullopt;
}

int MainLoop::run() {
    while (true) {
        {
            std::lock_guard lock(mutex_);
            if (exitStatus_) return *exitStatus_;
        }
        int timeoutMs = -1;
        if (auto task = nextDueTask(timeoutMs)) {
            (*task)();
            continue;
        }
        std::vector<pollfd> fds{{wakeRead_, POLLIN, 0}};
        for (const auto& [fd, onReadable] : watches_) fds.push_back({fd, POLLIN, 0});
        if (::poll(fds.data(), fds.size(), timeoutMs) < 0) continue;  // EINTR: look again
        if (fds[0].revents) {
            char buffer[64];
            while (::read(wakeRead_, buffer, sizeof buffer) > 0) {
            }
        }
        for (std::size_t i = 1; i < fds.size(); ++i) {
            if (fds[i].revents) watches_[i - 1].second();
        }
    }
}

}  // namespace tarn::agent
