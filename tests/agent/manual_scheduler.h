#pragma once

#include <chrono>
#include <map>
#include <utility>

#include "agent/scheduler.h"

namespace tarn::testing {

// A scheduler on a clock that only moves when the test says so. advance() runs every task
// that falls due, in time order, with the clock set to each task's time while it runs.
class ManualScheduler final : public agent::Scheduler {
  public:
    using Time = std::chrono::milliseconds;

    Ticket schedule(std::chrono::milliseconds delay, Task task) override {
        Ticket ticket = nextTicket_++;
        tasks_.emplace(Key{now_ + delay, ticket}, std::move(task));
        return ticket;
    }

    void cancel(Ticket ticket) override {
        std::erase_if(tasks_, [&](const auto& entry) { return entry.first.ticket == ticket; });
    }

    void advance(std::chrono::milliseconds by) {
        Time until = now_ + by;
        while (!tasks_.empty() && tasks_.begin()->first.due <= until) {
            auto next = tasks_.begin();
            now_ = next->first.due;
            Task task = std::move(next->second);
            tasks_.erase(next);
            task();
        }
        now_ = until;
    }

    Time now() const { return now_; }
    std::size_t pending() const { return tasks_.size(); }

  private:
    struct Key {
        Time due;
        Ticket ticket;  // equal times run in the order they were scheduled
        friend auto operator<=>(const Key&, const Key&) = default;
    };

    Time now_{0};
    Ticket nextTicket_ = 1;
    std::map<Key, Task> tasks_;
};

}  // namespace tarn::testing
