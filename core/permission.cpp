#include "core/permission.h"

#include <ostream>

namespace tarn {

bool ensureAccessibilityTrusted(CommandContext& context) {
    auto& accessibility = context.desktop().accessibility();
    if (accessibility.isTrusted(/*prompt=*/true)) return true;
    context.err << "\n\u26a0\ufe0f  Accessibility permission required!\n"
                << "\nIf the permission dialog did not appear:\n"
                << "1. Open System Settings \u2192 Privacy & Security \u2192 Accessibility\n"
                << "2. Click the lock icon to make changes\n"
                << "3. Click the '+' button and add the Stream Deck plugin's tarn binary\n"
                << "4. Enable the checkbox next to tarn\n"
                << "5. Run this command again\n\n";
    // Platforms that know more than yes or no (no X display, no XTEST) say what is missing.
    if (auto reason = accessibility.untrustedReason(); !reason.empty()) {
        context.err << "Reason: " << reason << "\n";
    }
    return false;
}

}  // namespace tarn
