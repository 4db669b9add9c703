#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>

#include "agent/app_observer.h"
#include "agent/config_store.h"
#include "agent/config_watch.h"
#include "agent/keystroke_interceptor.h"
#include "agent/permissions.h"
#include "agent/rule_engine.h"
#include "agent/scheduler.h"
#include "agent/window_actions.h"
#include "platform/key_source.h"

namespace tarn::agent {

// The long-lived parts the agent is made of, created by its entry and handed over here.
struct AgentParts {
    ConfigStore& configStore;
    AppObserver& appObserver;
    RuleEngine& ruleEngine;
    platform::KeySource& keySource;
    ActionHost& actions;
    Scheduler& mainLoop;
    LogSink& log;
    // Opens a desktop for the permission check, on the main thread (no connection is shared
    // with the work queue's).
    std::function<platform::DesktopChoice()> openDesktop;
    platform::Pid ownPid = 0;
    // The key source gave up for good (the display went away): the agent must end.
    std::function<void(const std::string& why)> onDisplayLost;
    // How the permission instructions reach the user: an alert where there is a window to
    // show it, the log otherwise (left empty).
    Permissions::ShowInstructions showInstructions{};
    // A settings window will ask on a first run whether to start at login.
    bool asksAboutLoginItem = false;
};

// The agent's start-up and life: loads the configuration, feeds it to the rule engine and
// the key source, checks that the desktop can be driven, starts the interceptor, and
// follows the configuration file for changes made outside the agent. Main thread only.
class AppDelegate {
  public:
    // How long after a new chord set the key source's verdict on it is read.
    static constexpr std::chrono::milliseconds kChordReportDelay{250};

    explicit AppDelegate(AgentParts parts);
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    void applicationDidFinishLaunching();
    void startInterceptionIfPossible();
    // Reads the file again (SIGHUP, or an edit made outside the agent); never writes it.
    void reloadConfiguration(const std::string& why);
    // Stops the key source and writes a configuration change that is still waiting.
    void prepareToQuit();
    // The permission check, and its instructions when something is missing.
    void requestPermissions();

    // Whether the configuration file was there before the launch loaded it.
    bool configFileExisted() const { return configFileExisted_; }

    KeystrokeInterceptor* interceptor() { return interceptor_.get(); }

  private:
    void rulesChanged(const RootConfig& config);
    void reportChords();
    ProbeTarget probeTarget(std::unique_ptr<platform::Desktop>& holder);
    Permissions::ShowInstructions showInstructions();

    AgentParts parts_;
    Logger log_;
    Logger permissionsLog_;
    Logger keysLog_;
    std::unique_ptr<KeystrokeInterceptor> interceptor_;
    ConfigWatch watch_;
    std::set<platform::Chord> refused_;
    std::optional<Scheduler::Ticket> chordReport_;
    bool configFileExisted_ = true;
};

}  // namespace tarn::agent
