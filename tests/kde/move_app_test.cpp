// `tarn move-app` as a user runs it on the private KWin of with-kwin.sh: two 1920x1080
// outputs side by side, the left one first. Where the window went is what the tests' own
// KWin script reads, never Tarn's backend.
#include <gtest/gtest.h>

#include "tests/common/command_runner.h"
#include "tests/common/move_app_presses.h"
#include "tests/kde/harness.h"

namespace tarn::kdetest {
namespace {

using tarn::testing::kPresses;
using tarn::testing::Press;
using tarn::testing::runTarn;
using tarn::testing::TempDir;

TEST(MoveAppOnKWin, EveryPressLandsTheOuterFrameExactly) {
    TempDir home;
    auto app = startApp(home, {"--app-id", "Editor", "--size", "800x605"});
    auto window = kwinWindowOf(app.pid());
    ASSERT_TRUE(window);
    // A Wayland client cannot place itself: the test's own script puts it at the home frame
    // the other desktops' tests start from.
    kwinPlace(window->uuid, {100, 100, 800, 605});
    ASSERT_TRUE(settlesAt(app.pid(), {100, 100, 800, 605}));

    int number = 0;
    for (const Press& press : kPresses) {
        SCOPED_TRACE("press " + std::to_string(++number) + " " + press.direction);
        auto result =
            runTarn({"move-app", press.direction}, home.path(), std::nullopt, desktopEnvironment());
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_TRUE(eventually([&] {
            auto now = kwinWindowOf(app.pid());
            return now && now->minimized == press.minimised && now->active != press.minimised;
        }));
        if (press.minimised) continue;
        ASSERT_TRUE(settlesAt(app.pid(), press.frame));
    }
}

}  // namespace
}  // namespace tarn::kdetest
