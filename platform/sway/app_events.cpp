#include "platform/sway/app_events.h"

#include <mutex>

#include "platform/sway/ipc.h"
#include "platform/sway/tree.h"
#include "platform/sway/windows.h"
#include "platform/threaded_sources.h"

namespace tarn::platform::sway {
namespace {

class SwayAppEvents final : public ThreadedAppEvents {
  public:
    explicit SwayAppEvents(std::string socket) : socket_(std::move(socket)) {}
    ~SwayAppEvents() override { stop(); }

    std::optional<AppInfo> frontmostApplication() override { return frontmostOf(windows()); }

    std::vector<AppInfo> runningApplications() override { return applicationsOf(windows()); }

  private:
    void run(const Notify& onActivated, const Notify& onChanged,
             std::promise<std::string>& started) override {
        std::string error;
        auto ipc = Ipc::open(socket_, error);
        if (!ipc) {
            started.set_value(error);
            return;
        }
        auto reply = ipc->request(message::subscribe, R"(["window","workspace"])");
        if (!reply || !reply->is_object() || !reply->value("success", false)) {
            started.set_value("sway refused to report its windows");
            return;
        }
        started.set_value("");
        while (!thread_.stopping()) {
            bool woken = false;
            if (!ipc->hasKeptEvent() && !thread_.sleep(ipc->fd(), woken)) break;
            if (woken) continue;
            auto message = ipc->nextEvent();
            if (!message) break;
            const std::string change = message->payload.is_object()
                                           ? message->payload.value("change", std::string())
                                           : std::string();
            if (message->type == event::window) {
                if (change == "new" || change == "close") onChanged();
                if (change == "focus" || change == "close") onActivated();
            } else if (message->type == event::workspace && change == "focus") {
                onActivated();
            }
        }
    }

    std::vector<SwayWindow> windows() {
        std::lock_guard guard(lock_);
        if (!reader_ || reader_->failed()) {
            std::string error;
            reader_ = Ipc::open(socket_, error);
            if (!reader_) return {};
        }
        auto tree = reader_->request(message::getTree);
        return tree ? windowsOfTree(*tree) : std::vector<SwayWindow>{};
    }

    const std::string socket_;
    std::mutex lock_;
    std::optional<Ipc> reader_;
};

}  // namespace

std::unique_ptr<AppEvents> makeAppEvents(std::string socket) {
    return std::make_unique<SwayAppEvents>(std::move(socket));
}

}  // namespace tarn::platform::sway
