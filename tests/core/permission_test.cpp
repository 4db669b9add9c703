#include "core/permission.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/common/fake_desktop.h"

namespace tarn::keys {
namespace {

TEST(EnsureAccessibilityTrustedTest, UntrustedPromptsOnceAndPrintsInstructionsAndReason) {
    for (bool trusted : {true, false}) {
        testing::FakeDesktop desktop;
        desktop.trusted = trusted;
        desktop.untrusted = "the XTEST extension is missing";
        std::ostringstream out, err;
        CommandContext context(out, err, desktop);
        EXPECT_EQ(ensureAccessibilityTrusted(context), trusted);
        EXPECT_EQ(desktop.trustPrompts, trusted ? 0 : 1);
        EXPECT_EQ(out.str(), "");
        // Without a reason the last line is left out; the command tests check that form.
        EXPECT_EQ(err.str(),
                  trusted ? ""
                          : "\n\xE2\x9A\xA0\xEF\xB8\x8F  Accessibility permission required!\n"
                            "\nIf the permission dialog did not appear:\n"
                            "1. Open System Settings \xE2\x86\x92 Privacy & Security \xE2\x86\x92 "
                            "Accessibility\n"
                            "2. Click the lock icon to make changes\n"
                            "3. Click the '+' button and add the Stream Deck plugin's tarn binary\n"
                            "4. Enable the checkbox next to tarn\n"
                            "5. Run this command again\n\n"
                            "Reason: the XTEST extension is missing\n");
    }
}

}  // namespace
}  // namespace tarn::keys
