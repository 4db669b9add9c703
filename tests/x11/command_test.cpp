// The built tarn where the X server cannot be used: a display that cannot be opened, a bare
// server of the test's own without XTEST. (On the fixture's server the other tests run it.)
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/common/command_runner.h"
#include "tests/common/permission_text.h"
#include "tests/x11/harness.h"

namespace tarn::x11test {
namespace {

using tarn::testing::runTarn;
using tarn::testing::TempDir;

TEST(X11Command, AnUnopenableDisplayIsNamedAndWithoutXTestNothingIsDriven) {
    TempDir home;
    auto result = runTarn({"healthcheck"}, home.path(), std::nullopt, {"DISPLAY=:65000"});
    EXPECT_EQ(result.err,
              "ERROR: No desktop to work on: cannot open the X display \":65000\" named by "
              "DISPLAY\n");
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.status, 1);

    // A server without XTEST and RandR: the desktop opens, says why it may not drive anything,
    // and falls back to the root window as its one display; the commands that need input
    // refuse with the permission text, the reason and status 5, and store nothing.
    PrivateServer server("-tst -extension RANDR -screen 0 1280x800x24");
    auto choice = openDesktopOn(server.display());
    ASSERT_TRUE(choice.desktop) << choice.error;
    auto& desktop = *choice.desktop;
    EXPECT_FALSE(desktop.accessibility().isTrusted(true));
    EXPECT_FALSE(desktop.keyboard().canPost(0));
    EXPECT_FALSE(desktop.pointer().canCreateMouseEvent({0, 0}));
    for (bool down : {true, false}) desktop.keyboard().post({0, down, 0, {}});
    auto ids = desktop.displays().activeDisplays();
    ASSERT_EQ(ids.size(), 1u);
    EXPECT_EQ(desktop.displays().bounds(ids[0]), (Rect{0, 0, 1280, 800}));
    EXPECT_EQ(desktop.windowSystem().frontmostApplication(), std::nullopt);

    const std::vector<std::string> env{"DISPLAY=" + server.display()};
    auto health = runTarn({"healthcheck"}, home.path(), std::nullopt, env);
    EXPECT_EQ(health.out, "cannotMoveMouse\n");
    EXPECT_EQ(health.status, 1);

    const std::string reason = "Reason: the X server on display " + server.display() +
                               " lacks the XTEST extension, so no keyboard or mouse events can "
                               "be made\n";
    struct Refusal {
        std::vector<std::string> args;
        std::string before;  // what the command says before the instructions
        std::string after;   // and after the reason
    };
    const Refusal refusals[] = {
        {{"keys", "abc"}, "", "ERROR: Accessibility permission required to send keystrokes\n"},
        {{"move-app", "right"},
         "DEBUG: handleMoveApp called with direction: right, fromUserRule: false\n",
         "ERROR: Accessibility not trusted\n"},
        {{"move-mouse", "screen", "1"}, "", ""},
    };
    for (const auto& refusal : refusals) {
        SCOPED_TRACE(refusal.args[0]);
        auto result = runTarn(refusal.args, home.path(), std::nullopt, env);
        EXPECT_EQ(result.status, 5);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err,
                  refusal.before + tarn::testing::kPermissionInstructions + reason + refusal.after);
    }
    EXPECT_FALSE(std::filesystem::exists(home.path() / ".config" / "Tarn" / "state.json"));
}

}  // namespace
}  // namespace tarn::x11test
