#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "agent/app_delegate.h"
#include "agent/app_observer.h"
#include "agent/config_store.h"
#include "agent/hosted_desktop.h"
#include "agent/instance_lock.h"
#include "agent/logger.h"
#include "agent/permissions.h"
#include "agent/rule_engine.h"
#include "agent/scheduler.h"
#include "agent/window_actions.h"
#include "core/context.h"
#include "platform/agent_services.h"
#include "platform/backend.h"

namespace tarn::agent {

// What the command line asks of wendle.
struct CommandLine {
    bool headless = false;
    // Set when the program ends at once: --help, --version, or a bad option.
    std::optional<int> exitStatus;
};
// `withWindows`: this build has the tray and settings window (--headless is then a choice).
CommandLine parseCommandLine(int argc, char** argv, bool withWindows);

// How the program's event loop serves the runtime.
struct RuntimeHost {
    Scheduler& mainLoop;
    // Makes the event loop return `status` (the runtime has already stopped the agent).
    std::function<void(int status)> endLoop;
    // Where the permission instructions go; empty: the log.
    Permissions::ShowInstructions showInstructions;
    bool asksAboutLoginItem = false;
};

// Everything the agent is made of, created in the order it needs, whatever event loop runs
// it: the desktop's services, the log, the desktop the actions use, the store, the rule
// engine, the observer and the delegate; and the signals SIGTERM, SIGINT (stop after
// saving a pending change) and SIGHUP (reload), which arrive through a pipe the event loop
// watches. Main thread only.
class AgentRuntime {
  public:
    // Null, with the reason, when the desktop offers no key source or application events.
    static std::unique_ptr<AgentRuntime> open(RuntimeHost host, std::string& error);
    ~AgentRuntime();
    AgentRuntime(const AgentRuntime&) = delete;
    AgentRuntime& operator=(const AgentRuntime&) = delete;

    // The event loop calls readSignals() whenever this can be read.
    int signalFd() const { return signalRead_.get(); }
    void readSignals();

    void launch() { delegate_->applicationDidFinishLaunching(); }
    // Stops the agent (a pending change is saved) and ends the event loop with `status`.
    void quit(int status);
    // After the event loop returned: pauses of a running keystroke sequence end, what is
    // queued is dropped, the log is written out.
    void finish();

    AppDelegate& delegate() { return *delegate_; }
    AppObserver& observer() { return observer_; }
    ConfigStore& store() { return store_; }
    platform::KeySource& keys() { return *services_.keys; }
    platform::LoginItem& loginItem() { return *services_.loginItem; }
    // The desktop backend chosen at launch, for whatever else opens its parts.
    const platform::Backend& backend() const { return backend_; }
    // A desktop of the caller's own (each call connects anew), opened as the agent's
    // actions open theirs.
    platform::DesktopChoice openDesktop() const;
    Logger appLog() const { return appLog_; }

  private:
    AgentRuntime(RuntimeHost host, platform::Backend backend, platform::AgentServices services,
                 Fd signalRead, Fd signalWrite);

    RuntimeHost host_;
    platform::Backend backend_;
    platform::AgentServices services_;
    Fd signalRead_;
    Fd signalWrite_;
    SystemLog log_;
    Logger appLog_;
    HostedDesktop desktop_;
    LogStream coreLog_;  // the core's diagnostics, for actions run in the agent
    CommandContext context_;
    std::string keysBuffer_;  // the session's: text kept from one keystroke action to the next
    ConfigStore store_;
    ActionHost actions_;
    RuleEngine engine_;
    AppObserver observer_;
    std::optional<AppDelegate> delegate_;
    bool finished_ = false;
};

// The agent without windows: the runtime on a poll() loop until a signal or a lost display
// ends it. Returns the exit status. `instanceSocket`: the single-instance lock's socket, when
// it is one; later launches that connect to it are let go at once.
int runHeadless(int instanceSocket = -1);

}  // namespace tarn::agent
