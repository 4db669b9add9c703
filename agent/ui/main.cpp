// wendle: the hotkey agent. With a desktop it lives in the system tray and edits its rules in
// a settings window; `wendle --headless` runs the same agent without any window.
#include <QApplication>
#include <QGuiApplication>
#include <QSystemTrayIcon>
#include <algorithm>
#include <cstring>
#include <filesystem>

#include "agent/config_store.h"
#include "agent/logger.h"
#include "agent/rule_engine.h"
#include "agent/ui/alerts.h"
#include "agent/ui/qt_scheduler.h"
#include "agent/ui/single_instance.h"
#include "agent/ui/symbols.h"
#include "agent/ui/wendle_app.h"
#include "agent/ui/window_access.h"
#include "platform/desktop.h"

namespace {

using namespace tarn;
using namespace tarn::agent;

// The running ordinary applications, by name, read from the desktop on each refresh.
class DesktopRunningApps final : public ui::RunningApps {
  public:
    explicit DesktopRunningApps(platform::Desktop* desktop) : desktop_(desktop) {}
    void refreshRunningApps() override {
        apps_.clear();
        if (!desktop_) return;
        try {
            for (auto& app : desktop_->windowSystem().runningApplications()) {
                if (app.regularActivationPolicy) apps_.push_back(app);
            }
        } catch (const platform::DesktopError&) {
            return;  // the desktop went away: nothing to offer
        }
        std::stable_sort(apps_.begin(), apps_.end(), [](const auto& a, const auto& b) {
            return a.localizedName.value_or("") < b.localizedName.value_or("");
        });
    }
    std::vector<platform::AppInfo> runningApps() const override { return apps_; }

  private:
    platform::Desktop* desktop_;
    std::vector<platform::AppInfo> apps_;
};

// Until the desktop's own login item is wired in: never registered, and says so.
class NoLoginItem final : public platform::LoginItem {
  public:
    platform::LoginItemStatus status() override { return platform::LoginItemStatus::notRegistered; }
    bool registerItem(std::string& error) override {
        error = "starting at login is not available in this build";
        return false;
    }
    bool unregisterItem(std::string& error) override { return registerItem(error); }
};

}  // namespace

int main(int argc, char** argv) {
    bool headless = std::any_of(
        argv + 1, argv + argc, [](const char* arg) { return std::strcmp(arg, "--headless") == 0; });
    std::unique_ptr<QCoreApplication> app;
    if (headless) {
        app = std::make_unique<QCoreApplication>(argc, argv);
    } else {
        auto gui = std::make_unique<QApplication>(argc, argv);
        // Closing the settings window leaves the agent in the tray.
        gui->setQuitOnLastWindowClosed(false);
        gui->setWindowIcon(ui::trayIcon());
        app = std::move(gui);
    }
    app->setApplicationName("Wendle");

    ui::SingleInstance instance(ui::SingleInstance::defaultSocketPath());
    if (instance.claim() == ui::SingleInstance::Role::another) return 0;

    SystemLog log;
    Logger appLog(log, LogCategory::appDelegate);
    appLog.error("Wendle starting...");
    ui::QtScheduler scheduler;
    ConfigStore store(scheduler, appLog);
    RuleEngine engine(Logger(log, LogCategory::ruleEngine));

    std::error_code error;
    bool configFileExisted = std::filesystem::exists(store.configURL(), error) || error;
    store.loadAtLaunch();
    appLog.error("Config loaded, rebuildingindex...");
    engine.rebuildIndex(store.config());
    store.setOnConfigChanged([&engine](const RootConfig& config) { engine.rebuildIndex(config); });
    if (headless) return app->exec();

    auto desktop = platform::openDesktop();
    if (!desktop.desktop) appLog.error(desktop.error);
    DesktopRunningApps apps(desktop.desktop.get());
    NoLoginItem loginItem;
    ui::MessageBoxPresenter alerts;
    ui::DesktopWindowAccess windows(desktop.desktop.get());
    ui::WendleApp wendle(appLog, store, apps, loginItem, alerts,
                         {.quit = [] { QCoreApplication::quit(); }, .windows = &windows});
    QObject::connect(&instance, &ui::SingleInstance::showSettingsRequested, &wendle,
                     &ui::WendleApp::openSettings);
    wendle.launch(configFileExisted, QSystemTrayIcon::isSystemTrayAvailable());
    return app->exec();
}
