#include "core/keys/accessibility.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/fake_desktop.h"

namespace tarn::keys {
namespace {

TEST(EnsureAccessibilityTrustedTest, TrustedProcessPrintsNothing) {
    testing::FakeDesktop desktop;
    std::ostringstream out, err;
    commands::CommandContext context(out, err, desktop);
    EXPECT_TRUE(ensureAccessibilityTrusted(context));
    EXPECT_EQ(err.str(), "");
    EXPECT_EQ(desktop.trustPrompts, 0);
}

TEST(EnsureAccessibilityTrustedTest, UntrustedProcessPromptsAndPrintsInstructions) {
    testing::FakeDesktop desktop;
    desktop.trusted = false;
    std::ostringstream out, err;
    commands::CommandContext context(out, err, desktop);
    EXPECT_FALSE(ensureAccessibilityTrusted(context));
    EXPECT_EQ(desktop.trustPrompts, 1);
    EXPECT_EQ(err.str(),
              "\n\xE2\x9A\xA0\xEF\xB8\x8F  Accessibility permission required!\n"
              "\nIf the permission dialog did not appear:\n"
              "1. Open System Settings \xE2\x86\x92 Privacy & Security \xE2\x86\x92 "
              "Accessibility\n"
              "2. Click the lock icon to make changes\n"
              "3. Click the '+' button and add the Stream Deck plugin's tarn binary\n"
              "4. Enable the checkbox next to tarn\n"
              "5. Run this command again\n\n");
    EXPECT_EQ(out.str(), "");
}

TEST(EnsureAccessibilityTrustedTest, PlatformReasonFollowsTheInstructions) {
    testing::FakeDesktop desktop;
    desktop.trusted = false;
    desktop.untrusted = "the XTEST extension is missing";
    std::ostringstream out, err;
    commands::CommandContext context(out, err, desktop);
    EXPECT_FALSE(ensureAccessibilityTrusted(context));
    EXPECT_THAT(err.str(),
                ::testing::EndsWith("5. Run this command again\n\nReason: the XTEST extension is "
                                    "missing\n"));
}

}  // namespace
}  // namespace tarn::keys
