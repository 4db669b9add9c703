#pragma once

#include <QObject>
#include <atomic>
#include <map>
#include <mutex>
#include <set>

#include "agent/scheduler.h"

class QTimer;

namespace tarn::agent::ui {

// The store's debounce and every other delayed task of the agent, run by the Qt event loop
// of the thread that owns the scheduler (the main thread). schedule() and cancel() may be
// called from any thread (the key source and the application events call from their own):
// such a call reaches the owner's thread as a queued event.
class QtScheduler final : public QObject, public Scheduler {
  public:
    explicit QtScheduler(QObject* parent = nullptr) : QObject(parent) {}

    Ticket schedule(std::chrono::milliseconds delay, Task task) override;
    void cancel(Ticket ticket) override;

  private:
    bool onOwnThread() const;
    void start(Ticket ticket, std::chrono::milliseconds delay, Task task);
    void stop(Ticket ticket);

    std::atomic<Ticket> next_{1};
    std::map<Ticket, QTimer*> timers_;  // owner thread only; owned as children
    std::mutex mutex_;
    std::set<Ticket> posted_;  // scheduled from another thread, not started yet
};

}  // namespace tarn::agent::ui
