#include "core/window/move_app.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/common/fake_desktop.h"
#include "tests/common/temp_dir.h"

namespace tarn::window {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class HandleMoveAppTest : public ::testing::Test {
  protected:
    HandleMoveAppTest() {
        auto& app = desktop.addApp(100, "com.example.editor", "My Editor");
        app.addWindow(1, {100, 100, 800, 600});
        app.focused = 1;
        desktop.frontmost = 100;
    }

    int press(const std::string& direction, const std::vector<MoveAppLocation>& locations,
              bool fromUserRule = true) {
        err_.str("");
        CommandContext context(out_, err_, desktop);
        return handleMoveApp(direction, locations, StateFilters{}, fromUserRule, context);
    }
    std::string err() const { return err_.str(); }

    testing::TempDir dir_;
    testing::ScopedEnv xdg_{"XDG_CONFIG_HOME", dir_.path().c_str()};
    testing::FakeDesktop desktop;
    std::ostringstream out_, err_;
};

TEST_F(HandleMoveAppTest, CallsFromTheAgentNeverReadItsConfiguration) {
    EXPECT_EQ(press("right", {}), 0);
    EXPECT_THAT(err(), Not(HasSubstr("Wendle config")));
    EXPECT_THAT(err(), ::testing::StartsWith(
                           "DEBUG: handleMoveApp called with direction: right, fromUserRule: "
                           "true\n"));
}

// A state on the second saved location survives a list that still has two entries and is
// reset when the list shrinks to one.
TEST_F(HandleMoveAppTest, StateOnARemovedSavedLocationResetsToOriginal) {
    const MoveAppLocation first{{10, 40, 300, 200}, true};
    const MoveAppLocation second{{50, 60, 300, 200}, true};
    const MoveAppLocation other{{70, 80, 300, 200}, true};
    struct Case {
        std::vector<MoveAppLocation> newList;
        bool reset;
    };
    for (const auto& c : {Case{{first, other}, false}, Case{{first}, true}}) {
        desktop.window(1)->frame = {100, 100, 800, 600};
        // Left from home (nearest: alignLeft) reaches the first saved step, then the second.
        ASSERT_EQ(press("left", {first, second}), 0);
        ASSERT_EQ(press("left", {first, second}), 0);
        ASSERT_THAT(err(), HasSubstr("DEBUG: Saving state - hState=5"));
        ASSERT_EQ(desktop.window(1)->frame, second.frame);

        ASSERT_EQ(press("left", c.newList), 0);
        EXPECT_THAT(err(), HasSubstr("DEBUG: Updating savedLocations in state\n"));
        EXPECT_EQ(err().find("DEBUG: Current state points to removed saved location, "
                             "resetting to original\n") != std::string::npos,
                  c.reset);
        std::filesystem::remove(stateFilePath());
    }
}

// A new record takes the frame as the last one asked for, also when down saves it: the next
// press sees nothing moved by hand.
TEST_F(HandleMoveAppTest, FirstPressIsNoManualMove) {
    ASSERT_EQ(press("down", {}), 0);
    ASSERT_EQ(press("up", {}), 0);
    EXPECT_THAT(err(), HasSubstr("DEBUG: Frame difference: 0.0\n"));
}

// The cycle is told whether the window is on the first screen, the primary one.
TEST_F(HandleMoveAppTest, OnlyTheFirstScreenIsPrimary) {
    desktop.screens = {{0, 0, 1920, 1080}, {1920, 0, 1280, 1024}};
    for (const auto& [x, line] :
         {std::pair{100.0, "isPrimary=true"}, {2000.0, "isPrimary=false"}}) {
        for (const char* word : {"left", "right"}) {
            desktop.window(1)->frame = {x, 100, 800, 600};
            ASSERT_EQ(press(word, {}), 0);
            EXPECT_THAT(err(), HasSubstr(line)) << word << " from x=" << x;
        }
    }
}

}  // namespace
}  // namespace tarn::window
