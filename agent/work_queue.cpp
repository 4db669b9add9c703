#include "agent/work_queue.h"

#include <pthread.h>

namespace tarn::agent {

WorkQueue::WorkQueue(std::string label) : label_(std::move(label)) {
    thread_ = std::thread([this] { loop(); });
    ::pthread_setname_np(thread_.native_handle(), label_.substr(0, 15).c_str());
}

WorkQueue::~WorkQueue() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
        tasks_.clear();
    }
    wake_.notify_one();
    thread_.join();
}

void WorkQueue::async(Task task) {
    {
        std::lock_guard lock(mutex_);
        if (stopping_) return;
        tasks_.push_back(std::move(task));
    }
    wake_.notify_one();
}

void WorkQueue::drain() {
    std::unique_lock lock(mutex_);
    idle_.wait(lock, [this] { return tasks_.empty() && !running_; });
}

void WorkQueue::loop() {
    std::unique_lock lock(mutex_);
    while (true) {
        wake_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
        if (stopping_) break;
        Task task = std::move(tasks_.front());
        tasks_.pop_front();
        running_ = true;
        lock.unlock();
        task();
        task = nullptr;  // its captures are released before the queue counts as idle
        lock.lock();
        running_ = false;
        if (tasks_.empty()) idle_.notify_all();
    }
    running_ = false;
    idle_.notify_all();
}

}  // namespace tarn::agent
