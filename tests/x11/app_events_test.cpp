// The X11 application events on the private server of with-x11.sh, the desktop changed with
// the test client and xdotool.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <tuple>

#include "platform/x11/app_events.h"
#include "tests/x11/harness.h"

namespace tarn::x11test {
namespace {

using platform::AppInfo;

class AppEventsTest : public ::testing::Test {
  protected:
    std::optional<std::string> frontmost() {
        auto app = events_->frontmostApplication();
        return app ? app->bundleID : std::nullopt;
    }

    tarn::testing::TempDir dir_;
    std::unique_ptr<platform::AppEvents> events_ = platform::x11::makeAppEvents(display());
    std::atomic<int> activations_{0}, changes_{0};
};

TEST_F(AppEventsTest, LaunchesAndActivationsAreReportedAndReadBack) {
    EXPECT_EQ(events_->frontmostApplication(), std::nullopt);  // read while not running
    std::string error;
    ASSERT_TRUE(events_->start([&] { ++activations_; }, [&] { ++changes_; }, error)) << error;

    auto alpha = startApp(dir_, {"--class", "Alpha"});
    EXPECT_TRUE(eventually([&] { return changes_ > 0 && activations_ > 0; }));
    EXPECT_EQ(frontmost(), "Alpha");

    // A window off the task bar: launched, but the window manager leaves the focus where it is.
    int changes = changes_;
    auto beta = startApp(dir_, {"--class", "Beta", "--skip-taskbar"}, Until::managed);
    EXPECT_TRUE(eventually([&] { return changes_ > changes; }));

    // In the desktop's order; the one off the task bar is no ordinary application.
    auto apps = events_->runningApplications();
    ASSERT_EQ(apps.size(), 2u);
    auto facts = [](const AppInfo& app) {
        return std::tuple(app.pid, app.bundleID, app.localizedName, app.regularActivationPolicy);
    };
    using Facts =
        std::tuple<platform::Pid, std::optional<std::string>, std::optional<std::string>, bool>;
    EXPECT_EQ(facts(apps[0]), Facts(alpha.pid(), "Alpha", "Alpha", true));
    EXPECT_EQ(facts(apps[1]), Facts(beta.pid(), "Beta", "Beta", false));

    int activations = activations_;
    ASSERT_EQ(run({"xdotool", "windowactivate", std::to_string(beta.window())}).status, 0);
    EXPECT_TRUE(eventually([&] { return activations_ > activations; }));
    EXPECT_TRUE(eventually([&] { return frontmost() == "Beta"; }));

    changes = changes_;
    beta.process.kill();
    EXPECT_TRUE(eventually([&] { return changes_ > changes; }));
    EXPECT_EQ(events_->runningApplications().size(), 1u);
    events_->stop();
}

}  // namespace
}  // namespace tarn::x11test
