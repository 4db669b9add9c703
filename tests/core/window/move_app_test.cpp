#include "core/window/move_app.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/common/fake_desktop.h"
#include "tests/common/rect_assert.h"
#include "tests/common/temp_dir.h"

namespace tarn::window {
namespace {

const platform::Rect kHome{100, 100, 800, 600};

class HandleMoveAppTest : public ::testing::Test {
  protected:
    HandleMoveAppTest() {
        auto& app = desktop.addApp(100, "com.example.editor", "My Editor");
        app.addWindow(1, kHome);
        app.focused = 1;
        desktop.frontmost = 100;
    }

    // A direct call, as the command line makes it.
    int press(const std::string& direction, const std::vector<MoveAppLocation>& locations = {}) {
        CommandContext context(out_, err_, desktop);
        return handleMoveApp(direction, locations, StateFilters{}, false, context);
    }
    // A press of one of the agent's rules, the window found by the agent.
    int agentPress(MoveDirection direction, std::vector<MoveAppLocation> locations = {},
                   StateFilters filters = {}) {
        CommandContext context(out_, err_, desktop);
        return handleMoveApp({direction, std::move(locations), filters},
                             FrontmostWindow{1, desktop.apps.front().info}, context);
    }
    platform::Rect frame() { return desktop.window(1)->frame; }
    std::optional<WindowState> state() { return loadWindowState("My Editor", stateFilePath()); }

    testing::TempDir dir_;
    testing::ScopedEnv xdg_{"XDG_CONFIG_HOME", dir_.path().c_str()};
    testing::FakeDesktop desktop;
    std::ostringstream out_, err_;
};

// The agent's file takes a direct right press to its saved location (every other placement
// filtered out); the agent's own press already applied its rules and never reads the file.
TEST_F(HandleMoveAppTest, OnlyDirectCallsTakeTheAgentsOverride) {
    std::filesystem::create_directories(dir_.path() / "Tarn");
    std::ofstream(dir_.path() / "Tarn/wendle-config.json") << R"({"globalRules": [
        {"id": "R", "overrideTarn": "right", "stateFilters": {"fullWidthOnPrimary": false,
         "fullWidthOnSecondary": false, "alignRightOnPrimary": false,
         "alignRightOnSecondary": false, "alignLeftOnPrimary": false,
         "alignLeftOnSecondary": false}}],
        "appConfigs": [{"bundleID": "com.example.editor",
                        "savedLocations": [{"frame": [[300, 200], [700, 500]], "screenIndex": 0}]}]})";
    ASSERT_EQ(agentPress(MoveDirection::right), 0);
    EXPECT_EQ(frame(), (platform::Rect{0, 100, 1920, 600}));  // full width
    EXPECT_TRUE(state()->savedLocations.empty());

    // Home is nearest the saved location, whose next step right is the original, centred.
    std::filesystem::remove(stateFilePath());
    desktop.window(1)->frame = kHome;
    ASSERT_EQ(press("right"), 0);
    EXPECT_EQ(frame(), (platform::Rect{560, 252.5, 800, 600}));
    EXPECT_EQ(state()->savedLocations.size(), 1u);
}

// The agent's saved locations keep the screen it recorded them on; maximize is the up
// cycle's first step, full height.
TEST_F(HandleMoveAppTest, AgentPressesKeepTheRecordedScreenAndMaximizeMovesUp) {
    desktop.screens = {{0, 0, 1920, 1080}, {1920, 0, 1280, 1024}};
    ASSERT_EQ(agentPress(MoveDirection::left, {{{1900, 40, 300, 200}, true, 1}}), 0);
    EXPECT_EQ(state()->savedLocations.at(0).frame.screenIndex, 1);
    ASSERT_EQ(press("left", {{{1900, 40, 300, 200}, true}}), 0);
    EXPECT_EQ(state()->savedLocations.at(0).frame.screenIndex, 0);

    desktop.window(1)->frame = kHome;
    std::filesystem::remove(stateFilePath());
    ASSERT_EQ(agentPress(MoveDirection::maximize), 0);
    EXPECT_EQ(frame(), (platform::Rect{100, 25, 800, 1055}));
    EXPECT_EQ(state()->verticalState, 1);
}

// A changed list of saved locations is adopted before the move, which starts from the step
// nearest the window; a state on a location no longer listed is reset, which only the
// transcript shows, the move overwriting it.
TEST_F(HandleMoveAppTest, ANewListOfSavedLocationsIsAdoptedBeforeTheMove) {
    const MoveAppLocation first{{10, 40, 300, 200}, true};
    const MoveAppLocation second{{50, 60, 300, 200}, true};
    const MoveAppLocation other{{70, 80, 300, 200}, true};
    struct Case {
        std::vector<MoveAppLocation> newList;
        platform::Rect next;  // one step right from the second location
    };
    for (const auto& [newList, next] :
         {Case{{first, other}, first.frame}, Case{{first}, {0, 60, 800, 200}}}) {  // aligned left
        SCOPED_TRACE(newList.size());
        desktop.window(1)->frame = kHome;
        // Left from home (nearest: alignLeft) reaches the first saved step, then the second.
        ASSERT_EQ(press("left", {first, second}), 0);
        ASSERT_EQ(press("left", {first, second}), 0);
        ASSERT_EQ(state()->horizontalState, 5);
        ASSERT_EQ(frame(), second.frame);

        err_.str("");
        ASSERT_EQ(press("right", newList), 0);
        EXPECT_EQ(err_.str().find("points to removed saved location") == std::string::npos,
                  newList.size() == 2);
        EXPECT_EQ(state()->savedLocations.size(), newList.size());
        EXPECT_EQ(frame(), next);
        std::filesystem::remove(stateFilePath());
    }
}

// A new record takes the frame as the last one asked for, also when down saves it. A left
// press then makes the window's frame its home only when it was moved by hand by more than
// 10 points in all.
TEST_F(HandleMoveAppTest, AWindowMovedByHandGetsANewHome) {
    for (double moved : {10.0, 11.0}) {
        std::filesystem::remove(stateFilePath());
        desktop.window(1)->frame = kHome;
        ASSERT_EQ(press("down"), 0);
        ASSERT_TRUE(state());
        EXPECT_EQ(state()->currentFrame, WindowState::WindowFrame::of(kHome, 0));
        EXPECT_EQ(state()->verticalState, 1);

        desktop.window(1)->minimized = false;
        const platform::Rect byHand{kHome.x, kHome.y + moved, kHome.width, kHome.height};
        desktop.window(1)->frame = byHand;
        ASSERT_EQ(press("left"), 0);
        EXPECT_EQ(state()->initialFrame.rect(), moved > 10 ? byHand : kHome) << moved;
    }
    // Up or down adopt a frame made smaller by hand, so that up can return to it.
    const platform::Rect smaller{100, 100, 400, 300};
    desktop.window(1)->frame = smaller;
    ASSERT_EQ(press("up"), 0);
    EXPECT_EQ(state()->initialFrame.rect(), smaller);
}

}  // namespace
}  // namespace tarn::window
