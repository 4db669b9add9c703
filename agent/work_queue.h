#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace tarn::agent {

// A serial queue on a thread of its own: tasks run one at a time, in the order they were
// submitted, and submitting never waits for one to run.
class WorkQueue {
  public:
    using Task = std::function<void()>;

    // The thread carries the label as its name (cut to the 15 bytes Linux keeps).
    explicit WorkQueue(std::string label);
    // Drops what has not started and waits for the running task.
    ~WorkQueue();
    WorkQueue(const WorkQueue&) = delete;
    WorkQueue& operator=(const WorkQueue&) = delete;

    void async(Task task);
    // Waits until every task submitted so far has run.
    void drain();
    const std::string& label() const { return label_; }

  private:
    void loop();

    std::string label_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable idle_;
    std::deque<Task> tasks_;
    bool running_ = false;
    bool stopping_ = false;
    std::thread thread_;  // last: started once everything it uses exists
};

}  // namespace tarn::agent
