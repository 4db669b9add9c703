#pragma once

#include <QObject>
#include <functional>
#include <memory>
#include <vector>

#include "agent/config_store.h"
#include "agent/logger.h"
#include "agent/ui/running_apps.h"
#include "platform/app_events.h"
#include "platform/app_icons.h"
#include "platform/key_source.h"

class QTimer;

namespace tarn::agent::ui {

class AlertPresenter;
class WindowAccess;
class SettingsWindowController;
class StatusBarController;

// What the user interface asks of the rest of the agent (key interception and the
// permission check), handed in by the program's entry.
struct AgentHooks {
    std::function<bool()> interceptorRunning = [] { return true; };
    std::function<void()> startInterceptionIfPossible = [] {};
    std::function<void()> requestPermissions = [] {};
    std::function<void()> quit = [] {};
    // The key source's state per chord, for the rules table's warnings.
    std::function<std::vector<platform::ChordStatus>()> chordStatus = [] {
        return std::vector<platform::ChordStatus>{};
    };
    // What letting a bound chord through means on this desktop.
    std::function<platform::ChordPass()> chordPass = [] { return platform::ChordPass::replayed; };
    // The desktop's windows, for recording saved locations; none: nothing can be recorded.
    WindowAccess* windows = nullptr;
    // The icons the desktop's files name; none: only the icons windows publish.
    platform::AppIconNames* iconNames = nullptr;
};

// The agent's desktop presence: the tray menu and the settings window, wired to the store
// and to the hooks; and the launch steps that belong to them.
class WendleApp final : public QObject {
    Q_OBJECT
  public:
    static constexpr std::chrono::milliseconds kLoginQuestionDelay{500};
    static constexpr std::chrono::milliseconds kChordStatusPoll{1000};

    WendleApp(Logger log, ConfigStore& store, RunningApps& apps, platform::LoginItem& loginItem,
              AlertPresenter& alerts, AgentHooks hooks, QObject* parent = nullptr);
    ~WendleApp() override;

    // Shows the tray icon, or the settings window when the desktop has no tray; on a first
    // run (no configuration file before launch) asks, half a second later, whether to start
    // at login.
    void launch(bool configFileExisted, bool trayAvailable);
    // The tray's "Settings…": retries the interception when it is off, then shows the window.
    void openSettings();

    SettingsWindowController& settings() const { return *settings_; }
    StatusBarController& statusBar() const { return *statusBar_; }

  private:
    void showSettings();
    void promptForLoginItemOnFirstRun();
    void pollChordStatus();

    Logger log_;
    platform::LoginItem& loginItem_;
    AlertPresenter& alerts_;
    AgentHooks hooks_;
    SettingsWindowController* settings_ = nullptr;
    StatusBarController* statusBar_ = nullptr;
    QTimer* chordPoll_ = nullptr;
};

}  // namespace tarn::agent::ui
