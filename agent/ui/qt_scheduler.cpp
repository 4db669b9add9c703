#include "agent/ui/qt_scheduler.h"

#include <QTimer>

namespace tarn::agent::ui {

Scheduler::Ticket QtScheduler::schedule(std::chrono::milliseconds delay, Task task) {
    Ticket ticket = next_++;
    auto* timer = new QTimer(this);
    timer->setSingleShot(true);
    timer->setTimerType(Qt::PreciseTimer);
    connect(timer, &QTimer::timeout, this, [this, ticket, task = std::move(task)] {
        // Forget the timer before running: the task may schedule or cancel others.
        if (auto it = timers_.find(ticket); it != timers_.end()) {
            it->second->deleteLater();
            timers_.erase(it);
        }
        task();
    });
    timers_.emplace(ticket, timer);
    timer->start(delay);
    return ticket;
}

void QtScheduler::cancel(Ticket ticket) {
    auto it = timers_.find(ticket);
    if (it == timers_.end()) return;
    it->second->stop();
    it->second->deleteLater();
    timers_.erase(it);
}

}  // namespace tarn::agent::ui
