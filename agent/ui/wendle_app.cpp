#include "agent/ui/wendle_app.h"

#include <QTimer>
#include <QWidget>

#include "agent/ui/alerts.h"
#include "agent/ui/platform_texts.h"
#include "agent/ui/settings_window.h"
#include "agent/ui/status_bar.h"

namespace tarn::agent::ui {

WendleApp::WendleApp(Logger log, ConfigStore& store, RunningApps& apps,
                     platform::LoginItem& loginItem, AlertPresenter& alerts, AgentHooks hooks,
                     QObject* parent)
    : QObject(parent), log_(log), loginItem_(loginItem), alerts_(alerts), hooks_(std::move(hooks)) {
    settings_ = new SettingsWindowController(
        store, apps, {.windows = hooks_.windows, .alerts = &alerts_, .iconNames = hooks_.iconNames},
        this);
    statusBar_ =
        new StatusBarController({.onOpenSettings = [this] { openSettings(); },
                                 .onRequestPermissions = [this] { hooks_.requestPermissions(); },
                                 .onQuit = [this] { hooks_.quit(); }},
                                loginItem_, alerts_, this);
    // The key source's verdicts change without telling anyone (another program may take or
    // release a key at any time): the open window asks again every second.
    chordPoll_ = new QTimer(this);
    chordPoll_->setInterval(kChordStatusPoll);
    connect(chordPoll_, &QTimer::timeout, this, &WendleApp::pollChordStatus);
}

WendleApp::~WendleApp() = default;

void WendleApp::launch(bool configFileExisted, bool trayAvailable) {
    if (trayAvailable) {
        statusBar_->show();
    } else {
        log_.error(std::string(platformTexts().noTray));
        // The launch has just tried the interception (and shown why it failed): the window
        // opens without a second try.
        showSettings();
    }
    if (!configFileExisted) promptForLoginItemOnFirstRun();
}

void WendleApp::openSettings() {
    if (!hooks_.interceptorRunning()) {
        log_.error("Interceptor not running, retrying startup...");
        hooks_.startInterceptionIfPossible();
    }
    showSettings();
}

void WendleApp::showSettings() {
    settings_->show();
    pollChordStatus();
    chordPoll_->start();
}

void WendleApp::pollChordStatus() {
    if (settings_->window() && !settings_->window()->isVisible()) {
        chordPoll_->stop();
        return;
    }
    settings_->setChordStatus(hooks_.chordStatus());
    settings_->setChordPass(hooks_.chordPass());
}

void WendleApp::promptForLoginItemOnFirstRun() {
    QTimer::singleShot(kLoginQuestionDelay, this, [this] {
        int answer = alerts_.present(
            {.style = Alert::Style::informational,
             .message = "Welcome to Wendle",
             .informative = "Would you like Wendle to start automatically when you log in?",
             .buttons = {"Start at Login", "Not Now"},
             .link = {}});
        if (answer != 0) return;
        std::string error;
        if (loginItem_.registerItem(error)) {
            log_.error("✅ Login item enabled on first run");
            statusBar_->buildMenu();
        } else {
            log_.error("❌ Failed to enable login item: " + error);
        }
    });
}

}  // namespace tarn::agent::ui
