#include "agent/permissions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/common/fake_desktop.h"

namespace tarn::agent {
namespace {

using ::testing::ElementsAreArray;
using ::testing::StartsWith;
using Kind = AccessibilityHealth::Kind;

constexpr int kCannotComplete = -25204;
constexpr int kNoValue = -25212;

struct ProbeCase {
    const char* name;
    bool trusted;
    int windowList;  // the test application's answer
    int focused;     // the system-wide answer
    bool testApp;    // whether another ordinary application with an identifier runs
    AccessibilityHealth expected;
    std::vector<std::string> lines;
};

TEST(Permissions, HealthFollowsTheTrustFlagAndTheProbe) {
    const std::string testing = "Testing accessibility against Other (PID: 20)";
    auto windows = [](const char* name) {
        return "AXUIElementCopyAttributeValue for windows returned: " + std::string(name) + ")";
    };
    const std::vector<ProbeCase> cases{
        {"not trusted",
         false,
         0,
         0,
         true,
         {Kind::notTrusted},
         {"AXIsProcessTrustedWithOptions returned: false", "Not trusted according to OS",
          "Reason: no XTEST"}},
        {"windows read",
         true,
         0,
         kNoValue,
         true,
         {Kind::working},
         {"AXIsProcessTrustedWithOptions returned: true", testing, windows("success"),
          "Probe accessibility returned: success", "Accessibility is working!"}},
        {"first error wins",
         true,
         kCannotComplete,
         kNoValue,
         true,
         {Kind::nonFunctional, kCannotComplete},
         {"AXIsProcessTrustedWithOptions returned: true", testing, windows("cannotComplete"),
          "Probe accessibility returned: cannotComplete",
          "Accessibility appears trusted but is non-functional!",
          "Error -25204: the X server refused a read of other applications' windows"}},
        {"focused element rescues",
         true,
         kCannotComplete,
         0,
         true,
         {Kind::working},
         {"AXIsProcessTrustedWithOptions returned: true", testing, windows("cannotComplete"),
          "Probe accessibility returned: success", "Accessibility is working!"}},
        {"disabled is final",
         true,
         platform::ax::apiDisabled,
         0,
         true,
         {Kind::nonFunctional, platform::ax::apiDisabled},
         {"AXIsProcessTrustedWithOptions returned: true", testing, windows("apiDisabled"),
          "Probe accessibility returned: apiDisabled",
          "Accessibility appears trusted but is non-functional!",
          "Error -25211: the X server does not let Wendle make input events (no XTEST "
          "extension)"}},
        {"no window manager",
         true,
         0,
         platform::ax::failure,
         false,
         {Kind::nonFunctional, platform::ax::failure},
         {"AXIsProcessTrustedWithOptions returned: true",
          "No suitable test app found, falling back to system-wide query",
          "Probe accessibility returned: failure",
          "Accessibility appears trusted but is non-functional!",
          "Error -25200: no window manager that supports EWMH is running, so other "
          "applications' windows cannot be found"}},
    };
    for (const ProbeCase& c : cases) {
        SCOPED_TRACE(c.name);
        testing::FakeDesktop desktop;
        desktop.trusted = c.trusted;
        desktop.untrusted = "no XTEST";
        desktop.focusedElement = c.focused;
        desktop.addApp(10, "org.self", "Wendle");  // the agent itself
        desktop.addApp(11, "org.bg", "Daemon").info.regularActivationPolicy = false;
        desktop.addApp(12, std::nullopt, "Nameless");  // no identifier
        if (c.testApp) desktop.addApp(20, "org.other", "Other").windowListError = c.windowList;
        MemoryLog log;
        ProbeTarget target{&desktop, "", 10};
        EXPECT_EQ(Permissions::accessibilityHealth(target, false, {log, LogCategory::permissions}),
                  c.expected);
        EXPECT_THAT(log.takeMessages(), ElementsAreArray(c.lines));
    }
}

TEST(Permissions, NoDesktopIsNotTrustedWithTheReason) {
    MemoryLog log;
    ProbeTarget target{nullptr, "DISPLAY is not set", 1};
    EXPECT_EQ(Permissions::accessibilityHealth(target, false, {log, LogCategory::permissions}).kind,
              Kind::notTrusted);
    EXPECT_EQ(log.takeMessages().back(), "Reason: DISPLAY is not set");
}

TEST(Permissions, DescribeNamesEveryCode) {
    EXPECT_EQ(Permissions::describe(0), "success");
    EXPECT_EQ(Permissions::describe(-25200), "failure");
    EXPECT_EQ(Permissions::describe(-25207), "notificationUnsupported");
    EXPECT_EQ(Permissions::describe(-25214), "notEnoughPrecision");
    EXPECT_EQ(Permissions::describe(-25215), "unknown");
    EXPECT_EQ(Permissions::describe(1), "unknown");
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
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_THAT(shown[0], StartsWith("Accessibility Permission Required|Accessibility appears "
                                     "enabled, but AX calls are failing (apiDisabled).\n\n"
                                     "Wendle needs Accessibility permission to capture "
                                     "keystrokes and control windows.\n\n"));
    desktop.trusted = false;
    desktop.trustPrompts = 0;
    Permissions::promptForAccessibilityIfNeeded({&desktop, "", 1}, logger, show);
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_THAT(shown[1], StartsWith("Accessibility Permission Required|Wendle needs"));
    EXPECT_EQ(desktop.trustPrompts, 1);  // the second check asks the system
}

}  // namespace
}  // namespace tarn::agent
