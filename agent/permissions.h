#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "agent/logger.h"
#include "platform/desktop.h"

namespace tarn::agent {

struct AccessibilityHealth {
    enum class Kind {
        notTrusted,     // the desktop does not let this process drive it at all
        working,        // allowed, and a real read of another application's windows worked
        nonFunctional,  // allowed on paper, but the read failed with `error`
    };
    Kind kind = Kind::notTrusted;
    int error = platform::ax::success;  // in the Accessibility numbering of platform::ax
    friend bool operator==(const AccessibilityHealth&, const AccessibilityHealth&) = default;
};

// What the probe looks at: the agent's desktop, or why none could be opened (no DISPLAY,
// the X server refused the connection), which counts as not trusted.
struct ProbeTarget {
    platform::Desktop* desktop = nullptr;
    std::string unavailable;
    platform::Pid ownPid = 0;
};

// Whether the agent may drive the desktop, and what to tell the user when it may not.
class Permissions {
  public:
    // Shows the instructions: a modal alert where there is a user interface, the log when
    // headless.
    using ShowInstructions = std::function<void(const std::string& title, const std::string& text)>;

    static AccessibilityHealth accessibilityHealth(const ProbeTarget& target, bool prompt,
                                                   Logger log);
    // The name of an Accessibility error code: "success", "apiDisabled", ... or "unknown".
    static std::string_view describe(int code);
    // What an error code means on this platform, for the user who has to fix it.
    static std::string_view explain(int code);
    static void promptForAccessibilityIfNeeded(const ProbeTarget& target, Logger log,
                                               const ShowInstructions& show);
    // The alert's informative text: the reason and an empty line when there is one, then
    // this platform's instructions.
    static std::string instructionsText(const std::string* reason);
    static ShowInstructions logInstructions(Logger log);

  private:
    static int probeAccessibilityFunctional(platform::Desktop& desktop, platform::Pid ownPid,
                                            Logger log);
};

}  // namespace tarn::agent
