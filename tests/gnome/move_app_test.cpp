// `tarn move-app` as a user runs it on the private GNOME Shell of with-gnome.sh: 1920x1080 at
// 0,0 (primary) and 1280x1024 at 1920,0. Where the window went is read by the test probe
// extension, never through Tarn's own extension.
#include <gtest/gtest.h>

#include "tests/gnome/harness.h"

namespace tarn::gnometest {
namespace {

struct Press {
    const char* direction;
    Rect frame;
    bool minimised = false;
};

// Worked by hand, as the X11 tests' cycle, on monitors of different sizes. Usable areas (the
// monitor less the 25-pixel band Tarn keeps for a menu bar): LEFT 0,25 1920x1055 and RIGHT
// 1920,25 1280x999. The client's window has no decorations: its frame is its 800x605 buffer,
// put at home 100,100 before the first press. The step list is, per monitor, alignRight,
// original, fullWidth, alignLeft; right walks it backwards, left forwards, wrapping. Home is
// nearest the LEFT alignLeft. Original centres: x = (1920 - 800) / 2 = 560, y = 25 +
// (1055 - 605) / 2 = 250. Moved to the other monitor a window keeps its share of the usable
// width and height and of the space above it: 800 * 1280 / 1920 = 533.3, 605 * 999 / 1055 =
// 572.9, y = 25 + 225 * 999 / 1055 = 238.1; centred there x = 1920 + (1280 - 533) / 2 =
// 2293.5. (Each frame is checked within a pixel, so halves may round either way.)
// Up steps full height (the usable height), then full screen (the usable area less 5 on
// every side), then home. Down minimises; the next down finds the window through state.json
// and restores it.
const Press kPresses[] = {
    {"right", {0, 100, 1920, 605}},     // LEFT fullWidth, keeping y 100 and the height
    {"right", {560, 250, 800, 605}},    // LEFT original
    {"right", {1120, 250, 800, 605}},   // LEFT alignRight: 1920 - 800
    {"right", {1920, 238, 533, 573}},   // RIGHT alignLeft (wrapped), scaled
    {"right", {1920, 238, 1280, 573}},  // RIGHT fullWidth
    {"right", {2293, 238, 533, 573}},   // RIGHT original
    {"right", {2667, 238, 533, 573}},   // RIGHT alignRight: 3200 - 533
    {"right", {0, 250, 800, 605}},      // LEFT alignLeft: the whole cycle, wrapped
    {"left", {2667, 238, 533, 573}},    // forwards (wrapped) to RIGHT alignRight
    {"left", {2293, 238, 533, 573}},    // RIGHT original
    {"up", {2293, 25, 533, 999}},       // full height on RIGHT
    {"up", {1925, 30, 1270, 989}},      // full screen on RIGHT
    {"up", {100, 100, 800, 605}},       // home, back on LEFT
    {"down", {100, 100, 800, 605}, true}, {"down", {100, 100, 800, 605}},  // restored where it was
};

TEST(MoveAppOnGnome, EveryPressLandsTheFrameOnTheAskedMonitor) {
    tarn::testing::TempDir home;
    auto app = startApp(home, "Editor");
    probe("Place", {"Editor", "100", "100", "800", "605"});
    ASSERT_TRUE(settlesAt("Editor", {100, 100, 800, 605}));

    int number = 0;
    for (const Press& press : kPresses) {
        SCOPED_TRACE("press " + std::to_string(++number) + " " + press.direction);
        auto result = runTarn({"move-app", press.direction}, home);
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_TRUE(
            eventually([&] { return minimized("Editor") == std::vector{press.minimised}; }));
        EXPECT_TRUE(eventually([&] { return (focusedApp() == "Editor") != press.minimised; }));
        if (press.minimised) continue;
        ASSERT_TRUE(settlesAt("Editor", press.frame));
    }
}

}  // namespace
}  // namespace tarn::gnometest
