#pragma once

#include <atomic>
#include <functional>
#include <future>
#include <string>
#include <thread>

namespace tarn::platform {

// A thread of its own for one connection to the desktop (an X connection, an IPC socket, a
// D-Bus connection: none is ever shared between threads), with a wake-up descriptor so
// other threads can reach it while it sleeps on the connection's file descriptor. The body
// opens its connection, reports through `started` whether it runs ("" when it does, else
// why not), and loops until stopping() or the connection is lost, sleeping in sleep() when
// there is nothing to read.
class EventThread {
  public:
    using Body = std::function<void(std::promise<std::string>& started)>;

    EventThread() = default;
    ~EventThread() { stop(); }
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

    // Runs `body` on a new thread; the body's report, once it has made it. A thread that
    // does not run has ended when this returns.
    std::string start(Body body);
    // Asks the body to end and waits for it; from the thread itself (one of its callbacks)
    // it only asks, and the next stop() or the destructor waits. Harmless when not running.
    void stop();
    bool stopping() const { return stopping_.load(); }
    // Wakes the body from sleep(); harmless when not running.
    void wake();
    // The body's wait: until the connection has something to read or wake() was called.
    // True when woken (the wake-up is then consumed); false when poll() failed for good.
    bool sleep(int connection, bool& woken);

  private:
    void closeWake();

    std::atomic<bool> stopping_{false};
    int wake_ = -1;
    std::thread thread_;
};

}  // namespace tarn::platform
