#pragma once

#include <QObject>
#include <map>

#include "agent/scheduler.h"

class QTimer;

namespace tarn::agent::ui {

// The store's debounce and every other delayed task of the agent, run by the Qt event loop
// of the thread that owns the scheduler (the main thread).
class QtScheduler final : public QObject, public Scheduler {
  public:
    explicit QtScheduler(QObject* parent = nullptr) : QObject(parent) {}

    Ticket schedule(std::chrono::milliseconds delay, Task task) override;
    void cancel(Ticket ticket) override;

  private:
    Ticket next_ = 1;
    std::map<Ticket, QTimer*> timers_;  // owned as children; deleted once run or cancelled
};

}  // namespace tarn::agent::ui
