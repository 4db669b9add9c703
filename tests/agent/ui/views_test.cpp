// The settings window's views on the offscreen platform: every control writes through the
// store, and the views redraw from what the store republishes.
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableView>
#include <QTest>

#include "agent/ui/global_rules_view.h"
#include "agent/ui/key_recorder.h"
#include "agent/ui/rule_editor.h"
#include "agent/ui/rules_model.h"
#include "agent/ui/settings_window.h"
#include "agent/ui/state_filters_editor.h"
#include "tests/agent/ui/ui_fixture.h"

using namespace tarn;
using namespace tarn::agent;
using namespace tarn::agent::ui;
using testing::button;
using testing::checkBox;
using testing::moveWindow;
using testing::named;
using testing::rule;
using testing::visibleTexts;
using Dir = Action::MoveDirection;

namespace {

struct RulesFixture : testing::StoreFixture {
    std::unique_ptr<GlobalRulesView> view;
    explicit RulesFixture(std::vector<HotkeyRule> rules = {}) {
        store.setConfig({.globalRules = std::move(rules)});
        view = std::make_unique<GlobalRulesView>(store, [] { return 2; });
        view->resize(700, 700);
        view->show();
    }
    const HotkeyRule& stored(std::size_t i = 0) const { return store.config().globalRules.at(i); }
    GlobalRuleEditPanel* editor() const { return view->editor(); }
};

}  // namespace

Q_DECLARE_METATYPE(tarn::agent::StateFilters)

class ViewsTest : public QObject {
    Q_OBJECT
  private slots:
    void firstRuleSelectedOnAppearance() {
        RulesFixture f({rule(124, 6, moveWindow(Dir::right)), rule(123, 6, moveWindow(Dir::left))});
        QCOMPARE(f.view->selectedRuleID(), f.stored(0).id);
        QVERIFY(f.editor());
        QVERIFY(visibleTexts(f.editor()).contains("Hotkey: ⌃⌥→"));
        QVERIFY(visibleTexts(f.editor()).contains("Key: → (code: 124)"));
    }

    void newRuleRowAndSelection() {
        RulesFixture f;
        QVERIFY(visibleTexts(f.view.get()).contains("Select a rule to edit."));
        QVERIFY(!button(f.view.get(), "Remove Selected")->isEnabled());
        QTest::mouseClick(button(f.view.get(), "Add Rule…"), Qt::LeftButton);
        QCOMPARE(f.store.config().globalRules.size(), 1u);
        const HotkeyRule& added = f.stored();
        QCOMPARE(added.chord, (KeyChord{40, {13}}));
        QCOMPARE(added.action, moveWindow(Dir::left));
        QVERIFY(added.swallow && !added.stateFilters && !added.overrideTarn);
        auto* model = f.view->model();
        QCOMPARE(model->index(0, 0).data().toString(), "⌥⇧⌘K");
        QCOMPARE(model->index(0, 1).data().toString(), "Move Window: left");
        QCOMPARE(model->index(0, 2).data(GlobalRulesModel::SwallowRole).toBool(), true);
        QCOMPARE(f.view->selectedRuleID(), added.id);
        QVERIFY(f.view->table()->selectionModel()->isRowSelected(0));
        QVERIFY(button(f.view.get(), "Remove Selected")->isEnabled());
        // A second one with the same chord is allowed, and becomes the selection.
        f.view->addGlobalRule();
        QCOMPARE(f.view->selectedRuleID(), f.stored(1).id);
        QVERIFY(f.view->table()->selectionModel()->isRowSelected(1));
    }

    void removeSelected_data() {
        QTest::addColumn<int>("rules");
        QTest::addColumn<int>("selected");
        QTest::newRow("the only rule") << 1 << 0;
        QTest::newRow("the last of three") << 3 << 2;
        QTest::newRow("the first of two") << 2 << 0;
    }
    // The rule goes; the first remaining rule is selected, or nothing when none is left.
    void removeSelected() {
        QFETCH(int, rules);
        QFETCH(int, selected);
        std::vector<HotkeyRule> list;
        for (int i = 0; i < rules; ++i) list.push_back(rule(i, 8, moveWindow(Dir::up)));
        RulesFixture f(list);
        f.view->selectRule(list[static_cast<std::size_t>(selected)].id);
        QTest::mouseClick(button(f.view.get(), "Remove Selected"), Qt::LeftButton);
        QCOMPARE(f.store.config().globalRules.size(), static_cast<std::size_t>(rules - 1));
        for (const auto& left : f.store.config().globalRules) {
            QVERIFY(left.id != list[static_cast<std::size_t>(selected)].id);
        }
        if (rules == 1) {
            QVERIFY(!f.view->selectedRuleID());
            QVERIFY(!f.editor());
            QVERIFY(visibleTexts(f.view.get()).contains("Select a rule to edit."));
            QVERIFY(!button(f.view.get(), "Remove Selected")->isEnabled());
        } else {
            QCOMPARE(f.view->selectedRuleID(), f.stored(0).id);
        }
    }

    void ruleDeletedElsewhere() {
        RulesFixture f({rule(0, 8, moveWindow(Dir::up))});
        f.store.setConfig({});
        QVERIFY(visibleTexts(f.view.get()).contains("Select a rule to edit."));
    }

    // Recording takes the next key as it is, Escape and Return too, and only its code.
    void recording_data() {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("shown");
        QTest::newRow("Escape") << int(Qt::Key_Escape) << 0 << 53 << "Hotkey: ⌃⌥Esc";
        QTest::newRow("Return") << int(Qt::Key_Return) << 0 << 36 << "Hotkey: ⌃⌥Return";
        QTest::newRow("Tab") << int(Qt::Key_Tab) << 0 << 48 << "Hotkey: ⌃⌥Tab";
        QTest::newRow("Cmd+K: the key only")
            << int(Qt::Key_K) << int(Qt::MetaModifier) << 40 << "Hotkey: ⌃⌥K";
        QTest::newRow("F5") << int(Qt::Key_F5) << 0 << 96 << "Hotkey: ⌃⌥F5";
    }
    void recording() {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(int, code);
        QFETCH(QString, shown);
        RulesFixture f({rule(124, 6, moveWindow(Dir::right))});
        QPushButton* record = named<QPushButton>(f.editor(), "record");
        QCOMPARE(record->text(), "Record");
        QTest::mouseClick(record, Qt::LeftButton);
        QCOMPARE(record->text(), "Press a key…");
        QVERIFY(f.editor()->isRecording());
        auto* recorder = f.editor()->findChild<KeyRecorder*>();
        // A modifier pressed alone is not a key: still waiting.
        QTest::keyClick(recorder, Qt::Key_Shift);
        QVERIFY(f.editor()->isRecording());
        QTest::keyClick(recorder, Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        QVERIFY(!f.editor()->isRecording());
        QCOMPARE(record->text(), "Record");
        QCOMPARE(f.stored().chord, (KeyChord{code, {6}}));
        QVERIFY(visibleTexts(f.editor()).contains(shown));
    }

    void recordingCancelledByTheButtonOnly() {
        RulesFixture f({rule(124, 6, moveWindow(Dir::right))});
        QPushButton* record = named<QPushButton>(f.editor(), "record");
        QTest::mouseClick(record, Qt::LeftButton);
        QTest::mouseClick(record, Qt::LeftButton);
        QVERIFY(!f.editor()->isRecording());
        QCOMPARE(f.stored().chord.keyCode, 124);
    }

    // With recording off, keys reach the normal widgets: the sequence field takes text.
    void typingElsewhereWhileNotRecording() {
        RulesFixture f({rule(0, 8, Action{Action::SendKeystrokeSequence{}})});
        auto* field = named<QLineEdit>(f.editor(), "sequence");
        QCOMPARE(field->placeholderText(), "Keystroke Sequence");
        field->setFocus();
        QTest::keyClicks(field, "{cmd}v");
        QTest::keyClick(field, Qt::Key_Escape);
        QCOMPARE(field->text(), "{cmd}v");
        QCOMPARE(f.stored().action, (Action{Action::SendKeystrokeSequence{"{cmd}v"}}));
        QCOMPARE(f.view->model()->index(0, 1).data().toString(), "Send: {cmd}v");
    }

    void modifierBoxes_data() {
        QTest::addColumn<QString>("box");
        QTest::addColumn<int>("bit");
        QTest::newRow("control") << "⌃ Control" << 2;
        QTest::newRow("option") << "⌥ Option" << 4;
        QTest::newRow("shift") << "⇧ Shift" << 1;
        QTest::newRow("command") << "⌘ Command" << 8;
    }
    void modifierBoxes() {
        QFETCH(QString, box);
        QFETCH(int, bit);
        RulesFixture f({rule(40, 0, moveWindow(Dir::left))});
        QCheckBox* check = checkBox(f.editor(), box);
        QVERIFY(!check->isChecked());
        check->click();
        QCOMPARE(f.stored().chord.modifiers.rawValue, bit);
        check->click();
        QCOMPARE(f.stored().chord.modifiers.rawValue, 0);
        // Bits the boxes do not show are kept.
        f.store.update([](RootConfig& c) { c.globalRules[0].chord.modifiers.rawValue = 15 | 64; });
        QVERIFY(check->isChecked());
        check->click();
        QCOMPARE(f.stored().chord.modifiers.rawValue, (15 | 64) & ~bit);
    }

    // Each segment starts its kind afresh, dropping the old parameters.
    void actionSegments_data() {
        QTest::addColumn<QString>("segment");
        QTest::addColumn<QString>("rendered");
        QTest::newRow("move window") << "MoveWindow"
                                     << "Move Window: left";
        QTest::newRow("send keystrokes") << "SendKeystrokes"
                                         << "Send: ";
        QTest::newRow("move mouse") << "MoveMouse"
                                    << "Move Mouse: App, Center";
    }
    void actionSegments() {
        QFETCH(QString, segment);
        QFETCH(QString, rendered);
        RulesFixture f({rule(0, 8, moveWindow(Dir::down))});
        f.store.update([](RootConfig& c) {
            c.globalRules[0].action = Action{Action::SendKeystrokeSequence{"old"}};
        });
        named<QPushButton>(f.editor(), segment)->click();
        QCOMPARE(f.view->model()->index(0, 1).data().toString(), rendered);
    }

    void directionPicker() {
        RulesFixture f({rule(124, 6, moveWindow(Dir::right))});
        auto* direction = named<QComboBox>(f.editor(), "Direction");
        QStringList items;
        for (int i = 0; i < direction->count(); ++i) items << direction->itemText(i);
        QCOMPARE(items, QStringList({"Left", "Right", "Up", "Down", "Maximize"}));
        QCOMPARE(direction->currentText(), "Right");
        auto* filters = f.editor()->findChild<StateFiltersEditor*>();
        QVERIFY(filters->isVisibleTo(f.editor()) && f.editor()->isHorizontalAction());
        f.store.update([](RootConfig& c) {
            c.globalRules[0].stateFilters = StateFilters{.fullWidthOnPrimary = false};
        });
        // Up hides the filters block; the stored filters stay.
        direction->activated(2);
        QCOMPARE(f.stored().action, moveWindow(Dir::up));
        QVERIFY(!filters->isVisibleTo(f.editor()) && !f.editor()->isHorizontalAction());
        QVERIFY(!visibleTexts(f.editor()).contains("State Filters"));
        QCOMPARE(f.stored().stateFilters, (StateFilters{.fullWidthOnPrimary = false}));
        direction->activated(0);
        QVERIFY(filters->isVisibleTo(f.editor()));
    }

    // The first change stores all six flags: five true and the changed one.
    void firstFilterChange_data() {
        QTest::addColumn<QString>("box");
        QTest::addColumn<StateFilters>("stored");
        QTest::newRow("align left primary")
            << "AlignLeftPrimary" << StateFilters{.alignLeftOnPrimary = false};
        QTest::newRow("full width secondary")
            << "FullWidthSecondary" << StateFilters{.fullWidthOnSecondary = false};
        QTest::newRow("align right primary")
            << "AlignRightPrimary" << StateFilters{.alignRightOnPrimary = false};
    }
    void firstFilterChange() {
        QFETCH(QString, box);
        QFETCH(StateFilters, stored);
        RulesFixture f({rule(123, 6, moveWindow(Dir::left))});
        QVERIFY(!f.stored().stateFilters);
        auto* check = named<QCheckBox>(f.editor(), box);
        QVERIFY(check->isChecked());
        check->click();
        QCOMPARE(f.stored().stateFilters, std::optional(stored));
        check->click();
        QCOMPARE(f.stored().stateFilters, std::optional(StateFilters{}));
    }

    void mousePickers() {
        RulesFixture f({rule(0, 8, moveWindow(Dir::left))});
        named<QPushButton>(f.editor(), "MoveMouse")->click();
        auto* target = named<QComboBox>(f.editor(), "Target");
        auto* screen = named<QComboBox>(f.editor(), "Screen");
        auto* position = named<QComboBox>(f.editor(), "Position");
        QCOMPARE(target->width(), 120);
        QCOMPARE(position->width(), 150);
        QVERIFY(!screen->isVisibleTo(f.editor()));
        target->activated(1);
        QCOMPARE(f.view->model()->index(0, 1).data().toString(), "Move Mouse: Screen 0, Center");
        QVERIFY(screen->isVisibleTo(f.editor()));
        QCOMPARE(screen->count(), 2);  // two screens attached
        QCOMPARE(screen->itemText(1), "Screen 1");
        screen->activated(1);
        position->activated(0);
        QCOMPARE(f.view->model()->index(0, 1).data().toString(),
                 "Move Mouse: Screen 1, Upper Corner");
        target->activated(0);
        QCOMPARE(f.view->model()->index(0, 1).data().toString(), "Move Mouse: App, Upper Corner");
    }

    void swallowAndOverride() {
        RulesFixture f({rule(0, 8, moveWindow(Dir::left))});
        checkBox(f.editor(), "Swallow Key (prevent system from seeing it)")->click();
        QCOMPARE(f.stored().swallow, false);
        auto* override = named<QComboBox>(f.editor(), "Override Tarn");
        QStringList items;
        for (int i = 0; i < override->count(); ++i) items << override->itemText(i);
        QCOMPARE(items, QStringList({"(not set)", "Left", "Right", "Up", "Down"}));
        QCOMPARE(override->toolTip(),
                 "Use this rule and app-specific customizations when calling from Tarn or Calvex.");
        override->activated(4);
        QCOMPARE(f.stored().overrideTarn, std::optional(Dir::down));
        override->activated(0);
        QVERIFY(!f.stored().overrideTarn);
    }

    void recordedKeyCodes_data() {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<int>("code");
        QTest::newRow("A") << int(Qt::Key_A) << 0 << 0;
        QTest::newRow("Z") << int(Qt::Key_Z) << 0 << 6;
        QTest::newRow("1") << int(Qt::Key_1) << 0 << 18;
        QTest::newRow("! is the 1 key") << int(Qt::Key_Exclam) << int(Qt::ShiftModifier) << 18;
        QTest::newRow("{ is the [ key") << int(Qt::Key_BraceLeft) << int(Qt::ShiftModifier) << 33;
        QTest::newRow("period") << int(Qt::Key_Period) << 0 << 47;
        QTest::newRow("grave") << int(Qt::Key_QuoteLeft) << 0 << 50;
        QTest::newRow("space") << int(Qt::Key_Space) << 0 << 49;
        QTest::newRow("backspace") << int(Qt::Key_Backspace) << 0 << 51;
        QTest::newRow("forward delete") << int(Qt::Key_Delete) << 0 << 117;
        QTest::newRow("left arrow") << int(Qt::Key_Left) << 0 << 123;
        QTest::newRow("page down") << int(Qt::Key_PageDown) << 0 << 121;
        QTest::newRow("F20") << int(Qt::Key_F20) << 0 << 90;
        QTest::newRow("keypad 7") << int(Qt::Key_7) << int(Qt::KeypadModifier) << 89;
        QTest::newRow("keypad enter") << int(Qt::Key_Enter) << int(Qt::KeypadModifier) << 76;
        QTest::newRow("keypad minus") << int(Qt::Key_Minus) << int(Qt::KeypadModifier) << 78;
        QTest::newRow("volume up") << int(Qt::Key_VolumeUp) << 0 << 72;
        QTest::newRow("shift alone") << int(Qt::Key_Shift) << 0 << -1;
        QTest::newRow("unknown key") << int(Qt::Key_Launch0) << 0 << -1;
    }
    void recordedKeyCodes() {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(int, code);
        auto recorded = recordedKeyCode(key, Qt::KeyboardModifiers(modifiers));
        QCOMPARE(recorded ? int(*recorded) : -1, code);
    }

    // Settings window and sidebar.
    void windowReusedWithItsSelection() {
        testing::StoreFixture f;
        testing::FakeRunningApps apps;
        f.store.setConfig(
            {.appConfigs = {{.bundleID = "org.demo.editor", .displayName = "Editor"}}});
        SettingsWindowController controller(f.store, apps);
        controller.show();
        QWidget* window = controller.window();
        QCOMPARE(window->windowTitle(), "Calvex Settings");
        QCOMPARE(window->size(), QSize(900, 750));
        // The list takes the focus and a current row as the window appears; that chooses
        // nothing.
        QVERIFY(QTest::qWaitForWindowActive(window));
        QApplication::processEvents();
        QCOMPARE(controller.view()->selection(), std::optional<std::string>(kGlobalSelection));
        QCOMPARE(controller.view()->currentDetail(), controller.view()->globalRules());
        QVERIFY(!controller.view()->backButton()->isVisibleTo(window));
        controller.view()->select("org.demo.editor");
        QVERIFY(controller.view()->backButton()->isVisibleTo(window));
        QCOMPARE(controller.view()->backButton()->text(), "Back to Global");
        QPoint where = window->pos();
        window->close();
        QVERIFY(!window->isVisible());
        controller.show();
        QCOMPARE(controller.window(), window);
        QVERIFY(window->isVisible());
        QCOMPARE(window->pos(), where);
        QCOMPARE(controller.view()->selection(), std::optional<std::string>("org.demo.editor"));
        QTest::mouseClick(controller.view()->backButton(), Qt::LeftButton);
        QCOMPARE(controller.view()->selection(), std::optional<std::string>(kGlobalSelection));
    }

    void sidebarSelection_data() {
        QTest::addColumn<QString>("selection");
        QTest::addColumn<QString>("detail");
        QTest::newRow("global") << "GLOBAL"
                                << "global";
        QTest::newRow("an application") << "org.demo.editor"
                                        << "app";
        QTest::newRow("a removed application") << "org.demo.gone"
                                               << "Select an item.";
    }
    void sidebarSelection() {
        QFETCH(QString, selection);
        QFETCH(QString, detail);
        testing::StoreFixture f;
        testing::FakeRunningApps apps;
        f.store.setConfig(
            {.appConfigs = {{.bundleID = "org.demo.editor", .displayName = "Editor"}}});
        SettingsView view(f.store, apps, [] { return 1; });
        view.show();
        view.select(selection.toStdString());
        QWidget* shown = view.currentDetail();
        if (detail == "global") {
            QCOMPARE(shown, view.globalRules());
        } else if (detail == "app") {
            QVERIFY(visibleTexts(shown).contains("Editor"));
            QVERIFY(view.appList()->selectionModel()->isRowSelected(0));
        } else {
            QCOMPARE(qobject_cast<QLabel*>(shown)->text(), detail);
        }
    }

    void deleteSelectedAppReturnsToGlobal() {
        testing::StoreFixture f;
        testing::FakeRunningApps apps;
        f.store.setConfig({.appConfigs = {{.bundleID = "org.demo.a", .displayName = "A"},
                                          {.bundleID = "org.demo.b", .displayName = "B"}}});
        SettingsView view(f.store, apps, [] { return 1; });
        view.show();
        view.select("org.demo.b");
        view.appList()->setFocus();
        QTest::keyClick(view.appList(), Qt::Key_Delete);
        QCOMPARE(f.store.config().appConfigs.size(), 1u);
        QCOMPARE(f.store.config().appConfigs[0].bundleID, "org.demo.a");
        QCOMPARE(view.selection(), std::optional<std::string>(kGlobalSelection));
        QCOMPARE(view.currentDetail(), view.globalRules());
    }

    void pickRunningApp_data() {
        QTest::addColumn<QString>("bundleID");
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("apps");
        QTest::addColumn<QString>("selected");
        QTest::addColumn<QString>("storedName");
        QTest::newRow("new") << "org.demo.new"
                             << "New" << 2 << "org.demo.new"
                             << "New";
        QTest::newRow("already configured") << "org.demo.editor"
                                            << "Editor 2" << 1 << "org.demo.editor"
                                            << "Editor 2";
        QTest::newRow("without a name") << "org.demo.nameless"
                                        << "" << 2 << "org.demo.nameless"
                                        << "org.demo.nameless";
        QTest::newRow("without a bundle identifier") << ""
                                                     << "Stray" << 1 << "GLOBAL"
                                                     << "";
    }
    void pickRunningApp() {
        QFETCH(QString, bundleID);
        QFETCH(QString, name);
        QFETCH(int, apps);
        QFETCH(QString, selected);
        QFETCH(QString, storedName);
        testing::StoreFixture f;
        testing::FakeRunningApps running;
        f.store.setConfig(
            {.appConfigs = {{.bundleID = "org.demo.editor", .displayName = "Editor"}}});
        SettingsView view(f.store, running, [] { return 1; });
        view.show();
        platform::AppInfo app;
        if (!bundleID.isEmpty()) app.bundleID = bundleID.toStdString();
        if (!name.isEmpty()) app.localizedName = name.toStdString();
        view.pickRunningApp(app);
        QCOMPARE(f.store.config().appConfigs.size(), static_cast<std::size_t>(apps));
        QCOMPARE(view.selection(), std::optional<std::string>(selected.toStdString()));
        if (!storedName.isEmpty()) {
            for (const auto& entry : f.store.config().appConfigs) {
                if (entry.bundleID == selected.toStdString()) {
                    QCOMPARE(QString::fromStdString(entry.displayName), storedName);
                }
            }
        }
    }

    void pickerListsRunningApps() {
        testing::FakeRunningApps running;
        running.apps = {{.pid = 1, .bundleID = "org.demo.term", .localizedName = "Terminal"},
                        {.pid = 2, .bundleID = std::nullopt, .localizedName = std::nullopt}};
        testing::NoIcons icons;
        RunningAppPicker picker(running, icons);
        QCOMPARE(running.refreshes, 1);
        QCOMPARE(picker.windowTitle(), "Choose a Running App");
        auto* list = picker.findChild<QListWidget*>("runningApps");
        QCOMPARE(list->count(), 2);
        QCOMPARE(list->item(0)->text(), "Terminal\norg.demo.term");
        QCOMPARE(list->item(1)->text(), "Unknown");
        list->itemClicked(list->item(0));
        QCOMPARE(picker.result(), int(QDialog::Accepted));
        QCOMPARE(picker.picked()->pid, 1);
    }

    void failedSaveIsShown() {
        testing::StoreFixture f;
        testing::FakeRunningApps apps;
        SettingsView view(f.store, apps, [] { return 1; });
        view.show();
        auto* banner = named<QLabel>(&view, "saveError");
        QVERIFY(!banner->isVisible());
        // A directory where the file should be: the write cannot succeed.
        std::filesystem::create_directories(f.path());
        f.store.update(
            [](RootConfig& c) { c.globalRules.push_back(rule(0, 8, moveWindow(Dir::up))); });
        f.scheduler.advance(ConfigStore::kSaveDelay);
        QVERIFY(banner->isVisible());
        QVERIFY(banner->text().startsWith("Settings could not be saved"));
        QCOMPARE(f.store.config().globalRules.size(), 1u);  // nothing dropped
        std::filesystem::remove(f.path());
        f.store.update([](RootConfig& c) { c.globalRules[0].swallow = false; });
        f.scheduler.advance(ConfigStore::kSaveDelay);
        QVERIFY(!banner->isVisible());
    }
};

QTEST_MAIN(ViewsTest)
#include "views_test.moc"
