// `tarn move-app` as a user runs it on the private sway: LEFT (HEADLESS-1) 1920x1080 at 0,0,
// the primary, and RIGHT (HEADLESS-2) 1280x1024 at 1920,0, a 25-pixel bar at the top of
// each. Where the window went is read with swaymsg, never through tarn's own backend.
#include <gtest/gtest.h>

#include "tests/common/command_runner.h"
#include "tests/sway/harness.h"

namespace tarn::swaytest {
namespace {

using tarn::testing::CommandResult;
using tarn::testing::runTarn;

struct Press {
    const char* direction;
    Rect frame;
    bool minimised = false;
};

// The X11 desktop's cycle, worked by hand for two screens of different sizes. The window
// starts floating at 100,100 800x605 (outer frame), its home. Usable areas (the screen less
// the 25-pixel band): LEFT 0,25 1920x1055, RIGHT 1920,25 1280x999. On RIGHT the home width
// scales by 1280/1920 (533.3) and its height by 999/1055 (572.9); moved across, a window
// keeps its share of the usable height (y 25 + 225 / 1055 × 999 = 238.1). sway places whole
// pixels, and every frame is checked within one.
const Press kPresses[] = {
    {"right", {0, 100, 1920, 605}},     // LEFT fullWidth, keeping y 100 and the height
    {"right", {560, 250, 800, 605}},    // LEFT original: centred in the usable area
    {"right", {1120, 250, 800, 605}},   // LEFT alignRight: 1920 - 800
    {"right", {1920, 238, 533, 573}},   // RIGHT alignLeft (wrapped), scaled
    {"right", {1920, 238, 1280, 573}},  // RIGHT fullWidth
    {"right", {2293, 238, 533, 573}},   // RIGHT original: 1920 + (1280 - 533.3) / 2
    {"right", {2667, 238, 533, 573}},   // RIGHT alignRight: 3200 - 533.3
    {"right", {0, 250, 800, 605}},      // LEFT alignLeft: the whole cycle, wrapped
    {"left", {2667, 238, 533, 573}},    // forwards (wrapped) to RIGHT alignRight
    {"left", {2293, 238, 533, 573}},    // RIGHT original
    {"up", {2293, 25, 533, 999}},       // full height on RIGHT
    {"up", {1925, 30, 1270, 989}},      // full screen on RIGHT, 5 short on every side
    {"up", {100, 100, 800, 605}},       // home, back on LEFT
    {"down", {100, 100, 800, 605}, true},
    {"down", {100, 100, 800, 605}},  // from the scratchpad, where it was
};

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
