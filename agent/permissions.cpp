#include "agent/permissions.h"

#include <array>
#include <utility>

namespace tarn::agent {
namespace {

constexpr std::array<std::pair<int, std::string_view>, 16> kErrorNames{{
    {0, "success"},
    {-25200, "failure"},
    {-25201, "illegalArgument"},
    {-25202, "invalidUIElement"},
    {-25203, "invalidUIElementObserver"},
    {-25204, "cannotComplete"},
    {-25205, "attributeUnsupported"},
    {-25206, "actionUnsupported"},
    {-25207, "notificationUnsupported"},
    {-25208, "notImplemented"},
    {-25209, "notificationAlreadyRegistered"},
    {-25210, "notificationNotRegistered"},
    {-25211, "apiDisabled"},
    {-25212, "noValue"},
    {-25213, "parameterizedAttributeUnsupported"},
    {-25214, "notEnoughPrecision"},
}};

#ifdef __APPLE__
constexpr std::string_view kInstructions =
    "Wendle needs Accessibility permission to capture keystrokes and control windows.\n"
    "\n"
    "⚠️ IMPORTANT: If Wendle isn't working but is already in the Accessibility list:\n"
    "\n"
    "1. Open System Settings → Privacy & Security → Accessibility\n"
    "2. Remove Wendle from the list (click the '-' button)\n"
    "3. Re-add Wendle by clicking 'Request Accessibility Permission…' in the Wendle menu\n"
    "4. Quit Wendle completely\n"
    "5. Relaunch Wendle\n"
    "\n"
    "This is sometimes necessary after rebuilding, changing the run method (Xcode vs installed "
    "app),\n"
    "or moving the app on disk because macOS can treat it as a different application identity.";
#else
// Linux has no permission to grant: what stops the agent is a session it cannot reach (no
// display), an X server without the XTEST extension, or on GNOME's Wayland session the
// missing Shell extension through which alone windows and hotkeys are reached there.
constexpr std::string_view kInstructions =
    "Wendle needs Accessibility permission to capture keystrokes and control windows.\n"
    "\n"
    "⚠️ IMPORTANT: On Linux, Wendle works through the desktop of your session:\n"
    "\n"
    "1. Start Wendle inside your graphical session (DISPLAY or WAYLAND_DISPLAY is set)\n"
    "2. On GNOME's Wayland session, run `tarn-gnome-extension install` once, then log out "
    "and back in\n"
    "3. On X11, check that the X server offers the XTEST extension (xdpyinfo | grep XTEST)\n"
    "4. Quit Wendle completely\n"
    "5. Relaunch Wendle";
#endif

}  // namespace

std::string_view Permissions::describe(int code) {
    for (const auto& [value, name] : kErrorNames) {
        if (value == code) return name;
    }
    return "unknown";
}

std::string_view Permissions::explain(int code) {
    switch (code) {
        case platform::ax::success:
            return "the probe read another application's windows";
        case platform::ax::failure:
            return "no window manager that supports EWMH is running, so other applications' "
                   "windows cannot be found";
        case platform::ax::invalidElement:
            return "the windows of the application tested could not be read from the X server";
        case platform::ax::apiDisabled:
            return "the X server does not let Wendle make input events (no XTEST extension)";
        case platform::ax::noValue:
            return "the X server gave no answer for the focused window";
        default:
            return "the X server refused a read of other applications' windows";
    }
}

AccessibilityHealth Permissions::accessibilityHealth(const ProbeTarget& target, bool prompt,
                                                     Logger log) {
    bool trusted = target.desktop && target.desktop->accessibility().isTrusted(prompt);
    log.error(std::string("AXIsProcessTrustedWithOptions returned: ") +
              (trusted ? "true" : "false"));
    if (!trusted) {
        log.error("Not trusted according to OS");
        std::string why =
            target.desktop ? target.desktop->accessibility().untrustedReason() : target.unavailable;
        if (!why.empty()) log.error("Reason: " + why);
        return {AccessibilityHealth::Kind::notTrusted};
    }
    int error = probeAccessibilityFunctional(*target.desktop, target.ownPid, log);
    log.error("Probe accessibility returned: " + std::string(describe(error)));
    if (error == platform::ax::success) {
        log.error("Accessibility is working!");
        return {AccessibilityHealth::Kind::working};
    }
    log.error("Accessibility appears trusted but is non-functional!");
    log.error("Error " + std::to_string(error) + ": " + std::string(explain(error)));
    return {AccessibilityHealth::Kind::nonFunctional, error};
}

int Permissions::probeAccessibilityFunctional(platform::Desktop& desktop, platform::Pid ownPid,
                                              Logger log) {
    auto& windows = desktop.windowSystem();
    for (const platform::AppInfo& app : windows.runningApplications()) {
        if (app.pid == ownPid || !app.regularActivationPolicy || !app.bundleID) continue;
        log.error("Testing accessibility against " + app.localizedName.value_or("unknown") +
                  " (PID: " + std::to_string(app.pid) + ")");
        int first = windows.windowListError(app.pid);
        log.error("AXUIElementCopyAttributeValue for windows returned: " +
                  std::string(describe(first)) + ")");
        if (first == platform::ax::apiDisabled || first == platform::ax::success) return first;
        int second = windows.focusedElementError();
        if (second == platform::ax::apiDisabled || second == platform::ax::success) return second;
        return first;
    }
    log.error("No suitable test app found, falling back to system-wide query");
    return windows.focusedElementError();
}

std::string Permissions::instructionsText(const std::string* reason) {
    std::string text;
    if (reason) text = *reason + "\n\n";
    text += kInstructions;
    return text;
}

Permissions::ShowInstructions Permissions::logInstructions(Logger log) {
    return [log](const std::string& title, const std::string& text) {
        log.error(title);
        std::string_view rest = text;
        while (!rest.empty()) {
            auto end = rest.find('\n');
            log.error(rest.substr(0, end));
            if (end == std::string_view::npos) break;
            rest.remove_prefix(end + 1);
        }
    };
}

void Permissions::promptForAccessibilityIfNeeded(const ProbeTarget& target, Logger log,
                                                 const ShowInstructions& show) {
    AccessibilityHealth health = accessibilityHealth(target, false, log);
    constexpr const char* kTitle = "Accessibility Permission Required";
    switch (health.kind) {
        case AccessibilityHealth::Kind::nonFunctional: {
            std::string reason = "Accessibility appears enabled, but AX calls are failing (" +
                                 std::string(describe(health.error)) + ").";
            show(kTitle, instructionsText(&reason));
            break;
        }
        case AccessibilityHealth::Kind::notTrusted:
            show(kTitle, instructionsText(nullptr));
            accessibilityHealth(target, true, log);
            break;
        case AccessibilityHealth::Kind::working:
            break;
    }
}

}  // namespace tarn::agent
