// `tarn move-app` as a user runs it, on the private server of with-x11.sh: LEFT 1920x1080 at
// 0,0 (primary) and RIGHT 1920x1080 at 1920,0, openbox with a 25-pixel top margin. Where the
// window went is read with xwininfo and xprop, never through tarn's own backend.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/files.h"
#include "support/json_text.h"
#include "tests/common/command_runner.h"
#include "tests/common/temp_dir.h"
#include "tests/x11/harness.h"

namespace tarn::x11test {
namespace {

using platform::Rect;
using support::Json;
using tarn::testing::CommandResult;
using tarn::testing::runTarn;
using tarn::testing::TempDir;
using ::testing::HasSubstr;

// The test client asks for 798x580 at 100,100; openbox's frame adds 1+1 across and 20+5
// down, so the outer frame a user sees, and the one tarn takes as home, is 100,100 800x605.
const std::vector<std::string> kEditor{"--class", "Editor", "--geometry", "798x580+100+100"};

class MoveAppOnX11 : public ::testing::Test {
  protected:
    CommandResult tarn(const std::string& direction) {
        return runTarn({"move-app", direction}, home_.path(), std::nullopt,
                       {"DISPLAY=" + display()});
    }

    // The editor's record in $XDG_CONFIG_HOME/Tarn/state.json, decoded from its string.
    Json storedState() {
        auto text = support::readFile(home_.path() / ".config" / "Tarn" / "state.json");
        if (!text) return nullptr;
        auto document = support::parseJson(*text);
        if (!document || !(*document)["values"].contains("window_Editor")) return nullptr;
        auto record = support::parseJson((*document)["values"]["window_Editor"].get<std::string>());
        return record ? *record : nullptr;
    }

    TempDir home_;
};

struct Press {
    const char* direction;
    Rect frame;
    int horizontalState;
    int verticalState;
};

// Worked by hand. Usable areas (the monitor less the 25-pixel band at the top):
// LEFT 0,25 1920x1055 and RIGHT 1920,25 1920x1055. The step list is, per monitor, alignRight,
// original, fullWidth, alignLeft; right walks it backwards, left forwards, wrapping.
// Home 100,100 800x605 is nearest the LEFT alignLeft (0,100: 100 off; original is 610 off).
// Original centres home: x = (1920 - 800) / 2 = 560, y = 25 + (1055 - 605) / 2 = 250.
// On its own monitor a window keeps its y and height; moved to the other one it keeps its
// share of the usable height, the same here (equal monitors): y 250, height 605.
// Up steps full height (the usable height), then full screen (the usable area less 5 on
// every side), then home.
const Press kPresses[] = {
    {"right", {0, 100, 1920, 605}, 1, 0},     // LEFT fullWidth, keeping y 100 and the height
    {"right", {560, 250, 800, 605}, 0, 0},    // LEFT original
    {"right", {1120, 250, 800, 605}, 2, 0},   // LEFT alignRight: 1920 - 800
    {"right", {1920, 250, 800, 605}, 3, 0},   // RIGHT alignLeft (wrapped)
    {"right", {1920, 250, 1920, 605}, 1, 0},  // RIGHT fullWidth
    {"right", {2480, 250, 800, 605}, 0, 0},   // RIGHT original: 1920 + 560
    {"right", {3040, 250, 800, 605}, 2, 0},   // RIGHT alignRight: 3840 - 800
    {"right", {0, 250, 800, 605}, 3, 0},      // LEFT alignLeft: the whole cycle, wrapped
    {"left", {3040, 250, 800, 605}, 2, 0},    // forwards (wrapped) to RIGHT alignRight
    {"left", {2480, 250, 800, 605}, 0, 0},    // RIGHT original
    {"up", {2480, 25, 800, 1055}, 0, 1},      // full height on RIGHT
    {"up", {1925, 30, 1910, 1045}, 0, 2},     // full screen on RIGHT
    {"up", {100, 100, 800, 605}, 0, 0},       // home, back on LEFT
};

TEST_F(MoveAppOnX11, RightThroughTheWholeCycleThenLeftAndUp) {
    auto app = startApp(home_, kEditor);
    ASSERT_TRUE(near(frameOnceAt(app.window(), {100, 100, 800, 605}), {100, 100, 800, 605}));

    int number = 0;
    for (const Press& press : kPresses) {
        SCOPED_TRACE("press " + std::to_string(++number) + " " + press.direction);
        auto result = tarn(press.direction);
        ASSERT_EQ(result.status, 0) << result.err;
        Rect seen = frameOnceAt(app.window(), press.frame);
        ASSERT_TRUE(near(seen, press.frame))
            << "expected " << describe(press.frame) << ", oracle saw " << describe(seen);
        Json state = storedState();
        EXPECT_EQ(state["horizontalState"], press.horizontalState);
        EXPECT_EQ(state["verticalState"], press.verticalState);
        EXPECT_EQ(activeWindow(), app.window());
    }
    // Every press landed where the one before asked: home never moved.
    EXPECT_EQ(storedState()["initialFrame"],
              Json::parse(R"({"x":100,"y":100,"width":800,"height":605,"screenIndex":0})"));
}

// Down minimises; with the window iconic nothing has the focus, and the next down finds the
// window through state.json and restores it.
TEST_F(MoveAppOnX11, DownMinimisesAndDownAgainRestoresTheTrackedWindow) {
    auto app = startApp(home_, kEditor);
    ASSERT_TRUE(near(frameOnceAt(app.window(), {100, 100, 800, 605}), {100, 100, 800, 605}));

    auto down = tarn("down");
    ASSERT_EQ(down.status, 0) << down.err;
    EXPECT_THAT(down.err, HasSubstr("DEBUG: Minimizing window\n"));
    EXPECT_TRUE(eventually([&] { return wmState(app.window()) == "Iconic"; }))
        << wmState(app.window());
    EXPECT_THAT(netWmState(app.window()), ::testing::Contains("_NET_WM_STATE_HIDDEN"));
    EXPECT_TRUE(eventually([&] { return activeWindow() != app.window(); }));
    EXPECT_EQ(storedState()["verticalState"], 1);

    auto restore = tarn("down");
    ASSERT_EQ(restore.status, 0) << restore.err;
    EXPECT_THAT(restore.err, HasSubstr("DEBUG: Found minimized window for: Editor\n"));
    EXPECT_TRUE(eventually([&] { return wmState(app.window()) == "Normal"; }))
        << wmState(app.window());
    EXPECT_TRUE(eventually([&] { return activeWindow() == app.window(); }));
    EXPECT_EQ(storedState()["verticalState"], 0);
    Rect seen = frameOnceAt(app.window(), {100, 100, 800, 605});
    EXPECT_TRUE(near(seen, {100, 100, 800, 605})) << describe(seen);
}

// A press with no window on the desktop at all: a clear error, and nothing stored.
TEST_F(MoveAppOnX11, NoWindowAtAllIsAnError) {
    auto result = tarn("right");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, ::testing::EndsWith("ERROR: No frontmost window found and no tracked "
                                                "minimized windows\n"));
    EXPECT_EQ(storedState(), nullptr);
}

}  // namespace
}  // namespace tarn::x11test
