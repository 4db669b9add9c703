#include "platform/kde/app_events.h"

#include <unistd.h>

#include <mutex>

#include "platform/desktop.h"
#include "platform/kde/kwin.h"
#include "platform/kde/windows.h"
#include "platform/threaded_sources.h"

namespace tarn::platform::kde {
namespace {

constexpr const char* kServedPath = "/org/tarn/KWinEvents";
constexpr const char* kServedInterface = "org.tarn.KWinEvents";

class KdeAppEvents final : public ThreadedAppEvents {
  public:
    ~KdeAppEvents() override { stop(); }

    std::optional<AppInfo> frontmostApplication() override {
        return read([](KWinWindows& windows) { return windows.frontmostApplication(); },
                    std::optional<AppInfo>());
    }
    std::vector<AppInfo> runningApplications() override {
        return read([](KWinWindows& windows) { return windows.runningApplications(); },
                    std::vector<AppInfo>());
    }

  private:
    template <class Read, class Result>
    Result read(Read reading, Result none) {
        std::lock_guard lock(readMutex_);
        try {
            if (!session_) {
                std::string error;
                session_ = KWinSession::open(error);
                if (!session_) return none;
                displays_ = std::make_unique<KWinDisplays>(*session_);
                windows_ = std::make_unique<KWinWindows>(*session_, *displays_);
            }
            windows_->forget();
            return reading(*windows_);
        } catch (const DesktopError&) {
            windows_.reset();
            displays_.reset();
            session_.reset();
            return none;
        }
    }

    void run(const Notify& onActivated, const Notify& onChanged,
             std::promise<std::string>& started) override {
        std::string error;
        auto bus = dbus::Bus::session(error);
        auto version = bus ? kwinVersion(*bus, error) : std::nullopt;
        if (!version) {
            started.set_value("cannot follow KWin's windows: " + error);
            return;
        }
        auto serving = bus->serve(kServedPath, [&](const dbus::Call& call) {
            if (call.member == "activated" && onActivated) onActivated();
            if (call.member == "changed" && onChanged) onChanged();
            if (call.member == "ready") ready_ = true;
            return dbus::Answer{};
        });
        const CallBack callBack{bus->uniqueName(), kServedPath, kServedInterface};
        auto script = LoadedScript::load(*bus, eventsScript(scriptApiFor(*version), callBack),
                                         "tarn-events-" + std::to_string(::getpid()), error);
        if (!script) {
            started.set_value("cannot follow KWin's windows: " + error);
            return;
        }
        for (int i = 0; !ready_ && i < 100; ++i) bus->wait(50);
        script->forgetFile();
        if (!ready_) {
            started.set_value("cannot follow KWin's windows: its script never called back");
            return;
        }
        started.set_value("");
        while (!thread_.stopping() && bus->wait(50)) {
        }
    }

    bool ready_ = false;

    std::mutex readMutex_;
    std::unique_ptr<KWinSession> session_;
    std::unique_ptr<KWinDisplays> displays_;
    std::unique_ptr<KWinWindows> windows_;
};

}  // namespace

std::unique_ptr<AppEvents> makeAppEvents() {
    return std::make_unique<KdeAppEvents>();
}

}  // namespace tarn::platform::kde
