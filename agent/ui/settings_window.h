#pragma once

#include <QDialog>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "agent/config_store.h"
#include "agent/ui/running_apps.h"
#include "agent/ui/settings_services.h"
#include "platform/key_source.h"

class QLabel;
class QListView;
class QPushButton;
class QStackedWidget;
class QToolButton;

namespace tarn::agent::ui {

class AppRulesView;
class ConfiguredAppsModel;
class GlobalRulesView;

// The sidebar selection that stands for the global rules.
inline constexpr const char* kGlobalSelection = "GLOBAL";

// "Choose a Running App": the running ordinary applications, read afresh each time it opens,
// one button-like row each; a click picks that application.
class RunningAppPicker final : public QDialog {
    Q_OBJECT
  public:
    RunningAppPicker(RunningApps& apps, AppIcons& icons, QWidget* parent = nullptr);
    std::optional<platform::AppInfo> picked() const { return picked_; }

  private:
    std::optional<platform::AppInfo> picked_;
};

// The settings window's content: the sidebar (configured applications, adding one, export
// and import) and the detail pane for its selection.
class SettingsView final : public QWidget {
    Q_OBJECT
  public:
    SettingsView(ConfigStore& store, RunningApps& apps, std::function<int()> screenCount,
                 SettingsServices services = {}, QWidget* parent = nullptr);
    ~SettingsView() override;

    const std::optional<std::string>& selection() const { return selection_; }
    void select(std::optional<std::string> bundleID);
    // Removes these applications with everything stored for them and shows the global rules.
    void deleteApps(const std::vector<std::string>& bundleIDs);
    // What a pick in the running-application picker does.
    void pickRunningApp(const platform::AppInfo& app);
    // The gear menu's two entries: each asks for a file, then exports to it or imports it,
    // telling the user how that went. Import returns the sidebar to the global rules.
    void exportSettings();
    void importSettings();
    void exportSettings(const QString& path);
    void importSettings(const QString& path);

    GlobalRulesView* globalRules() const { return globalRules_; }
    // The application pane on show, absent while none is.
    AppRulesView* appRules() const { return appRules_; }
    QListView* appList() const { return appList_; }
    QWidget* currentDetail() const;
    QPushButton* backButton() const { return back_; }
    QToolButton* gearButton() const { return gear_; }

  protected:
    void showEvent(QShowEvent* event) override;

  private:
    void refresh();
    void dropAppRules();
    void openPicker();

    ConfigStore& store_;
    ConfigStore::ListenerId listener_;
    RunningApps& apps_;
    SettingsServices services_;
    std::unique_ptr<AppIcons> ownIcons_;  // when none were handed in
    std::optional<std::string> selection_;
    ConfiguredAppsModel* appsModel_ = nullptr;
    QListView* appList_ = nullptr;
    QPushButton* back_ = nullptr;
    QToolButton* gear_ = nullptr;
    QLabel* saveError_ = nullptr;
    QStackedWidget* detail_ = nullptr;
    GlobalRulesView* globalRules_ = nullptr;
    AppRulesView* appRules_ = nullptr;
    QWidget* nothing_ = nullptr;
};

// Owns the one settings window: made on first show, hidden (not destroyed) when closed, so
// the next show brings back the same window with the same selection.
class SettingsWindowController final : public QObject {
    Q_OBJECT
  public:
    SettingsWindowController(ConfigStore& store, RunningApps& apps, SettingsServices services = {},
                             QObject* parent = nullptr);
    ~SettingsWindowController() override;

    void show();
    QWidget* window() const { return window_.get(); }
    SettingsView* view() const { return view_; }
    void setChordStatus(const std::vector<platform::ChordStatus>& status);
    void setChordPass(platform::ChordPass pass);

  private:
    ConfigStore& store_;
    RunningApps& apps_;
    SettingsServices services_;
    std::unique_ptr<QWidget> window_;
    SettingsView* view_ = nullptr;
};

}  // namespace tarn::agent::ui
