#include "agent/app_observer.h"

#include <algorithm>
#include <chrono>

namespace tarn::agent {

std::vector<platform::AppInfo> ordinaryAppsByName(std::vector<platform::AppInfo> apps) {
    std::erase_if(apps, [](const platform::AppInfo& app) { return !app.regularActivationPolicy; });
    // std::string compares as unsigned bytes, and UTF-8 byte order is code point order.
    std::stable_sort(apps.begin(), apps.end(),
                     [](const platform::AppInfo& a, const platform::AppInfo& b) {
                         return a.localizedName.value_or("") < b.localizedName.value_or("");
                     });
    return apps;
}

bool AppObserver::start(std::string& error) {
    refreshRunningApps();
    updateFrontmost();
    // The source calls from its own thread; the work itself is done on the main loop.
    return events_.start(
        [this] { mainLoop_.schedule(std::chrono::milliseconds(0), [this] { updateFrontmost(); }); },
        [this] {
            mainLoop_.schedule(std::chrono::milliseconds(0), [this] { refreshRunningApps(); });
        },
        error);
}

void AppObserver::refreshRunningApps() {
    runningApps_ = ordinaryAppsByName(events_.runningApplications());
}

void AppObserver::updateFrontmost() {
    std::optional<std::string> bundleID;
    if (auto app = events_.frontmostApplication()) bundleID = app->bundleID;
    std::lock_guard guard(frontmostLock_);
    frontmostBundleID_.swap(bundleID);
}

std::optional<std::string> AppObserver::frontmostBundleID() const {
    std::lock_guard guard(frontmostLock_);
    return frontmostBundleID_;
}

}  // namespace tarn::agent
