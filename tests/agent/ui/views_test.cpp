// The global rules and the settings window on the offscreen platform: the item models alone,
// then the views, whose controls write through the store and redraw from what it republishes.
#include <QAbstractItemModelTester>
#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>
#include <QTimer>

#include "agent/ui/app_rules_view.h"
#include "agent/ui/apps_model.h"
#include "agent/ui/global_rules_view.h"
#include "agent/ui/key_recorder.h"
#include "agent/ui/platform_texts.h"
#include "agent/ui/rule_editor.h"
#include "agent/ui/rules_model.h"
#include "agent/ui/state_filters_editor.h"
#include "agent/ui/style.h"
#include "agent/ui/symbols.h"
#include "tests/agent/ui/ui_fixture.h"

using namespace tarn;
using namespace tarn::agent;
using namespace tarn::agent::ui;
using namespace tarn::testing;
using Selection = std::optional<std::string>;
constexpr auto kQtTest = QAbstractItemModelTester::FailureReportingMode::QtTest;

namespace {

struct RulesFixture : StoreFixture {
    std::unique_ptr<GlobalRulesView> view;
    explicit RulesFixture(std::vector<HotkeyRule> rules = {})
        : StoreFixture({.globalRules = std::move(rules)}) {
        view = std::make_unique<GlobalRulesView>(store, [] { return 2; });
        view->resize(700, 700);
        view->show();
    }
    const HotkeyRule& stored() const { return store.config().globalRules.at(0); }
    GlobalRuleEditPanel* editor() const { return view->editor(); }
    QString actionText() const { return view->model()->index(0, 1).data().toString(); }
    bool prompted() const { return visibleTexts(view.get()).contains("Select a rule to edit."); }
    bool removable() const { return titled(view.get(), "Remove Selected")->isEnabled(); }
};

RootConfig apps(std::initializer_list<const char*> names) {
    RootConfig config;
    for (const char* name : names)
        config.appConfigs.push_back(
            {.bundleID = std::string("org.demo.") + name, .displayName = name});
    return config;
}

}  // namespace

class ViewsTest : public QObject {
    Q_OBJECT
  private slots:
    // Edits keep the rows (and a view's selection), whole rows included; added rules are
    // inserted below; anything else resets.
    void rulesModelFollowsTheStore() {
        auto first = rule(124, 6, moveWindow(Dir::right));
        StoreFixture f({.globalRules = {first, rule(40, 13, moveWindow(Dir::left), false)}});
        GlobalRulesModel model(f.store);
        QAbstractItemModelTester tester(&model, kQtTest);
        QStringList cells;
        for (int row = 0; row < 2; ++row) {
            cells << model.index(row, 0).data().toString() << model.index(row, 1).data().toString()
                  << model.index(row, 2).data(GlobalRulesModel::SwallowRole).toString()
                  << model.headerData(row, Qt::Horizontal, Qt::DisplayRole).toString();
        }
        QCOMPARE(cells, QStringList({"⌃⌥→", "Move Window: right", "true", "Hotkey", "⌥⇧⌘K",
                                     "Move Window: left", "false", "Action"}));
        QVERIFY(model.headerData(0, Qt::Vertical, Qt::DisplayRole).isNull());

        QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
        QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
        QSignalSpy inserts(&model, &QAbstractItemModel::rowsInserted);
        f.store.update([](RootConfig& c) { c.globalRules[0].chord.keyCode = 123; });
        QCOMPARE(changes.size(), 1);
        QCOMPARE(changes[0][0].toModelIndex(), model.index(0, 0));
        QCOMPARE(changes[0][1].toModelIndex(), model.index(1, 2));
        QCOMPARE(model.index(0, 0).data().toString(), "⌃⌥←");
        auto added = rule(0, 8, moveWindow(Dir::up));
        f.store.update([&](RootConfig& c) { c.globalRules.push_back(added); });
        QCOMPARE(inserts.size(), 1);
        QCOMPARE(model.rowOf(added.id), 2);
        f.store.update([](RootConfig& c) { c.globalRules.erase(c.globalRules.begin()); });
        QCOMPARE(resets.size(), 1);
        QCOMPARE(model.rowOf(first.id), -1);
        QCOMPARE(*model.idAt(1), added.id);
        QVERIFY(!model.idAt(2) && !model.idAt(-1));
    }

    // A chord another program holds is marked on its row, with the reason as the tooltip;
    // other rows stay plain, and the same report again changes nothing.
    void chordStatus() {
        using enum platform::ChordGrab;
        for (auto [state, tooltip] : {std::pair{grabbed, ""},
                                      {takenByOther, "Another program"},
                                      {noKey, "The current keyboard"}}) {
            StoreFixture f({.globalRules = {rule(124, 6, moveWindow(Dir::right)),
                                            rule(123, 6, moveWindow(Dir::left))}});
            GlobalRulesModel model(f.store);
            QAbstractItemModelTester tester(&model, kQtTest);
            QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
            bool warned = state != grabbed;
            for (int twice = 0; twice < 2; ++twice) {
                model.setChordStatus({{{124, 6}, state}, {{123, 6}, grabbed}});
                QCOMPARE(changes.size(), warned ? 1 : 0);
            }
            QModelIndex hotkey = model.index(0, GlobalRulesModel::hotkey);
            QCOMPARE(!hotkey.data(Qt::DecorationRole).value<QIcon>().isNull(), warned);
            QVERIFY(!warned || hotkey.data(Qt::ToolTipRole).toString().startsWith(tooltip));
            QCOMPARE(hotkey.data(Qt::ToolTipRole).isNull(), !warned);
            QVERIFY(model.index(1, 0).data(Qt::DecorationRole).isNull());
        }
    }

    // Where the desktop keeps a bound chord, a rule that lets its key through says what
    // becomes of it, on its row and in its editor; a rule that swallows says nothing.
    void chordPass() {
        using enum platform::ChordPass;
        const QString retypedNote = qt(platformTexts().chordRetyped);
        for (auto [pass, note, warned] :
             {std::tuple{replayed, QString(), false},
              {retyped, retypedNote, false},
              {impossible, qt(platformTexts().chordCannotPass), true}}) {
            RulesFixture f(
                {rule(124, 6, moveWindow(Dir::right), false), rule(123, 6, moveWindow(Dir::left))});
            f.view->setChordPass(pass);
            f.view->selectRule(f.stored().id);
            auto cell = [&](int row) {
                return f.view->model()->index(row, GlobalRulesModel::swallow);
            };
            QCOMPARE(cell(0).data(Qt::ToolTipRole).toString(), note);
            QVERIFY(cell(1).data(Qt::ToolTipRole).isNull());
            auto picture = [](const QIcon& icon) { return icon.pixmap(16).toImage(); };
            QCOMPARE(picture(cell(0).data(Qt::DecorationRole).value<QIcon>()) ==
                         picture(symbolIcon(Symbol::warning)),
                     warned);
            QCOMPARE(visibleTexts(f.editor()).contains(note), !note.isEmpty());
        }
    }

    void appsModel() {
        RootConfig config = apps({"Zed", "alpha"});
        config.appConfigs[1].savedLocations.resize(3);
        StoreFixture f(config);
        ConfiguredAppsModel model(f.store);
        QAbstractItemModelTester tester(&model, kQtTest);
        QCOMPARE(model.index(1).data(ConfiguredAppsModel::BundleIdRole).toString(),
                 "org.demo.alpha");
        QCOMPARE(model.index(1).data(ConfiguredAppsModel::SavedLocationsRole).toULongLong(), 3u);
        QCOMPARE(model.rowOf("org.demo.alpha"), 1);
        QCOMPARE(model.rowOf("org.demo.none"), -1);
        f.store.upsertAppConfig("org.demo.Zed", "Zed Editor");
        QCOMPARE(model.index(0).data().toString(), "Zed Editor");
        f.store.upsertAppConfig("org.demo.beta", "Beta");
        QCOMPARE(model.rowCount(), 3);
        QCOMPARE(model.index(0).data().toString(), "Beta");
        // The badge counts from two; one location shows the symbol alone.
        QStringList badges;
        for (int count : {0, 1, 2, 12}) badges << savedLocationsBadgeText(std::size_t(count));
        QCOMPARE(badges, QStringList({"", "", "×2", "×12"}));
    }

    void newRuleRowAndSelection() {
        RulesFixture f;
        QVERIFY(f.prompted() && !f.editor() && !f.removable());
        QTest::mouseClick(titled(f.view.get(), "Add Rule…"), Qt::LeftButton);
        auto added = rule(40, 13, moveWindow(Dir::left));
        added.id = f.stored().id;
        QCOMPARE(f.store.config().globalRules, std::vector{added});
        QCOMPARE(f.view->model()->index(0, 0).data().toString(), "⌥⇧⌘K");
        QCOMPARE(f.actionText(), "Move Window: left");
        QCOMPARE(f.view->selectedRuleID(), added.id);
        QVERIFY(f.view->table()->selectionModel()->isRowSelected(0));
        QVERIFY(visibleTexts(f.editor()).contains("Key: K (code: 40)"));
        QVERIFY(f.removable());
        // A second one with the same chord is allowed, and becomes the selection.
        f.view->addGlobalRule();
        QCOMPARE(f.view->selectedRuleID(), f.store.config().globalRules.at(1).id);
        QVERIFY(f.view->table()->selectionModel()->isRowSelected(1));
        // Rules deleted elsewhere take their editor with them.
        f.store.setConfig({});
        QVERIFY(f.prompted() && !f.editor());
    }

    // The rule goes; the first remaining rule is selected, or nothing when none is left.
    void removeSelected() {
        for (auto [rules, selected] : {std::pair{1, 0}, {3, 2}, {2, 0}}) {
            std::vector<HotkeyRule> list;
            for (int i = 0; i < rules; ++i) list.push_back(rule(i, 8, moveWindow(Dir::up)));
            RulesFixture f(list);
            QCOMPARE(f.view->selectedRuleID(), list[0].id);  // the first, as the view appears
            f.view->selectRule(list[std::size_t(selected)].id);
            QTest::mouseClick(titled(f.view.get(), "Remove Selected"), Qt::LeftButton);
            list.erase(list.begin() + selected);
            QCOMPARE(f.store.config().globalRules, list);
            QCOMPARE(f.view->selectedRuleID(),
                     list.empty() ? std::nullopt : std::optional(list[0].id));
            QCOMPARE(f.prompted(), list.empty());
            QCOMPARE(f.removable(), !list.empty());
        }
    }

    // Recording takes the key pressed next as it is, Escape and Tab too, and only its code
    // (the key table's, found by name, by the character typed, or on the keypad); a modifier
    // alone or an unknown key leaves it waiting, and the button alone cancels.
    void recording() {
        using enum Qt::KeyboardModifier;
        for (auto [key, modifiers, code] : {std::tuple{Qt::Key_Escape, NoModifier, 53},
                                            {Qt::Key_Tab, NoModifier, 48},
                                            {Qt::Key_K, MetaModifier, 40},
                                            {Qt::Key_Exclam, ShiftModifier, 18},     // the 1 key
                                            {Qt::Key_BraceLeft, ShiftModifier, 33},  // the [ key
                                            {Qt::Key_Backspace, NoModifier, 51},
                                            {Qt::Key_Delete, NoModifier, 117},
                                            {Qt::Key_F1, NoModifier, 122},
                                            {Qt::Key_F20, NoModifier, 90},
                                            {Qt::Key_7, KeypadModifier, 89},
                                            {Qt::Key_Enter, KeypadModifier, 76},
                                            {Qt::Key_Minus, KeypadModifier, 78},
                                            {Qt::Key_PageDown, KeypadModifier, 121}}) {
            RulesFixture f({rule(124, 6, moveWindow(Dir::right))});
            QVERIFY(visibleTexts(f.editor()).contains("Key: → (code: 124)"));
            auto* record = named<QPushButton>(f.editor(), "record");
            QTest::mouseClick(record, Qt::LeftButton);
            QCOMPARE(record->text(), "Press a key…");
            auto* recorder = f.editor()->findChild<KeyRecorder*>();
            QTest::keyClick(recorder, Qt::Key_Shift);
            QTest::keyClick(recorder, Qt::Key_Launch0);
            QVERIFY(f.editor()->isRecording());
            QTest::keyPress(recorder, key, modifiers);
            QVERIFY(!f.editor()->isRecording());
            QCOMPARE(record->text(), "Record");
            QCOMPARE(f.stored().chord, (KeyChord{code, {6}}));
            QVERIFY(!visibleTexts(f.editor()).contains("Hotkey: ⌃⌥→"));
            QTest::mouseClick(record, Qt::LeftButton);
            QTest::mouseClick(record, Qt::LeftButton);
            QTest::keyClick(recorder, Qt::Key_A);
            QVERIFY(!f.editor()->isRecording());
            QCOMPARE(f.stored().chord.keyCode, code);
        }
    }

    // The editor's controls in turn on one rule (a right move without modifiers), each block
    // leaving it as the next expects.
    void editorControls() {
        RulesFixture f({rule(124, 0, moveWindow(Dir::right))});
        // The first filter change stores all six flags: five true and the changed one. A vertical
        // move hides the filters block; the stored filters stay.
        for (auto [box, stored] :
             {std::pair{"AlignLeftPrimary", StateFilters{.alignLeftOnPrimary = false}},
              {"FullWidthSecondary", StateFilters{.fullWidthOnSecondary = false}}}) {
            f.store.update([](RootConfig& c) { c.globalRules[0].stateFilters.reset(); });
            auto* check = named<QCheckBox>(f.editor(), box);
            QVERIFY(check->isChecked());
            check->click();
            QCOMPARE(f.stored().stateFilters, std::optional(stored));
            check->click();
            QCOMPARE(f.stored().stateFilters, std::optional(StateFilters{}));
        }
        auto* direction = named<QComboBox>(f.editor(), "Direction");
        QCOMPARE(direction->currentText(), "Right");
        auto* filters = f.editor()->findChild<StateFiltersEditor*>();
        QVERIFY(filters->isVisibleTo(f.editor()) && f.editor()->isHorizontalAction());
        StateFilters own{.fullWidthOnPrimary = false};
        f.store.update([&](RootConfig& c) { c.globalRules[0].stateFilters = own; });
        direction->activated(2);
        QCOMPARE(f.stored().action, moveWindow(Dir::up));
        QVERIFY(!filters->isVisibleTo(f.editor()) && !f.editor()->isHorizontalAction());
        QCOMPARE(f.stored().stateFilters, own);
        direction->activated(4);
        QCOMPARE(f.actionText(), "Move Window: maximize");
        direction->activated(0);
        QVERIFY(filters->isVisibleTo(f.editor()) && f.editor()->isHorizontalAction());
        // Each box sets and clears its bit; bits the boxes do not show are kept. Then the
        // swallow box and the override picker, which also follows the store.
        for (auto [title, bit] :
             {std::pair{"⌃ Control", 2}, {"⌥ Option", 4}, {"⇧ Shift", 1}, {"⌘ Command", 8}}) {
            QCheckBox* box = titled<QCheckBox>(f.editor(), title);
            box->click();
            QCOMPARE(f.stored().chord.modifiers.rawValue, bit);
            f.store.update([](RootConfig& c) { c.globalRules[0].chord.modifiers = {15 | 64}; });
            QVERIFY(box->isChecked());
            box->click();
            QCOMPARE(f.stored().chord.modifiers.rawValue, (15 | 64) & ~bit);
            f.store.update([](RootConfig& c) { c.globalRules[0].chord.modifiers = {0}; });
        }
        titled<QCheckBox>(f.editor(), "Swallow Key (prevent system from seeing it)")->click();
        QCOMPARE(f.stored().swallow, false);
        auto* override = named<QComboBox>(f.editor(), "Override Tarn");
        override->activated(4);
        QCOMPARE(f.stored().overrideTarn, std::optional(Dir::down));
        f.store.update([](RootConfig& c) { c.globalRules[0].overrideTarn = Dir::right; });
        QCOMPARE(override->currentText(), "Right");
        override->activated(0);
        QVERIFY(!f.stored().overrideTarn);
        QCOMPARE(override->currentIndex(), 0);
        // Each segment starts its kind afresh, dropping the old parameters. With recording off,
        // keys reach the normal widgets: the sequence field takes text, Escape included.
        for (auto [segment, rendered] : {std::pair{"MoveWindow", "Move Window: left"},
                                         {"MoveMouse", "Move Mouse: App, Center"},
                                         {"SendKeystrokes", "Send: "}}) {
            f.store.update([](RootConfig& c) {
                c.globalRules[0].action = Action{Action::SendKeystrokeSequence{"old"}};
            });
            named<QPushButton>(f.editor(), segment)->click();
            QCOMPARE(f.actionText(), rendered);
        }
        auto* field = named<QLineEdit>(f.editor(), "sequence");
        field->setFocus();
        QTest::keyClicks(field, "{cmd}v");
        QTest::keyClick(field, Qt::Key_Escape);
        QCOMPARE(f.actionText(), "Send: {cmd}v");
        named<QPushButton>(f.editor(), "MoveMouse")->click();
        auto* target = named<QComboBox>(f.editor(), "Target");
        auto* screen = named<QComboBox>(f.editor(), "Screen");
        QVERIFY(!screen->isVisibleTo(f.editor()));
        target->activated(1);
        QCOMPARE(f.actionText(), "Move Mouse: Screen 0, Center");
        QVERIFY(screen->isVisibleTo(f.editor()));
        QCOMPARE(screen->count(), 2);  // two screens attached
        screen->activated(1);
        named<QComboBox>(f.editor(), "Position")->activated(0);
        QCOMPARE(f.actionText(), "Move Mouse: Screen 1, Upper Corner");
        // A screen not attached now still shows as chosen.
        f.store.update([](RootConfig& c) {
            using Target = Action::MouseTarget;
            c.globalRules[0].action =
                Action{Action::MoveMouse{Target{Target::Screen{5}}, Action::MousePosition::center}};
        });
        QCOMPARE(screen->currentText(), "Screen 5");
        QCOMPARE(target->currentText(), "Screen");
        target->activated(0);
        QCOMPARE(f.actionText(), "Move Mouse: App, Center");
    }

    void windowReusedWithItsSelection() {
        StoreFixture f(apps({"Editor"}));
        FakeRunningApps running;
        SettingsWindowController controller(f.store, running);
        controller.show();
        QWidget* window = controller.window();
        // The list takes the focus and a current row as the window appears; that chooses
        // nothing.
        QVERIFY(QTest::qWaitForWindowActive(window));
        QApplication::processEvents();
        QPoint offCentre = window->geometry().center() -
                           QGuiApplication::primaryScreen()->availableGeometry().center();
        QVERIFY2(offCentre.manhattanLength() <= 2, "opens in the middle of the main screen");
        SettingsView* view = controller.view();
        QCOMPARE(view->selection(), Selection(kGlobalSelection));
        QCOMPARE(view->currentDetail(), view->globalRules());
        QVERIFY(!view->backButton()->isVisibleTo(window));
        view->select("org.demo.Editor");
        QVERIFY(view->backButton()->isVisibleTo(window));
        QPoint where = window->pos();
        window->close();
        controller.show();
        QCOMPARE(controller.window(), window);
        QVERIFY(window->isVisible());
        QCOMPARE(window->pos(), where);
        QCOMPARE(view->selection(), Selection("org.demo.Editor"));
        QTest::mouseClick(view->backButton(), Qt::LeftButton);
        QCOMPARE(view->selection(), Selection(kGlobalSelection));
    }

    // From another application's pane: the global rules, an application's pane (chosen in
    // the list or by the program), or a placeholder for one since removed.
    void sidebarSelection() {
        for (auto [selection, detail] : {std::pair{"GLOBAL", "global"},
                                         {"org.demo.Editor", "Editor"},
                                         {"click", "Editor"},
                                         {"org.demo.gone", "Select an item."}}) {
            SettingsFixture f(apps({"Mail", "Editor"}));
            f.view->select("org.demo.Mail");
            auto* list = f.view->appList();
            if (std::string_view(selection) == "click") {
                QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                                  list->visualRect(list->model()->index(1, 0)).center());
            } else {
                f.view->select(selection);
            }
            QWidget* shown = f.view->currentDetail();
            auto* label = qobject_cast<QLabel*>(shown);
            QVERIFY((shown == f.view->globalRules() ? QStringList{"global"}
                     : label                        ? QStringList{label->text()}
                                                    : visibleTexts(shown))
                        .contains(detail));
            QCOMPARE(list->selectionModel()->selectedRows().size() == 1,
                     shown == f.view->appRules());
            QCOMPARE(f.view->appRules() != nullptr, std::string_view(detail) == "Editor");
        }
    }

    // Delete and Backspace in the list remove the selected application at once and return
    // to global; so does the pane's own button.
    void deleteSelectedAppReturnsToGlobal() {
        SettingsFixture f(apps({"A", "B", "C"}));
        f.view->select("org.demo.B");
        QTest::keyClick(f.view->appList(), Qt::Key_F5);  // not a deleting key
        QCOMPARE(f.store.config().appConfigs.size(), 3u);
        for (auto [app, key] :
             {std::pair{"org.demo.B", Qt::Key_Delete}, {"org.demo.C", Qt::Key_Backspace}}) {
            f.view->select(app);
            QTest::keyClick(f.view->appList(), key);
            QCOMPARE(f.selection(), Selection(kGlobalSelection));
            QCOMPARE(f.view->currentDetail(), f.view->globalRules());
        }
        QCOMPARE(f.store.config(), apps({"A"}));
        f.view->select("org.demo.A");
        titled(f.view->appRules(), "Delete App")->click();
        QVERIFY(f.store.config().appConfigs.empty());
        QCOMPARE(qobject_cast<QLabel*>(f.view->currentDetail())->text(), "Select an item.");
    }

    // A picked application is added (named by its identifier when it has no name) or, when
    // already configured, renamed; either way selected. One without an identifier is not.
    void pickRunningApp() {
        for (auto [bundleID, name, count, selected, storedName] :
             {std::tuple{"org.demo.new", "New", 2, "org.demo.new", "New"},
              {"org.demo.Editor", "Editor 2", 1, "org.demo.Editor", "Editor 2"},
              {"org.demo.nameless", nullptr, 2, "org.demo.nameless", "org.demo.nameless"},
              {nullptr, "Stray", 1, "GLOBAL", "Editor"}}) {
            SettingsFixture f(apps({"Editor"}));
            platform::AppInfo app;
            if (bundleID) app.bundleID = bundleID;
            if (name) app.localizedName = name;
            f.view->pickRunningApp(app);
            QCOMPARE(int(f.store.config().appConfigs.size()), count);
            QCOMPARE(f.selection(), Selection(selected));
            QCOMPARE(f.store.config().appConfigs.back().displayName, storedName);
        }
    }

    // "Add Running App…" offers the running applications, asked afresh; the one clicked is
    // added and selected.
    void addRunningAppThenFailedSave() {
        SettingsFixture f;
        f.apps.apps = {{.pid = 1, .bundleID = "org.demo.term", .localizedName = "Terminal"},
                       {.pid = 2, .bundleID = std::nullopt, .localizedName = std::nullopt}};
        QStringList offered;
        QTimer::singleShot(0, f.view.get(), [&] {
            auto* list = QApplication::activeModalWidget()->findChild<QListWidget*>("runningApps");
            for (int i = 0; i < list->count(); ++i) offered << list->item(i)->text();
            list->itemClicked(list->item(0));
        });
        titled(f.view.get(), "Add Running App…")->click();
        QCOMPARE(f.apps.refreshes, 1);
        QCOMPARE(offered, QStringList({"Terminal\norg.demo.term", "Unknown"}));
        QCOMPARE(f.selection(), Selection("org.demo.term"));
        QCOMPARE(f.store.config().appConfigs.at(0).displayName, "Terminal");
        // A failed save shows until a later one succeeds; the edits are kept meanwhile.
        auto* banner = named<QLabel>(f.view.get(), "saveError");
        QVERIFY(!banner->isVisible());
        std::filesystem::create_directories(f.path());  // the write cannot succeed
        f.store.update(
            [](RootConfig& c) { c.globalRules.push_back(rule(0, 8, moveWindow(Dir::up))); });
        f.scheduler.advance(ConfigStore::kSaveDelay);
        QVERIFY(banner->isVisible());
        QVERIFY(banner->text().startsWith("Settings could not be saved"));
        QCOMPARE(f.store.config().globalRules.size(), 1u);
        std::filesystem::remove(f.path());
        f.store.update([](RootConfig& c) { c.globalRules[0].swallow = false; });
        f.scheduler.advance(ConfigStore::kSaveDelay);
        QVERIFY(!banner->isVisible());
    }
};

QTEST_MAIN(ViewsTest)
#include "views_test.moc"
