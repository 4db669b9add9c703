#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "agent/scheduler.h"
#include "platform/app_events.h"

namespace tarn::agent {

// The other running applications as the agent sees them: the ordinary ones (for the
// settings window's pickers) and the frontmost one's bundle identifier (for matching every
// key press). Written on the main thread only; the identifier is also read on the key
// source's thread.
class AppObserver {
  public:
    // `mainLoop` receives the desktop's notifications from the event source's own thread, so
    // its schedule() must accept calls from any thread.
    AppObserver(platform::AppEvents& events, Scheduler& mainLoop)
        : events_(events), mainLoop_(mainLoop) {}
    ~AppObserver() { events_.stop(); }
    AppObserver(const AppObserver&) = delete;
    AppObserver& operator=(const AppObserver&) = delete;

    // Fills both facts once and follows the desktop from then on. False, with the reason,
    // when the desktop cannot be followed (the facts are filled all the same).
    bool start(std::string& error);
    void refreshRunningApps();
    void updateFrontmost();

    const std::vector<platform::AppInfo>& runningApps() const { return runningApps_; }
    // A whole copy, safe on any thread.
    std::optional<std::string> frontmostBundleID() const;

  private:
    platform::AppEvents& events_;
    Scheduler& mainLoop_;
    std::vector<platform::AppInfo> runningApps_;
    mutable std::mutex frontmostLock_;
    std::optional<std::string> frontmostBundleID_;
};

// Ordinary applications only, by localized name in code point order (no name counts as
// ""); equal names keep the desktop's order.
std::vector<platform::AppInfo> ordinaryAppsByName(std::vector<platform::AppInfo> apps);

}  // namespace tarn::agent
