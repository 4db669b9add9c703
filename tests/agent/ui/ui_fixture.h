#pragma once

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <memory>
#include <numeric>

#include "agent/config_store.h"
#include "agent/ui/alerts.h"
#include "agent/ui/running_apps.h"
#include "agent/ui/settings_services.h"
#include "agent/ui/settings_window.h"
#include "agent/ui/window_access.h"
#include "tests/agent/manual_scheduler.h"

namespace tarn::testing {

using Dir = agent::Action::MoveDirection;

// Every visible label's text, for "is this text on screen" checks.
inline QStringList visibleTexts(QWidget* root) {
    QStringList texts;
    for (auto* label : root->findChildren<QLabel*>())
        if (label->isVisibleTo(root)) texts << label->text();
    return texts;
}

template <typename Widget>
Widget* named(QWidget* root, const QString& name) {
    auto* found = root->findChild<Widget*>(name);
    if (!found) qFatal("no widget named %s", qPrintable(name));
    return found;
}

// The button or check box showing `text`.
template <typename Button = QPushButton>
Button* titled(QWidget* root, const QString& text) {
    for (auto* candidate : root->findChildren<Button*>())
        if (candidate->text() == text) return candidate;
    qFatal("nothing titled %s", qPrintable(text));
}

// A store on a hand-driven clock, saving into a temporary directory.
struct StoreFixture {
    QTemporaryDir dir;
    agent::DiscardLog log;
    ManualScheduler scheduler;
    agent::ConfigStore store{scheduler, agent::Logger(log, agent::LogCategory::appDelegate),
                             [this] { return path(); }};

    StoreFixture() = default;
    explicit StoreFixture(agent::RootConfig config) { store.setConfig(std::move(config)); }
    std::filesystem::path path() const {
        return std::filesystem::path(dir.path().toStdString()) / "wendle-config.json";
    }
};

inline agent::HotkeyRule rule(std::int64_t keyCode, std::int64_t modifiers, agent::Action action,
                              bool swallow = true) {
    return {.id = agent::Uuid::random(),
            .chord = {keyCode, {modifiers}},
            .action = std::move(action),
            .swallow = swallow};
}

inline agent::Action moveWindow(agent::Action::MoveDirection direction) {
    return agent::Action{agent::Action::MoveWindow{direction}};
}

// Rules of every kind and applications with saved locations and overrides of each sort.
inline agent::RootConfig demoConfig() {
    using agent::Action, agent::StateFilters;
    using Target = Action::MouseTarget;
    agent::RootConfig config;
    for (auto [key, direction] : {std::pair{124, Dir::right},
                                  {123, Dir::left},
                                  {126, Dir::up},
                                  {125, Dir::down},
                                  {36, Dir::maximize}})
        config.globalRules.push_back(rule(key, 6, moveWindow(direction)));
    config.globalRules.push_back(rule(
        17, 10, Action{Action::SendKeystrokeSequence{"{cmd}t{pause 100}hello{return}"}}, false));
    config.globalRules.push_back(
        rule(46, 6,
             Action{Action::MoveMouse{Target{Target::Screen{1}}, Action::MousePosition::center}}));
    config.globalRules[0].stateFilters = StateFilters{.alignLeftOnSecondary = false};
    config.globalRules[0].overrideTarn = Dir::right;
    agent::SavedWindowLocation location{.frame = {100, 50, 900, 700}};
    agent::SavedWindowLocation second{.frame = {2020.6, 80.2, 1200, 900}, .screenIndex = 1};
    auto id = [&](int i) { return config.globalRules[std::size_t(i)].id; };
    config.appConfigs = {
        {.bundleID = "XTerm", .displayName = "XTerm", .savedLocations = {location}},
        {.bundleID = "org.demo.editor",
         .displayName = "Editor",
         .savedLocations = {location, second},
         .ruleOverrides = {{id(2), {.enabled = false}},
                           {id(1), {true, StateFilters{.fullWidthOnSecondary = false}}}}},
        {.bundleID = "org.demo.mail", .displayName = "Mail"},
    };
    return config;
}

class FakeRunningApps final : public agent::ui::RunningApps {
  public:
    std::vector<platform::AppInfo> apps;
    int refreshes = 0;
    void refreshRunningApps() override { ++refreshes; }
    std::vector<platform::AppInfo> runningApps() const override { return apps; }
};

// One running application with windows of given frames, on given screens.
class FakeWindows final : public agent::ui::WindowAccess {
  public:
    std::string runningBundleID;
    std::vector<std::optional<platform::Rect>> frames;  // absent: its frame cannot be read
    bool sizeReadable = true;
    std::optional<platform::IconImage> published;  // the icon its first window publishes

    std::optional<platform::Pid> runningApp(const std::string& bundleID) override {
        return bundleID == runningBundleID ? std::optional<platform::Pid>(42) : std::nullopt;
    }
    std::vector<platform::WindowId> windows(platform::Pid) override {
        std::vector<platform::WindowId> ids(frames.size());
        std::iota(ids.begin(), ids.end(), 0);
        return ids;
    }
    std::optional<platform::Point> position(platform::WindowId w) override {
        return frames.at(w) ? std::optional(frames.at(w)->origin()) : std::nullopt;
    }
    std::optional<platform::Size> size(platform::WindowId w) override {
        return frames.at(w) && sizeReadable ? std::optional(frames.at(w)->size()) : std::nullopt;
    }
    std::vector<platform::Rect> screens() override {
        return {{0, 0, 1920, 1080}, {1920, 0, 1920, 1080}};
    }
    std::optional<platform::IconImage> windowIcon(platform::WindowId, int) override {
        return published;
    }
};

// Remembers every alert and gives the scripted answers, then the first button.
class RecordingAlerts final : public agent::ui::AlertPresenter {
  public:
    std::vector<agent::ui::Alert> shown;
    std::vector<int> answers;  // the n-th for the n-th alert
    int present(const agent::ui::Alert& alert) override {
        shown.push_back(alert);
        return shown.size() <= answers.size() ? answers[shown.size() - 1] : 0;
    }
    // Each alert's title, followed by ": " and its text when `informative`.
    QStringList texts(bool informative = false) const {
        QStringList list;
        for (const auto& a : shown) list << a.message + (informative ? ": " + a.informative : "");
        return list;
    }
};

class FakeFileDialogs final : public agent::ui::FileDialogs {
  public:
    std::optional<QString> answer;
    QString offeredName;
    std::optional<QString> saveFile(QWidget*, const QString& defaultName) override {
        offeredName = defaultName;
        return answer;
    }
    std::optional<QString> openFile(QWidget*) override { return answer; }
};

class NoIcons final : public agent::ui::AppIcons {
  public:
    QIcon icon(const std::string&) override { return {}; }
};

// The settings window's contents over a store holding `config`, shown, with every outside
// service faked.
struct SettingsFixture : StoreFixture {
    FakeRunningApps apps;
    FakeWindows windows;
    RecordingAlerts alerts;
    FakeFileDialogs files;
    NoIcons icons;
    std::unique_ptr<agent::ui::SettingsView> view;

    explicit SettingsFixture(agent::RootConfig config = {}) : StoreFixture(std::move(config)) {
        view = std::make_unique<agent::ui::SettingsView>(
            store, apps, [] { return 2; },
            agent::ui::SettingsServices{
                .windows = &windows, .alerts = &alerts, .files = &files, .icons = &icons});
        view->show();
    }
    std::optional<std::string> selection() const { return view->selection(); }
};

}  // namespace tarn::testing
