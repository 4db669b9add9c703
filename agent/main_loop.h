#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

#include "agent/scheduler.h"

namespace tarn::agent {

// The agent's main thread without a user interface: timers, tasks posted from other
// threads, and file descriptors to watch, on one poll() loop. schedule(), cancel() and
// quit() may be called from any thread; tasks and watchers run on the thread in run().
class MainLoop final : public Scheduler {
  public:
    MainLoop();
    ~MainLoop() override;
    MainLoop(const MainLoop&) = delete;
    MainLoop& operator=(const MainLoop&) = delete;

    Ticket schedule(std::chrono::milliseconds delay, Task task) override;
    void cancel(Ticket ticket) override;

    // Calls `onReadable` on the loop whenever `fd` can be read; the caller keeps it open.
    void watch(int fd, std::function<void()> onReadable);
    // Runs until quit(); returns quit's status.
    int run();
    void quit(int status);

  private:
    using Clock = std::chrono::steady_clock;
    struct Key {
        Clock::time_point due;
        Ticket ticket;  // equal times run in the order they were scheduled
        friend auto operator<=>(const Key&, const Key&) = default;
    };

    void wake();
    std::optional<Task> nextDueTask(int& timeoutMs);

    std::mutex mutex_;
    std::map<Key, Task> tasks_;
    Ticket nextTicket_ = 1;
    std::optional<int> exitStatus_;
    int wakeRead_ = -1;
    int wakeWrite_ = -1;
    std::vector<std::pair<int, std::function<void()>>> watches_;
};

}  // namespace tarn::agent
