// `tarn move-app` as a user runs it, on the private server of with-x11.sh: LEFT 1920x1080 at
// 0,0 (primary) and RIGHT 1920x1080 at 1920,0, openbox with a 25-pixel top margin. Where the
// window went is read with xwininfo and xprop, never through tarn's own backend.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/common/command_runner.h"
#include "tests/x11/harness.h"

namespace tarn::x11test {
namespace {

using tarn::testing::runTarn;
using tarn::testing::TempDir;

// The test client asks for 798x580 at 100,100; openbox's frame adds 1+1 across and 20+5
// down, so the outer frame a user sees, and the one tarn takes as home, is 100,100 800x605.
const std::vector<std::string> kEditor{"--class", "Editor", "--geometry", "798x580+100+100"};

struct Press {
    const char* direction;
    Rect frame;
    bool minimised = false;
};

// Worked by hand. Usable areas (the monitor less the 25-pixel band at the top):
// LEFT 0,25 1920x1055 and RIGHT 1920,25 1920x1055. The step list is, per monitor, alignRight,
// original, fullWidth, alignLeft; right walks it backwards, left forwards, wrapping.
// Home 100,100 800x605 is nearest the LEFT alignLeft (0,100: 100 off; original is 610 off).
// Original centres home: x = (1920 - 800) / 2 = 560, y = 25 + (1055 - 605) / 2 = 250.
// On its own monitor a window keeps its y and height; moved to the other one it keeps its
// share of the usable height, the same here (equal monitors): y 250, height 605.
// Up steps full height (the usable height), then full screen (the usable area less 5 on
// every side), then home. Down minimises; with the window iconic nothing has the focus, and
// the next down finds the window through state.json and restores it.
const Press kPresses[] = {
    {"right", {0, 100, 1920, 605}},     // LEFT fullWidth, keeping y 100 and the height
    {"right", {560, 250, 800, 605}},    // LEFT original
    {"right", {1120, 250, 800, 605}},   // LEFT alignRight: 1920 - 800
    {"right", {1920, 250, 800, 605}},   // RIGHT alignLeft (wrapped)
    {"right", {1920, 250, 1920, 605}},  // RIGHT fullWidth
    {"right", {2480, 250, 800, 605}},   // RIGHT original: 1920 + 560
    {"right", {3040, 250, 800, 605}},   // RIGHT alignRight: 3840 - 800
    {"right", {0, 250, 800, 605}},      // LEFT alignLeft: the whole cycle, wrapped
    {"left", {3040, 250, 800, 605}},    // forwards (wrapped) to RIGHT alignRight
    {"left", {2480, 250, 800, 605}},    // RIGHT original
    {"up", {2480, 25, 800, 1055}},      // full height on RIGHT
    {"up", {1925, 30, 1910, 1045}},     // full screen on RIGHT
    {"up", {100, 100, 800, 605}},       // home, back on LEFT
    {"down", {100, 100, 800, 605}, true}, {"down", {100, 100, 800, 605}},  // restored where it was
};

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
