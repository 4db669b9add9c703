#include "agent/permissions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/common/fake_desktop.h"

namespace tarn::agent {
namespace {

using ::testing::StartsWith;
using Kind = AccessibilityHealth::Kind;

constexpr int kCannotComplete = -25204;
constexpr int kNoValue = -25212;

TEST(Permissions, HealthFollowsTheTrustFlagAndTheProbe) {
    struct Case {
        bool trusted;
        int windowList;  // the test application's answer; 1: no test application runs
        int focused;     // the system-wide answer
        AccessibilityHealth expected;
        std::vector<std::string> lines;  // after the trust check's own line
    };
    const std::string testing = "Testing accessibility against Other (PID: 20)";
    const std::string windows = "AXUIElementCopyAttributeValue for windows returned: ";
    const std::string broken = "Accessibility appears trusted but is non-functional!";
    const std::string working = "Accessibility is working!";
    const Case cases[] = {
        {false, 0, 0, {Kind::notTrusted}, {"Not trusted according to OS", "Reason: no XTEST"}},
        {true,
         0,
         kNoValue,
         {Kind::working},
         {testing, windows + "success)", "Probe accessibility returned: success", working}},
        // The first error wins, unless the focused element can be read after all.
        {true,
         kCannotComplete,
         kNoValue,
         {Kind::nonFunctional, kCannotComplete},
         {testing, windows + "cannotComplete)", "Probe accessibility returned: cannotComplete",
          broken, "Error -25204: the X server refused a read of other applications' windows"}},
        {true,
         kCannotComplete,
         0,
         {Kind::working},
         {testing, windows + "cannotComplete)", "Probe accessibility returned: success", working}},
        {true,
         platform::ax::apiDisabled,
         0,
         {Kind::nonFunctional, platform::ax::apiDisabled},
         {testing, windows + "apiDisabled)", "Probe accessibility returned: apiDisabled", broken,
          "Error -25211: the X server does not let Wendle make input events (no XTEST "
          "extension)"}},
        {true,
         1,
         platform::ax::failure,
         {Kind::nonFunctional, platform::ax::failure},
         {"No suitable test app found, falling back to system-wide query",
          "Probe accessibility returned: failure", broken,
          "Error -25200: no window manager that supports EWMH is running, so other "
          "applications' windows cannot be found"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.lines.back());
        testing::FakeDesktop desktop;
        desktop.trusted = c.trusted;
        desktop.untrusted = "no XTEST";
        desktop.focusedElement = c.focused;
        desktop.addApp(10, "org.self", "Wendle");  // the agent itself
        desktop.addApp(11, "org.bg", "Daemon").info.regularActivationPolicy = false;
        desktop.addApp(12, std::nullopt, "Nameless");  // no identifier
        if (c.windowList != 1)
            desktop.addApp(20, "org.other", "Other").windowListError = c.windowList;
        MemoryLog log;
        ProbeTarget target{&desktop, "", 10};
        EXPECT_EQ(Permissions::accessibilityHealth(target, false, {log, LogCategory::permissions}),
                  c.expected);
        std::vector<std::string> lines{std::string("AXIsProcessTrustedWithOptions returned: ") +
                                       (c.trusted ? "true" : "false")};
        lines.insert(lines.end(), c.lines.begin(), c.lines.end());
        EXPECT_EQ(log.takeMessages(), lines);
    }
    MemoryLog log;
    ProbeTarget noDesktop{nullptr, "DISPLAY is not set", 1};
    EXPECT_EQ(Permissions::accessibilityHealth(noDesktop, false, {log, LogCategory::permissions}),
              AccessibilityHealth{Kind::notTrusted});
    EXPECT_EQ(log.takeMessages().back(), "Reason: DISPLAY is not set");
}

TEST(Permissions, DescribeNamesEveryCode) {
    const std::pair<int, const char*> cases[] = {{0, "success"},
                                                 {-25200, "failure"},
                                                 {-25207, "notificationUnsupported"},
                                                 {-25214, "notEnoughPrecision"},
                                                 {-25215, "unknown"},
                                                 {1, "unknown"}};
    for (const auto& [code, name] : cases) EXPECT_EQ(Permissions::describe(code), name);
}

TEST(Permissions, ThePromptExplainsAndAsksAgainWhenNotTrusted) {
    testing::FakeDesktop desktop;
    desktop.addApp(20, "org.other", "Other").windowListError = platform::ax::apiDisabled;
    MemoryLog log;
    std::vector<std::string> shown;
    auto show = [&](const std::string& title, const std::string& text) {
        shown.push_back(title + "|" + text);
    };
    Logger logger(log, LogCategory::permissions);
    Permissions::promptForAccessibilityIfNeeded({&desktop, "", 1}, logger, show);
    desktop.trusted = false;
    desktop.trustPrompts = 0;
    Permissions::promptForAccessibilityIfNeeded({&desktop, "", 1}, logger, show);
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_THAT(shown[0], StartsWith("Accessibility Permission Required|Accessibility appears "
                                     "enabled, but AX calls are failing (apiDisabled).\n\n"
                                     "Wendle needs Accessibility permission to capture "
                                     "keystrokes and control windows.\n\n"));
    EXPECT_THAT(shown[1], StartsWith("Accessibility Permission Required|Wendle needs"));
    EXPECT_EQ(desktop.trustPrompts, 1);  // the second check asks the system
}

}  // namespace
}  // namespace tarn::agent
