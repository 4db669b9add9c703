#include "platform/x11/app_events.h"

#include <pthread.h>

#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

#include "platform/desktop.h"
#include "platform/threaded_sources.h"
#include "platform/x11/connection.h"
#include "platform/x11/windows.h"

namespace tarn::platform::x11 {
namespace {

class AppEventsX11 final : public ThreadedAppEvents {
  public:
    explicit AppEventsX11(std::string displayName) : displayName_(std::move(displayName)) {}
    ~AppEventsX11() override { stop(); }

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
            thread_.wake();
            if (auto value = result.get()) return std::move(*value);
        }
        // Not running: a connection for this read alone.
        std::string error;
        auto connection = Connection::open(displayName_, error);
        if (!connection) return Result{};
        WindowSystemX11 windows(*connection);
        return safely(read, windows);
    }

    void run(const Notify& onActivated, const Notify& onChanged,
             std::promise<std::string>& started) override {
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
            bool woken = false;
            if (!thread_.sleep(ConnectionNumber(x.display()), woken)) break;
            if (woken) {
                std::deque<Task> tasks;
                {
                    std::lock_guard guard(lock_);
                    tasks.swap(tasks_);
                }
                for (auto& task : tasks) task(&windows);
                if (thread_.stopping()) break;
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
    bool running_ = false;
    std::deque<Task> tasks_;
    std::thread::id threadId_;            // the running thread's, for reads from its callbacks
    WindowSystemX11* windows_ = nullptr;  // the thread's, used only on it
};

}  // namespace

std::unique_ptr<AppEvents> makeAppEvents(std::string displayName) {
    return std::make_unique<AppEventsX11>(std::move(displayName));
}

}  // namespace tarn::platform::x11
