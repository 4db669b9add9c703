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
using testing::moveWindow;
using testing::rule;
using Dir = Action::MoveDirection;

namespace {

RootConfig demoConfig() {
    using Target = Action::MouseTarget;
    RootConfig config;
    config.globalRules = {
        rule(124, 6, moveWindow(Dir::right)),
        rule(123, 6, moveWindow(Dir::left)),
        rule(126, 6, moveWindow(Dir::up)),
        rule(125, 6, moveWindow(Dir::down)),
        rule(36, 6, moveWindow(Dir::maximize)),
        rule(17, 10, Action{Action::SendKeystrokeSequence{"{cmd}t{pause 100}hello{return}"}},
             false),
        rule(46, 6,
             Action{Action::MoveMouse{Target{Target::Screen{1}}, Action::MousePosition::center}}),
    };
    config.globalRules[0].stateFilters = StateFilters{.alignLeftOnSecondary = false};
    config.globalRules[0].overrideTarn = Dir::right;
    SavedWindowLocation location{.frame = {100, 50, 900, 700}};
    SavedWindowLocation second{.frame = {2020.6, 80.2, 1200, 900}, .screenIndex = 1};
    config.appConfigs = {
        {.bundleID = "XTerm", .displayName = "XTerm", .savedLocations = {location}},
        {.bundleID = "org.demo.editor",
         .displayName = "Editor",
         .savedLocations = {location, second},
         .ruleOverrides = {{config.globalRules[2].id, {.enabled = false}},
                           {config.globalRules[1].id,
                            {.enabled = true,
                             .stateFilters = StateFilters{.fullWidthOnSecondary = false}}}}},
        {.bundleID = "org.demo.mail", .displayName = "Mail"},
    };
    return config;
}

void save(QWidget* window, const QString& name) {
    QApplication::processEvents();
    QString dir = qEnvironmentVariable("TARN_UI_SHOTS_DIR", QDir::current().filePath("ui-shots"));
    QDir().mkpath(dir);
    QString path = QDir(dir).filePath(name + ".png");
    QVERIFY2(window->grab().save(path), qPrintable(path));
    qInfo("saved %s", qPrintable(path));
}

}  // namespace

class ShotsTest : public QObject {
    Q_OBJECT
  private slots:
    void settingsWindow() {
        testing::StoreFixture f;
        testing::FakeRunningApps apps;
        f.store.setConfig(demoConfig());
        SettingsWindowController controller(f.store, apps);
        controller.show();
        controller.setChordStatus({{{125, 6}, platform::ChordGrab::takenByOther}});
        QWidget* window = controller.window();
        save(window, "settings-global-rules");

        GlobalRulesView* rules = controller.view()->globalRules();
        rules->selectRule(f.store.config().globalRules[5].id);
        save(window, "settings-send-keystrokes");
        rules->selectRule(f.store.config().globalRules[6].id);
        save(window, "settings-move-mouse");
        rules->selectRule(f.store.config().globalRules[2].id);
        rules->editor()->findChild<QPushButton*>("record")->click();
        save(window, "settings-recording");

        controller.view()->select("org.demo.editor");
        save(window, "settings-app-rules");
        AppRulesView* app = controller.view()->appRules();
        app->selectRule(f.store.config().globalRules[1].id);
        save(window, "settings-app-custom-filters");
        app->selectRule(f.store.config().globalRules[2].id);
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
        testing::NoIcons icons;
        RunningAppPicker picker(apps, icons);
        picker.show();
        save(&picker, "running-app-picker");
    }
};

QTEST_MAIN(ShotsTest)
#include "shots_test.moc"
