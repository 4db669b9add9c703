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
        // A rule that lets its chord through, where the desktop keeps bound chords.
        controller.setChordPass(platform::ChordPass::retyped);
        save(window, "settings-chord-retyped");
        controller.setChordPass(platform::ChordPass::impossible);
        save(window, "settings-chord-impossible");
        controller.setChordPass(platform::ChordPass::replayed);
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
