// Pictures of the settings window in its main states, saved as test artifacts (PNG) in
// $TARN_UI_SHOTS_DIR, default ui-shots/ under the working directory, for a person to look at.
// The checks here are only that each picture was made.
#include <QApplication>
#include <QDir>
#include <QTest>

#include "agent/ui/app_rules_view.h"
#include "agent/ui/global_rules_view.h"
#include "agent/ui/rule_editor.h"
#include "agent/ui/saved_locations_editor.h"
#include "tests/agent/ui/ui_fixture.h"

using namespace tarn;
using namespace tarn::agent;
using namespace tarn::agent::ui;
using namespace tarn::testing;

namespace {

RootConfig demoConfig() {
    using Target = Action::MouseTarget;
    RootConfig config;
    for (auto [key, direction] : {std::pair{124, Dir::right},
                                  {123, Dir::left},
                                  {126, Dir::up},
                                  {125, Dir::down},
                                  {36, Dir::maximize}}) {
        config.globalRules.push_back(rule(key, 6, moveWindow(direction)));
    }
    config.globalRules.push_back(rule(
        17, 10, Action{Action::SendKeystrokeSequence{"{cmd}t{pause 100}hello{return}"}}, false));
    config.globalRules.push_back(
        rule(46, 6,
             Action{Action::MoveMouse{Target{Target::Screen{1}}, Action::MousePosition::center}}));
    config.globalRules[0].stateFilters = StateFilters{.alignLeftOnSecondary = false};
    config.globalRules[0].overrideTarn = Dir::right;
    SavedWindowLocation location{.frame = {100, 50, 900, 700}};
    SavedWindowLocation second{.frame = {2020.6, 80.2, 1200, 900}, .screenIndex = 1};
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

void save(QWidget* window, const QString& name) {
    QApplication::processEvents();
    QString dir = qEnvironmentVariable("TARN_UI_SHOTS_DIR", QDir::current().filePath("ui-shots"));
    QString path = QDir(dir).filePath(name + ".png");
    QVERIFY2(QDir().mkpath(dir) && window->grab().save(path), qPrintable(path));
}

}  // namespace

class ShotsTest : public QObject {
    Q_OBJECT
  private slots:
    void settingsWindow() {
        StoreFixture f(demoConfig());
        FakeRunningApps apps;
        auto id = [&](int i) { return f.store.config().globalRules[std::size_t(i)].id; };
        SettingsWindowController controller(f.store, apps);
        controller.show();
        controller.setChordStatus({{{125, 6}, platform::ChordGrab::takenByOther}});
        QWidget* window = controller.window();
        save(window, "settings-global-rules");
        GlobalRulesView* rules = controller.view()->globalRules();
        rules->selectRule(id(5));
        save(window, "settings-send-keystrokes");
        rules->selectRule(id(6));
        save(window, "settings-move-mouse");
        rules->selectRule(id(2));
        rules->editor()->findChild<QPushButton*>("record")->click();
        save(window, "settings-recording");

        controller.view()->select("org.demo.editor");
        save(window, "settings-app-rules");
        AppRulesView* app = controller.view()->appRules();
        app->selectRule(id(1));
        save(window, "settings-app-custom-filters");
        app->selectRule(id(2));
        save(window, "settings-app-rule-disabled");
        save(app->locations(), "saved-locations-editor");
        std::filesystem::create_directories(f.path());  // saving now fails
        f.store.update([](RootConfig& c) { c.globalRules.pop_back(); });
        f.scheduler.advance(ConfigStore::kSaveDelay);
        controller.view()->select(kGlobalSelection);
        save(window, "settings-save-failed");

        apps.apps = {{.pid = 1, .bundleID = "XTerm", .localizedName = "XTerm"},
                     {.pid = 2, .bundleID = "org.demo.editor", .localizedName = "Editor"},
                     {.pid = 3, .bundleID = std::nullopt, .localizedName = std::nullopt}};
        NoIcons icons;
        RunningAppPicker picker(apps, icons);
        picker.show();
        save(&picker, "running-app-picker");
    }
};

QTEST_MAIN(ShotsTest)
#include "shots_test.moc"
