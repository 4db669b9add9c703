#include "agent/app_delegate.h"

#include <filesystem>
#include <system_error>

namespace tarn::agent {
namespace {

#ifdef __APPLE__
constexpr const char* kNonFunctionalAdvice =
    "⚠️ User may need to remove and re-add Wendle in System Settings";
#else
constexpr const char* kNonFunctionalAdvice =
    "⚠️ User may need to start a window manager that supports EWMH, or use an X server with "
    "the XTEST extension";
#endif

}  // namespace

AppDelegate::AppDelegate(AgentParts parts)
    : parts_(std::move(parts)),
      log_(parts_.log, LogCategory::appDelegate),
      permissionsLog_(parts_.log, LogCategory::permissions),
      keysLog_(parts_.log, LogCategory::keystrokeInterceptor),
      watch_(
          parts_.mainLoop, [this] { return parts_.configStore.configURL(); },
          [this] { reloadConfiguration("the configuration file changed outside Wendle"); }) {}

void AppDelegate::applicationDidFinishLaunching() {
    log_.error("Wendle starting...");
    std::string error;
    if (!parts_.appObserver.start(error)) {
        log_.error("Cannot follow the frontmost application: " + error);
    }
    std::error_code ignored;
    configFileExisted_ = std::filesystem::exists(parts_.configStore.configURL(), ignored);
    parts_.configStore.loadAtLaunch();
    log_.error("Config loaded, rebuildingindex...");
    rulesChanged(parts_.configStore.config());
    parts_.configStore.setOnConfigChanged([this](const RootConfig& config) {
        watch_.ownSave(parts_.configStore.fileStamp());
        rulesChanged(config);
    });
    startInterceptionIfPossible();
    if (!configFileExisted_ && !parts_.asksAboutLoginItem) {
        // Whether to start at login is the settings window's question; headless, the agent
        // registers nothing on its own.
        log_.error("First run: starting at login is left off (no settings window to ask)");
    }
    watch_.start(parts_.configStore.fileStamp());
}

ProbeTarget AppDelegate::probeTarget(std::unique_ptr<platform::Desktop>& holder) {
    platform::DesktopChoice choice = parts_.openDesktop();
    holder = std::move(choice.desktop);
    return {holder.get(), choice.error, parts_.ownPid};
}

void AppDelegate::startInterceptionIfPossible() {
    std::unique_ptr<platform::Desktop> desktop;
    ProbeTarget target = probeTarget(desktop);
    AccessibilityHealth health = Permissions::accessibilityHealth(target, false, permissionsLog_);
    auto show = showInstructions();
    switch (health.kind) {
        case AccessibilityHealth::Kind::nonFunctional:
            log_.error("⚠️ Accessibility appears enabled but is non-functional: " +
                       std::string(Permissions::describe(health.error)));
            log_.error(kNonFunctionalAdvice);
            Permissions::promptForAccessibilityIfNeeded(target, permissionsLog_, show);
            return;
        case AccessibilityHealth::Kind::notTrusted:
            log_.error("⚠️ Accessibility not trusted, cannot start keystroke interception");
            Permissions::promptForAccessibilityIfNeeded(target, permissionsLog_, show);
            return;
        case AccessibilityHealth::Kind::working:
            break;
    }
    log_.error("✅ Accessibility working, starting keystroke interceptor...");
    log_.error("✅ Accessibility verified, starting keystroke interceptor...");
    auto interceptor = std::make_unique<KeystrokeInterceptor>(
        parts_.ruleEngine, parts_.appObserver, parts_.keySource, parts_.actions, parts_.log);
    std::string error;
    auto onLost = [this](const std::string& why) {
        // Called on the key source's thread; the agent ends from its main loop.
        parts_.mainLoop.schedule(std::chrono::milliseconds(0), [this, why] {
            if (parts_.onDisplayLost) parts_.onDisplayLost(why);
        });
    };
    if (!interceptor->start(onLost, error)) {
        log_.error(
            "❌ Failed to start keystroke interceptor: The event tap could not be "
            "created: " +
            error);
        return;
    }
    interceptor_ = std::move(interceptor);
    log_.error("✅ Keystroke interceptor started successfully");
}

Permissions::ShowInstructions AppDelegate::showInstructions() {
    if (parts_.showInstructions) return parts_.showInstructions;
    return Permissions::logInstructions(permissionsLog_);
}

void AppDelegate::requestPermissions() {
    std::unique_ptr<platform::Desktop> desktop;
    Permissions::promptForAccessibilityIfNeeded(probeTarget(desktop), permissionsLog_,
                                                showInstructions());
}

void AppDelegate::rulesChanged(const RootConfig& config) {
    parts_.ruleEngine.rebuildIndex(config);
    parts_.keySource.setChords(chordsOf(config));
    if (chordReport_) parts_.mainLoop.cancel(*chordReport_);
    chordReport_ = parts_.mainLoop.schedule(kChordReportDelay, [this] {
        chordReport_.reset();
        reportChords();
    });
}

void AppDelegate::reportChords() {
    std::set<platform::Chord> refused;
    for (const platform::ChordStatus& status : parts_.keySource.chordStatus()) {
        if (status.state == platform::ChordGrab::grabbed) continue;
        refused.insert(status.chord);
        if (refused_.contains(status.chord)) continue;  // said already
        KeyChord chord{status.chord.keyCode, {static_cast<std::int64_t>(status.chord.modifiers)}};
        if (status.state == platform::ChordGrab::takenByOther) {
            keysLog_.error("Hotkey " + chord.displayName() +
                           " is already taken by another program; it stays unbound");
        } else {
            keysLog_.error("Hotkey " + chord.displayName() +
                           " has no key on this keyboard; it stays unbound");
        }
    }
    refused_ = std::move(refused);
}

void AppDelegate::reloadConfiguration(const std::string& why) {
    log_.error("Reloading the configuration: " + why);
    // Read only: a file that does not decode (half written, perhaps) leaves the rules as
    // they are, and its next change is read again.
    ConfigLoad load = parts_.configStore.reload();
    watch_.ownSave(parts_.configStore.fileStamp());
    if (load.taken()) rulesChanged(parts_.configStore.config());
}

void AppDelegate::prepareToQuit() {
    if (interceptor_) interceptor_->stop();
    parts_.configStore.flushPendingSave();
}

}  // namespace tarn::agent
