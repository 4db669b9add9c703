#pragma once

namespace tarn::testing {

// What every command that needs input permission prints on stderr when it is missing, before
// its own last words (and, where the platform knows one, a "Reason: ..." line).
inline constexpr const char* kPermissionInstructions =
    "\n\u26a0\ufe0f  Accessibility permission required!\n"
    "\nIf the permission dialog did not appear:\n"
    "1. Open System Settings \u2192 Privacy & Security \u2192 Accessibility\n"
    "2. Click the lock icon to make changes\n"
    "3. Click the '+' button and add the Stream Deck plugin's tarn binary\n"
    "4. Enable the checkbox next to tarn\n"
    "5. Run this command again\n\n";

}  // namespace tarn::testing
