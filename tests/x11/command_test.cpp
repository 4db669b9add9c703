// The built tarn, and the desktop chooser, on the real X server of with-x11.sh.
#include <gtest/gtest.h>

#include <fstream>

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

// On X the browser handlers come from the desktop files, as xdg-mime sees them.
TEST(X11Command, BrowserDefaultFollowsTheDesktopFiles) {
    TempDir home;
    auto applications = home.path() / "data" / "applications";
    std::filesystem::create_directories(applications);
    std::ofstream(applications / "webby.desktop")
        << "[Desktop Entry]\nType=Application\nName=Webby\nExec=webby %u\n"
           "MimeType=x-scheme-handler/http;x-scheme-handler/https;\n";
    std::vector<std::string> env{"DISPLAY=" + display(),
                                 "XDG_DATA_HOME=" + (home.path() / "data").string(),
                                 "XDG_DATA_DIRS=" + (home.path() / "none").string()};
    auto set = runTarn({"browser-default", "set", "--bundle", "webby.desktop"}, home.path(),
                       std::nullopt, env);
    EXPECT_EQ(set.err, "");
    EXPECT_EQ(set.status, 0);
    auto current = runTarn({"browser-default", "current"}, home.path(), std::nullopt, env);
    EXPECT_NE(current.out.find("webby.desktop"), std::string::npos) << current.out;
    EXPECT_EQ(current.status, 0);
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
