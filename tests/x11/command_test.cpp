// The built tarn, and the desktop chooser, on the real X server of with-x11.sh.
#include <gtest/gtest.h>

#include "platform/desktop.h"
#include "tests/common/command_runner.h"
#include "tests/common/temp_dir.h"
#include "tests/x11/harness.h"

namespace tarn::x11test {
namespace {

using tarn::testing::runTarn;
using tarn::testing::ScopedEnv;
using tarn::testing::TempDir;

TEST(X11Command, HealthcheckIsHealthyOnTheRealServer) {
    TempDir home;
    auto app = startApp(home, {"--class", "Alpha"});
    auto result = runTarn({"healthcheck"}, home.path(), std::nullopt, {"DISPLAY=" + display()});
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "healthy\n");
    EXPECT_EQ(result.status, 0);
}

TEST(X11Command, HealthcheckOnAServerWithoutXTestCannotMoveTheMouse) {
    TempDir home;
    PrivateServer server({"-tst"});
    auto result =
        runTarn({"healthcheck"}, home.path(), std::nullopt, {"DISPLAY=" + server.display()});
    EXPECT_EQ(result.out, "cannotMoveMouse\n");
    EXPECT_EQ(result.status, 1);
}

TEST(X11Command, DisplayThatCannotBeOpenedIsNamed) {
    TempDir home;
    auto result = runTarn({"healthcheck"}, home.path(), std::nullopt, {"DISPLAY=:65000"});
    EXPECT_EQ(result.err,
              "ERROR: No desktop to work on: cannot open the X display \":65000\" named by "
              "DISPLAY\n");
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.status, 1);
}

TEST(X11DesktopChoice, X11WhenDisplayIsSetAndNoSimulatedDesktopIsNamed) {
    ScopedEnv noSim("TARN_SIM_DESKTOP", nullptr);
    auto choice = platform::openDesktop();
    ASSERT_TRUE(choice.desktop) << choice.error;
    EXPECT_EQ(choice.desktop->displays().activeDisplays().size(), 2u);
}

TEST(X11DesktopChoice, BrowserScriptsFailClearly) {
    auto choice = platform::openDesktop();
    ASSERT_TRUE(choice.desktop) << choice.error;
    auto result = choice.desktop->scripts().run("tell application \"x\" to activate");
    EXPECT_EQ(result.error,
              "no script runner on this platform (AppleScript is not available on Linux)");
}

}  // namespace
}  // namespace tarn::x11test
