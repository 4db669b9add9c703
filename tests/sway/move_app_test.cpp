// `tarn move-app` as a user runs it on the private sway: LEFT (HEADLESS-1) 1920x1080 at 0,0,
// the primary, and RIGHT (HEADLESS-2) 1280x1024 at 1920,0, a 25-pixel bar at the top of
// each. Where the window went is read with swaymsg, never through tarn's own backend.
#include <gtest/gtest.h>

#include "tests/common/command_runner.h"
#include "tests/common/move_app_presses.h"
#include "tests/sway/harness.h"

namespace tarn::swaytest {
namespace {

using tarn::testing::CommandResult;
using tarn::testing::runTarn;

using tarn::testing::Press;
// The window starts floating at its home; its last down brings it back from the scratchpad.
const auto& kPresses = tarn::testing::kPressesOnUnequalScreens;

const Rect kHome{100, 100, 800, 605};

CommandResult moveApp(const TempDir& home, const char* direction) {
    return runTarn({"move-app", direction}, home.path(), std::nullopt, swayEnvironment());
}

TEST(MoveAppOnSway, EveryPressLandsTheOuterFrameOnEitherOutput) {
    TempDir home;
    auto editor = startClient(home, "Editor", "640x480");
    placeFloating(editor, kHome);

    int number = 0;
    for (const Press& press : kPresses) {
        SCOPED_TRACE("press " + std::to_string(++number) + " " + press.direction);
        auto result = moveApp(home, press.direction);
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_TRUE(eventually([&] { return inScratchpad(editor.pid()) == press.minimised; }));
        EXPECT_TRUE(eventually([&] { return (focusedPid() == editor.pid()) != press.minimised; }));
        if (press.minimised) continue;
        ASSERT_TRUE(settlesAt(editor.pid(), press.frame));
        ASSERT_TRUE(drawnAt(editor, press.frame));
    }
}

// Each application keeps its own place in the cycle: moving another one in between does not
// move the first one's on.
TEST(MoveAppOnSway, ASecondApplicationKeepsItsOwnCycle) {
    TempDir home;
    auto editor = startClient(home, "Editor", "640x480");
    placeFloating(editor, kHome);
    auto viewer = startClient(home, "Viewer", "640x480");
    placeFloating(viewer, {200, 300, 600, 400});

    ASSERT_EQ(moveApp(home, "right").status, 0);
    EXPECT_TRUE(settlesAt(viewer.pid(), {0, 300, 1920, 400}));  // its own fullWidth
    ASSERT_TRUE(swaymsg("[pid=" + std::to_string(editor.pid()) + "] focus"));
    ASSERT_EQ(moveApp(home, "right").status, 0);
    EXPECT_TRUE(settlesAt(editor.pid(), kPresses[0].frame));
    EXPECT_TRUE(drawnAt(editor, kPresses[0].frame));
    ASSERT_EQ(moveApp(home, "right").status, 0);
    EXPECT_TRUE(settlesAt(editor.pid(), kPresses[1].frame));
    EXPECT_TRUE(settlesAt(viewer.pid(), {0, 300, 1920, 400}));
}

}  // namespace
}  // namespace tarn::swaytest
