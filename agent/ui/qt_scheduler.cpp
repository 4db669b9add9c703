#include "agent/ui/qt_scheduler.h"

#include <QThread>
#include <QTimer>

namespace tarn::agent::ui {

bool QtScheduler::onOwnThread() const {
    return QThread::currentThread() == thread();
}

Scheduler::Ticket QtScheduler::schedule(std::chrono::milliseconds delay, Task task) {
    Ticket ticket = next_++;
    if (onOwnThread()) {
        start(ticket, delay, std::move(task));
        return ticket;
    }
    {
        std::lock_guard lock(mutex_);
        posted_.insert(ticket);
    }
    QMetaObject::invokeMethod(
        this,
        [this, ticket, delay, task = std::move(task)]() mutable {
            {
                std::lock_guard lock(mutex_);
                if (posted_.erase(ticket) == 0) return;  // cancelled on the way
            }
            start(ticket, delay, std::move(task));
        },
        Qt::QueuedConnection);
    return ticket;
}

void QtScheduler::cancel(Ticket ticket) {
    {
        std::lock_guard lock(mutex_);
        if (posted_.erase(ticket) != 0) return;
    }
    if (onOwnThread()) {
        stop(ticket);
    } else {
        QMetaObject::invokeMethod(
            this, [this, ticket] { stop(ticket); }, Qt::QueuedConnection);
    }
}

void QtScheduler::start(Ticket ticket, std::chrono::milliseconds delay, Task task) {
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
}

void QtScheduler::stop(Ticket ticket) {
    auto it = timers_.find(ticket);
    if (it == timers_.end()) return;
    it->second->stop();
    it->second->deleteLater();
    timers_.erase(it);
}

}  // namespace tarn::agent::ui
