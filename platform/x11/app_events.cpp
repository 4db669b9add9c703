#include "platform/x11/app_events.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

#include "platform/desktop.h"
#include "platform/x11/connection.h"
#include "platform/x11/windows.h"

namespace tarn::platform::x11 {
namespace {

class AppEventsX11 final : public AppEvents {
  public:
    explicit AppEventsX11(std::string displayName) : displayName_(std::move(displayName)) {}
    ~AppEventsX11() override { stop(); }

    bool start(Notify onActivated, Notify onLaunchedOrTerminated, std::string& error) override {
        stop();
        wake_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        if (wake_ < 0) {
            error = "cannot make the application observer's wake-up descriptor";
            return false;
        }
        std::promise<std::string> started;
        auto result = started.get_future();
        thread_ = std::thread([this, onActivated = std::move(onActivated),
                               onChanged = std::move(onLaunchedOrTerminated),
                               started = std::move(started)]() mutable {
            run(onActivated, onChanged, started);
        });
        error = result.get();
        if (error.empty()) return true;
        thread_.join();
        ::close(wake_);
        wake_ = -1;
        return false;
    }

    void stop() override {
        if (!thread_.joinable()) return;
        {
            std::lock_guard guard(lock_);
            stopping_ = true;
        }
        wake();
        if (std::this_thread::get_id() == thread_.get_id()) return;  // from a callback
        thread_.join();
        ::close(wake_);
        wake_ = -1;
    }

    std::optional<AppInfo> frontmostApplication() override {
        return ask<std::optional<AppInfo>>(
            [](WindowSystemX11& windows) { return windows.frontmostApplication(); });
    }

    std::vector<AppInfo> runningApplications() override {
        return ask<std::vector<AppInfo>>(
            [](WindowSystemX11& windows) { return windows.applicationsWithPolicy(); });
    }

  private:
    using Task = std::function<void(WindowSystemX11*)>;  // null: the thread is gone

    template <typename Result>
    static Result safely(const std::function<Result(WindowSystemX11&)>& read,
                         WindowSystemX11& windows) {
        try {
            return read(windows);
        } catch (const DesktopError&) {
            return Result{};
        }
    }

    // The read, on the thread that owns the connection.
    template <typename Result>
    Result ask(std::function<Result(WindowSystemX11&)> read) {
        std::promise<std::optional<Result>> answer;
        auto result = answer.get_future();
        bool queued = false;
        WindowSystemX11* own = nullptr;  // asked from the thread itself (in a notification)
        {
            std::lock_guard guard(lock_);
            if (running_ && threadId_ == std::this_thread::get_id()) {
                own = windows_;
            } else if (running_) {
                tasks_.push_back([&](WindowSystemX11* windows) {
                    answer.set_value(windows ? std::optional(safely(read, *windows))
                                             : std::nullopt);
                });
                queued = true;
            }
        }
        if (own) return safely(read, *own);
        if (queued) {
            wake();
            if (auto value = result.get()) return std::move(*value);
        }
        // Not running: a connection for this read alone.
        std::string error;
        auto connection = Connection::open(displayName_, error);
        if (!connection) return Result{};
        WindowSystemX11 windows(*connection);
        return safely(read, windows);
    }

    void wake() {
        if (wake_ < 0) return;
        std::uint64_t one = 1;
        [[maybe_unused]] auto written = ::write(wake_, &one, sizeof one);
    }

    void run(const Notify& onActivated, const Notify& onChanged,
             std::promise<std::string>& started) {
        ::pthread_setname_np(::pthread_self(), "AppObserver");
        std::string error;
        auto connection = Connection::open(displayName_, error);
        if (!connection) {
            started.set_value(error);
            return;
        }
        Connection& x = *connection;
        WindowSystemX11 windows(x);
        const Atom active = x.atom("_NET_ACTIVE_WINDOW");
        const Atom clients = x.atom("_NET_CLIENT_LIST");
        XSelectInput(x.display(), x.root(), PropertyChangeMask);
        XSync(x.display(), False);
        {
            std::lock_guard guard(lock_);
            stopping_ = false;
            running_ = !x.lost();
            threadId_ = std::this_thread::get_id();
            windows_ = &windows;
        }
        started.set_value(x.lost() ? "lost the connection to the X server on display " + x.name()
                                   : "");

        while (!x.lost()) {
            bool activated = false;
            bool changed = false;
            while (!x.lost() && XPending(x.display()) > 0) {
                XEvent event;
                XNextEvent(x.display(), &event);
                if (event.type != PropertyNotify || event.xproperty.window != x.root()) continue;
                activated |= event.xproperty.atom == active;
                changed |= event.xproperty.atom == clients;
            }
            if (changed && onChanged) onChanged();
            if (activated && onActivated) onActivated();

            // Reads made meanwhile may have left events in Xlib's queue, out of poll()'s sight.
            if (x.lost()) break;
            if (XQLength(x.display()) > 0) continue;
            pollfd descriptors[2] = {{ConnectionNumber(x.display()), POLLIN, 0},
                                     {wake_, POLLIN, 0}};
            if (::poll(descriptors, 2, -1) < 0 && errno != EINTR) break;
            if (descriptors[1].revents & POLLIN) {
                std::uint64_t count = 0;
                [[maybe_unused]] auto got = ::read(wake_, &count, sizeof count);
                std::deque<Task> tasks;
                bool stopping = false;
                {
                    std::lock_guard guard(lock_);
                    tasks.swap(tasks_);
                    stopping = stopping_;
                }
                for (auto& task : tasks) task(&windows);
                if (stopping) break;
            }
        }
        std::deque<Task> left;
        {
            std::lock_guard guard(lock_);
            running_ = false;
            windows_ = nullptr;
            threadId_ = {};
            left.swap(tasks_);
        }
        for (auto& task : left) task(nullptr);
    }

    std::string displayName_;
    std::mutex lock_;
    bool stopping_ = false;
    bool running_ = false;
    std::deque<Task> tasks_;
    std::thread::id threadId_;           // the running thread's, for reads from its callbacks
    WindowSystemX11* windows_ = nullptr;  // the thread's, used only on it
    int wake_ = -1;
    std::thread thread_;
};

}  // namespace

std::unique_ptr<AppEvents> makeAppEvents(std::string displayName) {
    return std::make_unique<AppEventsX11>(std::move(displayName));
}

}  // namespace tarn::platform::x11
