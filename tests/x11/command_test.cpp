// The built tarn, and the desktop chooser, on the real X server of with-x11.sh.
#include <gtest/gtest.h>

#include "platform/desktop.h"
#include "tests/support/command_runner.h"
#include "tests/support/temp_dir.h"
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

TEST(X11Command, MissingDisplayIsNamed) {
    TempDir home;
    auto result = runTarn({"healthcheck"}, home.path());
    EXPECT_EQ(result.err,
              "ERROR: No desktop to work on: DISPLAY is not set (and TARN_SIM_DESKTOP names no "
              "simulated desktop)\n");
    EXPECT_EQ(result.status, 1);
}

TEST(X11DesktopChoice, X11WhenDisplayIsSetAndNoSimulatedDesktopIsNamed) {
    ScopedEnv noSim("TARN_SIM_DESKTOP", nullptr);
    auto choice = platform::openDesktop();
    ASSERT_TRUE(choice.desktop) << choice.error;
    EXPECT_EQ(choice.desktop->displays().activeDisplays().size(), 2u);

    ScopedEnv garbage("DISPLAY", "not a display");
    auto refused = platform::openDesktop();
    EXPECT_EQ(refused.desktop, nullptr);
    EXPECT_EQ(refused.error,
              "No desktop to work on: cannot open the X display \"not a display\" named by "
              "DISPLAY");
}

TEST(X11DesktopChoice, PlaceholdersStandInForBrowsersAndScripts) {
    auto choice = platform::openDesktop();
    ASSERT_TRUE(choice.desktop) << choice.error;
    EXPECT_TRUE(choice.desktop->browsers().applicationsForScheme("https").empty());
    EXPECT_FALSE(choice.desktop->browsers().setDefault("firefox.desktop"));
    auto result = choice.desktop->scripts().run("tell application \"x\" to activate");
    EXPECT_EQ(result.error, "browser scripts are not available on this platform");
}

}  // namespace
}  // namespace tarn::x11test
