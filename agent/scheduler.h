#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

namespace tarn::agent {

// Runs tasks later on the thread that owns it (the main thread). The application backs it
// with its event loop's timers; tests with a clock they advance by hand.
class Scheduler {
  public:
    using Task = std::function<void()>;
    using Ticket = std::uint64_t;

    virtual ~Scheduler() = default;
    // Runs `task` once, `delay` from now.
    virtual Ticket schedule(std::chrono::milliseconds delay, Task task) = 0;
    // Forgets a task that has not run; a ticket that ran or was cancelled is ignored.
    virtual void cancel(Ticket ticket) = 0;
};

// A trailing debounce: after a burst of poke() calls, `action` runs once, `delay` after the
// last of them. Destroying the debouncer drops a pending run.
class Debouncer {
  public:
    Debouncer(Scheduler& scheduler, std::chrono::milliseconds delay, std::function<void()> action)
        : scheduler_(scheduler), delay_(delay), action_(std::move(action)) {}
    ~Debouncer() { stop(); }
    Debouncer(const Debouncer&) = delete;
    Debouncer& operator=(const Debouncer&) = delete;

    void poke() {
        stop();
        pending_ = scheduler_.schedule(delay_, [this] {
            pending_.reset();
            action_();
        });
    }

    // Runs a pending action now instead of later; nothing when none is pending.
    void flush() {
        if (!pending_) return;
        stop();
        action_();
    }

    // Drops a pending action: it does not run.
    void cancel() { stop(); }

  private:
    void stop() {
        if (pending_) scheduler_.cancel(*pending_);
        pending_.reset();
    }

    Scheduler& scheduler_;
    std::chrono::milliseconds delay_;
    std::function<void()> action_;
    std::optional<Scheduler::Ticket> pending_;
};

}  // namespace tarn::agent
