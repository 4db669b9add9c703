#include <gtest/gtest.h>

#include <sstream>

#include "core/commands/mouse.h"
#include "tests/common/fake_desktop.h"

namespace tarn::commands {
namespace {

using platform::Point;

// Main, right (id 2) and left (id 3, negative x) screens: from the left they are 1, 3, 2.
class MoveMouseTest : public ::testing::Test {
  protected:
    MoveMouseTest() {
        desktop.screens = {{0, 0, 1920, 1080}, {1920, 0, 1000, 800}, {-1280, 0, 1280, 1024}};
        auto& app = desktop.addApp(100, "com.example.editor", "Editor");
        app.addWindow(7, {100, 100, 800, 600});
        app.focused = 7;
        desktop.frontmost = 100;
    }

    int run(const Args& args) { return moveMouse(args, context); }

    testing::FakeDesktop desktop;
    std::ostringstream out, err;
    CommandContext context{out, err, desktop};
};

struct WarpCase {
    Args args;
    Point to;
};

class MoveMouseWarpTest : public MoveMouseTest, public ::testing::WithParamInterface<WarpCase> {};

TEST_P(MoveMouseWarpTest, WarpsOnceToTheTargetPoint) {
    EXPECT_EQ(run(GetParam().args), 0);
    ASSERT_EQ(desktop.warps.size(), 1u);
    EXPECT_EQ(desktop.warps[0], GetParam().to);
    EXPECT_EQ(out.str(), "");
    EXPECT_EQ(err.str(), "");
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Targets, MoveMouseWarpTest,
    ::testing::Values(
        // The focused window at 100,100 sized 800x600.
        WarpCase{{}, {500, 400}}, WarpCase{{"home"}, {110, 110}}, WarpCase{{"center"}, {500, 400}},
        WarpCase{{"app", "home"}, {110, 110}}, WarpCase{{"app", "screen", "2"}, {500, 400}},
        // Screens from the left: 0 main, 1 the left one, 2 the right one, then around again.
        WarpCase{{"screen"}, {960, 540}}, WarpCase{{"screen", "x"}, {960, 540}},
        WarpCase{{"screen", "1"}, {-640, 512}}, WarpCase{{"screen", "+1", "home"}, {-1270, 10}},
        WarpCase{{"screen", "2", "home"}, {1930, 10}}, WarpCase{{"screen", "4"}, {-640, 512}},
        // Negative numbers count from the right-hand end; -2^63 is 1 modulo 3, without overflow.
        WarpCase{{"screen", "-1"}, {2420, 400}}, WarpCase{{"screen", "-2", "home"}, {-1270, 10}},
        WarpCase{{"screen", "-9223372036854775808"}, {-640, 512}},
        WarpCase{{"screen", "9223372036854775808"}, {960, 540}}));
// clang-format on

TEST_F(MoveMouseTest, ScreensWithTheSameLeftEdgeKeepTheDesktopsOrder) {
    desktop.screens = {{0, 0, 100, 100}, {500, 0, 10, 10}, {-50, 0, 10, 10}, {500, 50, 10, 10}};
    EXPECT_EQ(screensFromLeft(desktop), (std::vector<platform::DisplayId>{1, 3, 2, 4}));
}

struct MessageCase {
    const char* name;
    void (*setUp)(testing::FakeDesktop&);
    Args args;
    const char* out;
};

class MoveMouseMessageTest : public MoveMouseTest,
                             public ::testing::WithParamInterface<MessageCase> {};

TEST_P(MoveMouseMessageTest, PrintsOneLineAndEndsWithStatusZero) {
    GetParam().setUp(desktop);
    EXPECT_EQ(run(GetParam().args), 0);
    EXPECT_EQ(out.str(), GetParam().out);
    EXPECT_EQ(err.str(), "");
    EXPECT_TRUE(desktop.warps.empty());
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Failures, MoveMouseMessageTest,
    ::testing::Values(
        MessageCase{"CapitalsAreUnknown", [](auto&) {}, {"APP"},
                    "Unknown target: APP. Use 'app' or 'screen'.\n"},
        MessageCase{"OnlyTheLastPositionWordIsThePosition", [](auto&) {}, {"home", "home"},
                    "Unknown target: home. Use 'app' or 'screen'.\n"},
        MessageCase{"NoFrontmostApplication", [](auto& d) { d.frontmost.reset(); }, {},
                    "No frontmost application.\n"},
        MessageCase{"FocusedWindowReadFails", [](auto& d) { d.apps[0].focusedWindowError = -25204; },
                    {"app"}, "Could not get focused window (AX error -25204).\n"},
        MessageCase{"NoFocusedWindow", [](auto& d) { d.apps[0].focused.reset(); }, {},
                    "Could not get focused window (AX error -25212).\n"},
        MessageCase{"FrameUnreadable", [](auto& d) { d.apps[0].windows[0].frameReadable = false; },
                    {"home"}, "Could not get window position.\n"},
        MessageCase{"NoDisplays", [](auto& d) { d.screens.clear(); }, {"screen", "1"},
                    "No displays found.\n"}),
    [](const auto& info) { return std::string(info.param.name); });
// clang-format on

}  // namespace
}  // namespace tarn::commands
