#include "agent/permissions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/common/fake_desktop.h"
#include "tests/common/golden.h"

namespace tarn::agent {
namespace {

using ::testing::StartsWith;
using Kind = AccessibilityHealth::Kind;

constexpr int kCannotComplete = -25204;
constexpr int kNoValue = -25212;

// The log of each case is in the golden file, a blank line after each.
TEST(Permissions, HealthFollowsTheTrustFlagAndTheProbe) {
    struct Case {
        bool trusted;
        int windowList;  // the test application's answer; 1: no test application runs
        int focused;     // the system-wide answer
        AccessibilityHealth expected;
    };
    const Case cases[] = {
        {false, 0, 0, {Kind::notTrusted}},
        {true, 0, kNoValue, {Kind::working}},
        // The first error wins, unless the focused element can be read after all.
        {true, kCannotComplete, kNoValue, {Kind::nonFunctional, kCannotComplete}},
        {true, kCannotComplete, 0, {Kind::working}},
        {true, platform::ax::apiDisabled, 0, {Kind::nonFunctional, platform::ax::apiDisabled}},
        {true, 1, platform::ax::failure, {Kind::nonFunctional, platform::ax::failure}},
    };
    std::string transcript;
    for (const Case& c : cases) {
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
        for (const std::string& line : log.takeMessages()) transcript += line + "\n";
        transcript += "\n";
    }
    EXPECT_EQ(transcript, testing::golden("agent/golden/probe_logs.txt"));
    MemoryLog log;
    ProbeTarget noDesktop{nullptr, "DISPLAY is not set", 1};
    EXPECT_EQ(Permissions::accessibilityHealth(noDesktop, false, {log, LogCategory::permissions}),
              AccessibilityHealth{Kind::notTrusted});
    EXPECT_EQ(log.takeMessages().back(), "Reason: DISPLAY is not set");
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
