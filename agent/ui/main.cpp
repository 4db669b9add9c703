// wendle: the hotkey agent. With a desktop it lives in the system tray and edits its rules in
// a settings window; `wendle --headless` runs the same agent without any window.
#include <QApplication>
#include <QSocketNotifier>
#include <QSystemTrayIcon>
#include <cstdlib>
#include <iostream>

#include "agent/agent_runtime.h"
#include "agent/ui/alerts.h"
#include "agent/ui/qt_scheduler.h"
#include "agent/ui/single_instance.h"
#include "agent/ui/symbols.h"
#include "agent/ui/wendle_app.h"
#include "agent/ui/window_access.h"

namespace {

using namespace tarn;
using namespace tarn::agent;

// The settings window's running applications are the observer's.
class ObservedApps final : public ui::RunningApps {
  public:
    explicit ObservedApps(AppObserver& observer) : observer_(observer) {}
    void refreshRunningApps() override { observer_.refreshRunningApps(); }
    std::vector<platform::AppInfo> runningApps() const override { return observer_.runningApps(); }

  private:
    AppObserver& observer_;
};

// Qt ends the process itself, with exit(1), when its connection to the X server breaks, and
// it may notice before the key source does. The agent still logs why and saves a pending
// change on the way out.
AgentRuntime* runningAgent = nullptr;

extern "C" void onExitWhileRunning() {
    if (!runningAgent) return;
    AgentRuntime* agent = std::exchange(runningAgent, nullptr);
    agent->appLog().error("The X server went away (the desktop's connection broke); Wendle stops");
    agent->delegate().prepareToQuit();
    agent->finish();
}

// Qt gives up with an abort when it finds no display; the agent says so first.
bool hasDisplay() {
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
        const char* value = std::getenv(name);
        if (value && *value) return true;
    }
    return false;
}

int runWithWindows(int argc, char** argv, InstanceLock lock) {
    QApplication app(argc, argv);
    app.setApplicationName("Wendle");
    // Closing the settings window leaves the agent in the tray.
    app.setQuitOnLastWindowClosed(false);
    app.setWindowIcon(ui::trayIcon());

    if (lock.result == InstanceLock::Result::heldByAnother) {
        // The running agent shows its settings window, when it has one.
        askToShowSettings(lock);
        return reportLockNotAcquired(lock);
    }

    ui::MessageBoxPresenter alerts;
    ui::QtScheduler scheduler;
    std::string error;
    auto runtime =
        AgentRuntime::open({.mainLoop = scheduler,
                            .endLoop = [](int status) { QCoreApplication::exit(status); },
                            .showInstructions =
                                [&alerts](const std::string& title, const std::string& text) {
                                    alerts.present({.style = ui::Alert::Style::informational,
                                                    .message = QString::fromStdString(title),
                                                    .informative = QString::fromStdString(text),
                                                    .buttons = {"OK"},
                                                    .link = {}});
                                },
                            .asksAboutLoginItem = true},
                           error);
    if (!runtime) {
        std::cerr << "wendle: " << error << '\n';
        return 1;
    }
    QSocketNotifier signalNotifier(runtime->signalFd(), QSocketNotifier::Read);
    QObject::connect(&signalNotifier, &QSocketNotifier::activated,
                     [&runtime] { runtime->readSignals(); });

    ObservedApps apps(runtime->observer());
    // Recording a saved location reads frames on the main thread, through a connection of
    // its own: none is shared with the key source's or the work queue's threads.
    platform::DesktopChoice uiDesktop = runtime->openDesktop();
    if (!uiDesktop.desktop) runtime->appLog().error(uiDesktop.error);
    ui::DesktopWindowAccess windows(uiDesktop.desktop.get());
    auto iconNames = runtime->backend().openAppIconNames();
    AppDelegate& delegate = runtime->delegate();
    ui::WendleApp wendle(
        runtime->appLog(), runtime->store(), apps, runtime->loginItem(), alerts,
        {.interceptorRunning = [&delegate] { return delegate.interceptor() != nullptr; },
         .startInterceptionIfPossible = [&delegate] { delegate.startInterceptionIfPossible(); },
         .requestPermissions = [&delegate] { delegate.requestPermissions(); },
         .quit = [&runtime] { runtime->quit(0); },
         .chordStatus = [&runtime] { return runtime->keys().chordStatus(); },
         .chordPass = [&runtime] { return runtime->keys().chordPass(); },
         .windows = &windows,
         .iconNames = iconNames.get()});
    ui::SingleInstance instance;
    if (lock.listening && instance.listen(lock.fd.get())) {
        QObject::connect(&instance, &ui::SingleInstance::showSettingsRequested, &wendle,
                         &ui::WendleApp::openSettings);
    }

    runningAgent = runtime.get();
    std::atexit(onExitWhileRunning);
    runtime->launch();
    wendle.launch(delegate.configFileExisted(), QSystemTrayIcon::isSystemTrayAvailable());
    int status = app.exec();
    runningAgent = nullptr;
    runtime->finish();
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    CommandLine line = parseCommandLine(argc, argv, true);
    if (line.exitStatus) return *line.exitStatus;
    InstanceLock lock = lockInstance();
    if (!lock.warning.empty()) std::cerr << "wendle: " << lock.warning << '\n';
    if (lock.result == InstanceLock::Result::failed) return reportLockNotAcquired(lock);
    if (line.headless) {
        if (lock.result != InstanceLock::Result::acquired) return reportLockNotAcquired(lock);
        return runHeadless(lock.listening ? lock.fd.get() : -1);
    }
    if (!hasDisplay()) {
        std::cerr << "wendle: no desktop to show the tray icon on (DISPLAY is not set); "
                     "wendle --headless runs without one\n";
        return 1;
    }
    return runWithWindows(argc, argv, std::move(lock));
}
