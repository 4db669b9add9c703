// `tarn move-app` as a user runs it, on the private server of with-x11.sh: LEFT 1920x1080 at
// 0,0 (primary) and RIGHT 1920x1080 at 1920,0, openbox with a 25-pixel top margin. Where the
// window went is read with xwininfo and xprop, never through tarn's own backend.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/common/command_runner.h"
#include "tests/common/move_app_presses.h"
#include "tests/x11/harness.h"

namespace tarn::x11test {
namespace {

using tarn::testing::kPresses;
using tarn::testing::Press;
using tarn::testing::runTarn;
using tarn::testing::TempDir;

// The test client asks for 798x580 at 100,100; openbox's frame adds 1+1 across and 20+5
// down, so the outer frame a user sees, and the one tarn takes as home, is 100,100 800x605.
const std::vector<std::string> kEditor{"--class", "Editor", "--geometry", "798x580+100+100"};

TEST(MoveAppOnX11, EveryPressLandsTheOuterFrameExactly) {
    TempDir home;
    auto app = startApp(home, kEditor);
    ASSERT_TRUE(settlesAt(app.window(), {100, 100, 800, 605}));

    int number = 0;
    for (const Press& press : kPresses) {
        SCOPED_TRACE("press " + std::to_string(++number) + " " + press.direction);
        auto result = runTarn({"move-app", press.direction}, home.path(), std::nullopt,
                              {"DISPLAY=" + display()});
        ASSERT_EQ(result.status, 0) << result.err;
        const std::string state = press.minimised ? "Iconic" : "Normal";
        EXPECT_TRUE(eventually([&] { return wmState(app.window()) == state; }));
        EXPECT_EQ(
            xprop(app.window(), "_NET_WM_STATE").find("_NET_WM_STATE_HIDDEN") != std::string::npos,
            press.minimised);
        EXPECT_TRUE(
            eventually([&] { return (activeWindow() == app.window()) != press.minimised; }));
        if (press.minimised) continue;
        ASSERT_TRUE(settlesAt(app.window(), press.frame));
    }
}

}  // namespace
}  // namespace tarn::x11test
