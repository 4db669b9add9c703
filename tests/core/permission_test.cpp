#include "core/permission.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/common/fake_desktop.h"
#include "tests/common/permission_text.h"

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
        EXPECT_EQ(err.str(), trusted ? ""
                                     : std::string(testing::kPermissionInstructions) +
                                           "Reason: the XTEST extension is missing\n");
    }
}

}  // namespace
}  // namespace tarn::keys
