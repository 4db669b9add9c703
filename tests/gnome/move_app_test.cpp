// `tarn move-app` as a user runs it on the private GNOME Shell of with-gnome.sh: 1920x1080 at
// 0,0 (primary) and 1280x1024 at 1920,0. Where the window went is read by the test probe
// extension, never through Tarn's own extension.
#include <gtest/gtest.h>

#include "tests/common/move_app_presses.h"
#include "tests/gnome/harness.h"

namespace tarn::gnometest {
namespace {

using tarn::testing::Press;
// The client's window has no decorations: its frame is its 800x605 buffer, put at home
// 100,100 before the first press.
const auto& kPresses = tarn::testing::kPressesOnUnequalScreens;

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
