// The item models behind the settings window's tables, without any widget.
#include <QAbstractItemModelTester>
#include <QIcon>
#include <QSignalSpy>
#include <QTest>

#include "agent/ui/apps_model.h"
#include "agent/ui/render_action.h"
#include "agent/ui/rules_model.h"
#include "tests/agent/ui/ui_fixture.h"

using namespace tarn;
using namespace tarn::agent;
using namespace tarn::agent::ui;
using testing::moveWindow;
using testing::rule;
using Dir = Action::MoveDirection;

Q_DECLARE_METATYPE(tarn::agent::Action)

class ModelsTest : public QObject {
    Q_OBJECT
  private slots:
    void renderAction_data() {
        QTest::addColumn<Action>("action");
        QTest::addColumn<QString>("text");
        using Target = Action::MouseTarget;
        QTest::newRow("left") << moveWindow(Dir::left) << "Move Window: left";
        QTest::newRow("maximize") << moveWindow(Dir::maximize) << "Move Window: maximize";
        QTest::newRow("keys") << Action{Action::SendKeystrokeSequence{"{cmd}c"}} << "Send: {cmd}c";
        QTest::newRow("empty keys") << Action{Action::SendKeystrokeSequence{""}} << "Send: ";
        QTest::newRow("screen corner")
            << Action{Action::MoveMouse{Target{Target::Screen{1}},
                                        Action::MousePosition::upperCorner}}
            << "Move Mouse: Screen 1, Upper Corner";
        QTest::newRow("app centre")
            << Action{Action::MoveMouse{Target{Target::App{}}, Action::MousePosition::center}}
            << "Move Mouse: App, Center";
        QTest::newRow("negative screen")
            << Action{Action::MoveMouse{Target{Target::Screen{-1}}, Action::MousePosition::center}}
            << "Move Mouse: Screen -1, Center";
    }
    void renderAction() {
        QFETCH(Action, action);
        QFETCH(QString, text);
        QCOMPARE(QString::fromStdString(ui::renderAction(action)), text);
    }

    void rulesTableShowsEveryRuleInStoredOrder() {
        testing::StoreFixture f;
        f.store.setConfig(
            {.globalRules = {rule(124, 6, moveWindow(Dir::right)),
                             rule(40, 13, moveWindow(Dir::left), false),
                             rule(200, 8, Action{Action::SendKeystrokeSequence{"x"}})}});
        GlobalRulesModel model(f.store);
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        QCOMPARE(model.rowCount(), 3);
        QCOMPARE(model.headerData(0, Qt::Horizontal, Qt::DisplayRole).toString(), "Hotkey");
        QCOMPARE(model.headerData(1, Qt::Horizontal, Qt::DisplayRole).toString(), "Action");
        QCOMPARE(model.headerData(2, Qt::Horizontal, Qt::DisplayRole).toString(), "Swallow");
        const char* expected[3][2] = {{"⌃⌥→", "Move Window: right"},
                                      {"⌥⇧⌘K", "Move Window: left"},
                                      {"⌘keyCode:200", "Send: x"}};
        for (int row = 0; row < 3; ++row) {
            QCOMPARE(model.index(row, 0).data().toString(), QString::fromUtf8(expected[row][0]));
            QCOMPARE(model.index(row, 1).data().toString(), QString::fromUtf8(expected[row][1]));
        }
        QCOMPARE(model.index(0, 2).data(GlobalRulesModel::SwallowRole).toBool(), true);
        QCOMPARE(model.index(1, 2).data(GlobalRulesModel::SwallowRole).toBool(), false);
        QVERIFY(!model.index(0, 2).data(Qt::DecorationRole).value<QIcon>().isNull());
    }

    // Edits keep the rows (and a view's selection); added and removed rules change them.
    void rulesTableFollowsTheStore() {
        testing::StoreFixture f;
        auto first = rule(124, 6, moveWindow(Dir::right));
        f.store.setConfig({.globalRules = {first}});
        GlobalRulesModel model(f.store);
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
        QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
        QSignalSpy inserts(&model, &QAbstractItemModel::rowsInserted);

        f.store.update([](RootConfig& c) { c.globalRules[0].swallow = false; });
        QCOMPARE(changes.size(), 1);
        QCOMPARE(model.index(0, 2).data(GlobalRulesModel::SwallowRole).toBool(), false);

        auto second = rule(0, 8, moveWindow(Dir::up));
        f.store.update([&](RootConfig& c) { c.globalRules.push_back(second); });
        QCOMPARE(inserts.size(), 1);
        QCOMPARE(model.rowOf(second.id), 1);

        f.store.update([](RootConfig& c) { c.globalRules.erase(c.globalRules.begin()); });
        QCOMPARE(resets.size(), 1);
        QCOMPARE(model.rowCount(), 1);
        QCOMPARE(model.rowOf(first.id), -1);
        QCOMPARE(*model.idAt(0), second.id);
        QVERIFY(!model.idAt(1));

        f.store.setConfig({});
        QCOMPARE(model.rowCount(), 0);
    }

    void chordStatus_data() {
        QTest::addColumn<int>("state");
        QTest::addColumn<bool>("warned");
        QTest::addColumn<QString>("tooltipStart");
        QTest::newRow("grabbed") << int(platform::ChordGrab::grabbed) << false << "";
        QTest::newRow("taken") << int(platform::ChordGrab::takenByOther) << true
                               << "Another program";
        QTest::newRow("no key") << int(platform::ChordGrab::noKey) << true
                                << "The current keyboard";
    }
    // A chord another program holds is marked on its row, with the reason as the tooltip;
    // other rows stay plain.
    void chordStatus() {
        QFETCH(int, state);
        QFETCH(bool, warned);
        QFETCH(QString, tooltipStart);
        testing::StoreFixture f;
        f.store.setConfig({.globalRules = {rule(124, 6, moveWindow(Dir::right)),
                                           rule(123, 6, moveWindow(Dir::left))}});
        GlobalRulesModel model(f.store);
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
        model.setChordStatus({{{124, 6}, static_cast<platform::ChordGrab>(state)},
                              {{123, 6}, platform::ChordGrab::grabbed}});
        QCOMPARE(changes.size(), warned ? 1 : 0);
        QModelIndex hotkey = model.index(0, GlobalRulesModel::hotkey);
        QCOMPARE(!hotkey.data(Qt::DecorationRole).value<QIcon>().isNull(), warned);
        QCOMPARE(hotkey.data(Qt::ToolTipRole).toString().left(tooltipStart.size()), tooltipStart);
        QVERIFY(model.index(1, 0).data(Qt::DecorationRole).isNull());
        // The same report again changes nothing.
        model.setChordStatus({{{124, 6}, static_cast<platform::ChordGrab>(state)}});
        QCOMPARE(changes.size(), warned ? 1 : 0);
    }

    void configuredApps() {
        testing::StoreFixture f;
        SavedWindowLocation location;
        f.store.setConfig({.appConfigs = {{.bundleID = "org.demo.zed", .displayName = "Zed"},
                                          {.bundleID = "org.demo.alpha",
                                           .displayName = "alpha",
                                           .savedLocations = {location, location, location}}}});
        ConfiguredAppsModel model(f.store);
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        QCOMPARE(model.rowCount(), 2);
        QCOMPARE(model.index(0).data().toString(), "Zed");
        QCOMPARE(model.index(1).data(ConfiguredAppsModel::BundleIdRole).toString(),
                 "org.demo.alpha");
        QCOMPARE(model.index(1).data(ConfiguredAppsModel::SavedLocationsRole).toULongLong(), 3u);
        QCOMPARE(model.rowOf("org.demo.alpha"), 1);
        QCOMPARE(model.rowOf("org.demo.none"), -1);

        f.store.upsertAppConfig("org.demo.zed", "Zed Editor");
        QCOMPARE(model.index(0).data().toString(), "Zed Editor");
        f.store.upsertAppConfig("org.demo.beta", "Beta");
        QCOMPARE(model.rowCount(), 3);
        QCOMPARE(model.index(0).data().toString(), "Beta");
    }

    void badgeText_data() {
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("text");
        QTest::newRow("none") << 0 << "";
        QTest::newRow("one: the symbol alone") << 1 << "";
        QTest::newRow("two") << 2 << "×2";
        QTest::newRow("twelve") << 12 << "×12";
    }
    void badgeText() {
        QFETCH(int, count);
        QFETCH(QString, text);
        QCOMPARE(savedLocationsBadgeText(static_cast<std::size_t>(count)), text);
    }
};

QTEST_MAIN(ModelsTest)
#include "models_test.moc"
