// One application's pane: its overrides of the global rules, its saved window locations, and
// export and import of the whole configuration, on the offscreen platform with fake windows,
// alerts and file dialogs.
#include <QAbstractItemModelTester>
#include <QImage>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

#include "agent/settings_transfer.h"
#include "agent/ui/app_icons.h"
#include "agent/ui/app_rules_model.h"
#include "agent/ui/app_rules_view.h"
#include "agent/ui/saved_locations_editor.h"
#include "platform/xdg/xdg_desktop.h"
#include "support/files.h"
#include "support/json_text.h"
#include "tests/agent/ui/ui_fixture.h"

using namespace tarn;
using namespace tarn::agent;
using namespace tarn::agent::ui;
using platform::Rect;
using namespace tarn::testing;
using Locations = std::vector<SavedWindowLocation>;

namespace {

constexpr const char* kApp = "org.demo.editor";
constexpr const char* kEnable = "Enable this rule for this app";
constexpr const char* kCustomize = "Customize state filters for this app";
constexpr const char* kDisabled =
    "This rule will not trigger in this app and keys will pass through";
constexpr const char* kGlobal = "Using global rule settings";
constexpr const char* kOverriding =
    "These filters override the global rule settings for this app only";

SavedWindowLocation at(double x, double y, double width, double height, std::int64_t screen = 0) {
    return {.frame = {x, y, width, height}, .screenIndex = screen, .screenSpecific = true};
}

struct AppFixture : StoreFixture {
    FakeWindows windows;
    RecordingAlerts alerts;
    std::unique_ptr<AppRulesView> view;

    explicit AppFixture(std::vector<HotkeyRule> rules, Locations locations = {})
        : StoreFixture({.globalRules = std::move(rules),
                        .appConfigs = {{.bundleID = kApp,
                                        .displayName = "Editor",
                                        .savedLocations = std::move(locations)}}}) {
        view = std::make_unique<AppRulesView>(store, kApp, windows, alerts);
        view->resize(800, 900);
        view->show();
    }
    const AppConfig& app() const { return store.config().appConfigs.at(0); }
    std::optional<RuleOverride> override() const {
        const auto& overrides = app().ruleOverrides;
        auto it = overrides.find(store.config().globalRules.at(0).id);
        return it == overrides.end() ? std::nullopt : std::optional(it->second);
    }
    bool shown(const QString& text) const { return visibleTexts(view.get()).contains(text); }
    QCheckBox* box(const QString& text) const { return titled<QCheckBox>(view->panel(), text); }
    QWidget* slot(int i) const {
        return named<QFrame>(view.get(), QStringLiteral("location%1").arg(i + 1));
    }
};

// Also an override both disabled and with filters of its own.
RootConfig richConfig() {
    RootConfig config = demoConfig();
    config.appConfigs[1].ruleOverrides[config.globalRules[2].id].stateFilters = StateFilters{};
    return config;
}

}  // namespace

class AppRulesTest : public QObject {
    Q_OBJECT
  private slots:
    // Override edits keep the rows (and the selection); a changed rule list resets them. The
    // panel follows the selected row, and leaves a prompt when its rule is deleted.
    void modelAndSelection() {
        AppFixture f({rule(124, 6, moveWindow(Dir::right)), rule(125, 6, moveWindow(Dir::down))});
        AppRulesModel* model = f.view->model();
        QAbstractItemModelTester tester(model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        QCOMPARE(model->index(1, AppRulesModel::hotkey).data().toString(), "⌃⌥↓");
        QCOMPARE(model->index(1, AppRulesModel::action).data().toString(), "Move Window: down");
        QSignalSpy resets(model, &QAbstractItemModel::modelReset);
        QSignalSpy changes(model, &QAbstractItemModel::dataChanged);
        f.box(kEnable)->click();
        QCOMPARE(changes.size(), 1);
        QCOMPARE(changes[0][1].toModelIndex(), model->index(1, AppRulesModel::custom));
        QCOMPARE(f.view->selectedRuleID(), f.store.config().globalRules[0].id);
        f.view->table()->selectRow(1);
        QVERIFY(f.shown("Hotkey: ⌃⌥↓"));
        f.store.update([](RootConfig& c) { c.globalRules.pop_back(); });
        QVERIFY(f.shown("Select a rule to customize for this app."));
        f.store.update([](RootConfig& c) { c.globalRules.push_back(c.globalRules[0]); });
        QCOMPARE(resets.size(), 2);
        f.store.setConfig({});
    }

    // The global rule's filters, the boxes clicked in order; the override stored and the
    // caption shown. The global rule itself is never touched.
    void overrideEdits() {
        using Filters = std::optional<StateFilters>;
        Filters none, all = StateFilters{}, own = StateFilters{.fullWidthOnPrimary = false};
        Filters secondary = StateFilters{.fullWidthOnSecondary = false};  // "Full Width:" row's
        for (const auto& [globalFilters, clicks, stored, caption] :
             {std::tuple{none, QStringList{kEnable}, RuleOverride{false, none}, kDisabled},
              {none, {kEnable, kEnable}, {true, none}, kGlobal},  // keeps an entry
              {none, {kCustomize}, {true, all}, kOverriding},
              {own, {kCustomize}, {true, own}, kOverriding},
              {none, {kCustomize, kCustomize}, {true, none}, kGlobal},
              {none, {kCustomize, kEnable}, {false, all}, kDisabled},
              {none, {kCustomize, "Secondary"}, {true, secondary}, kOverriding}}) {
            auto right = rule(124, 6, moveWindow(Dir::right));
            right.stateFilters = globalFilters;
            AppFixture f({right});
            QVERIFY(f.shown("Customize Rule for Editor"));
            QVERIFY(!f.override());
            for (const QString& box : clicks) f.box(box)->click();
            QCOMPARE(f.override(), std::optional(stored));
            QStringList captions;
            for (const char* text : {kDisabled, kGlobal, kOverriding})
                if (f.shown(text)) captions << text;
            QCOMPARE(captions, QStringList{caption});
            QCOMPARE(f.box(kCustomize)->isVisibleTo(f.view.get()), stored.enabled);
            QModelIndex enabled = f.view->model()->index(0, AppRulesModel::enabled);
            QModelIndex custom = enabled.siblingAtColumn(AppRulesModel::custom);
            QCOMPARE(enabled.data(AppRulesModel::EnabledRole).toBool(), stored.enabled);
            QCOMPARE(custom.data(AppRulesModel::CustomRole).toBool(), bool(stored.stateFilters));
            QCOMPARE(custom.data(Qt::DecorationRole).isNull(), !stored.stateFilters);
            QCOMPARE(f.store.config().globalRules[0], right);
        }
    }

    void filtersOnlyForHorizontalMoves() {
        for (auto [action, shown] : {std::pair{moveWindow(Dir::left), true},
                                     {moveWindow(Dir::right), true},
                                     {moveWindow(Dir::up), false},
                                     {Action{Action::SendKeystrokeSequence{"x"}}, false}}) {
            AppFixture f({rule(0, 8, action)});
            QCOMPARE(f.box(kCustomize)->isVisibleTo(f.view.get()), shown);
            QCOMPARE(f.shown(kGlobal), shown);
        }
    }

    // "Record Here" into a slot: the first window's frame and screen (the one holding more of
    // it; screen 0 on a tie), padded or replacing.
    void recording() {
        Locations three{at(1, 1, 1, 1), at(2, 2, 2, 2), at(3, 3, 3, 3)};
        Rect frame{100, 50, 800, 600}, right{1600, 100, 800, 600}, half{1520, 100, 800, 600};
        auto recorded = at(100, 50, 800, 600), none = at(0, 0, 0, 0);
        for (const auto& [before, slot, window, after] :
             {std::tuple{Locations{}, 2, frame, Locations{none, none, recorded}},
              {three, 0, frame, Locations{recorded, three[1], three[2]}},
              {Locations{}, 0, right, Locations{at(1600, 100, 800, 600, 1)}},
              {Locations{}, 0, half, Locations{at(1520, 100, 800, 600, 0)}}}) {
            AppFixture f({}, before);
            f.windows.runningBundleID = kApp;
            f.windows.frames = {window, Rect{9, 9, 9, 9}};
            titled(f.slot(slot), "Record Here")->click();
            QCOMPARE(f.app().savedLocations, after);
            QVERIFY(f.alerts.shown.empty());
            QCOMPARE(QString::number(f.app().savedLocations[std::size_t(slot)].screenIndex),
                     visibleTexts(f.slot(slot)).filter("Screen: ").value(0).mid(8));
        }
    }

    // Slots show whole numbers, and a placeholder past the last entry. Clearing a slot
    // shifts the later entries down, the fourth (not shown) too.
    void slotsShowAndClear() {
        auto second = at(100.9, -20.5, 640.99, 480.01, 1), fourth = at(4, 4, 4, 4);
        AppFixture f({}, {at(0, 0, 0, 0), second, at(3, 3, 3, 3), fourth});
        QCOMPARE(visibleTexts(f.slot(0)),
                 (QStringList{"Location 1", "Screen: 0", "Pos: 0, 0", "Size: 0 × 0"}));
        QCOMPARE(visibleTexts(f.slot(1)),
                 (QStringList{"Location 2", "Screen: 1", "Pos: 100, -20", "Size: 640 × 480"}));
        titled(f.slot(2), "Clear")->click();
        titled(f.slot(0), "Clear")->click();
        QCOMPARE(f.app().savedLocations, (Locations{second, fourth}));
        QCOMPARE(visibleTexts(f.slot(2)), (QStringList{"Location 3", "Empty"}));
        QVERIFY(!titled(f.slot(2), "Clear")->isVisibleTo(f.view.get()));
        QCOMPARE(wholeNumberText(-0.5), "0");
    }

    // (Per window: 0 unreadable, 1 without a size, 2 read.)
    void recordingThatCannotReadTellsWhy() {
        const char* cannot = "Cannot Record Position: ";
        for (auto [running, frames, alert] :
             {std::tuple{
                  "org.other", QList<int>{2},
                  QString(cannot) + "Editor is not currently running. Please launch it first."},
              {kApp, QList<int>{},
               "Cannot Find Window: Could not detect any windows for Editor. Make sure the app has "
               "at least one visible window."},
              {kApp, QList<int>{0, 2}, cannot + QString("Could not get window position.")},
              {kApp, QList<int>{1}, cannot + QString("Could not get window size.")}}) {
            AppFixture f({}, {at(1, 1, 1, 1)});
            f.windows.runningBundleID = running;
            for (int frame : frames)
                f.windows.frames.push_back(frame ? std::optional(Rect{1, 2, 3, 4}) : std::nullopt);
            f.windows.sizeReadable = frames.value(0) != 1;
            f.view->locations()->recordCurrentLocation(1);
            QCOMPARE(f.alerts.texts(true), QStringList{alert});
            QCOMPARE(f.alerts.shown[0].style, Alert::Style::warning);
            QCOMPARE(f.app().savedLocations, Locations{at(1, 1, 1, 1)});
        }
    }

    // Refused transfers first, each changing nothing: what is imported ("": no file yet;
    // "export": an export into no directory) and the alert's text.
    // Then export, then import: the same configuration, from a document sorted at every level;
    // the replaced one is kept beside the configuration file and named.
    void exportAndImport() {
        RootConfig original = richConfig();
        SettingsFixture f(original);
        f.view->select(kApp);
        QString path = f.dir.filePath("import.json");
        const char* failed = "Failed to import settings: ";
        for (auto [content, informative] : {std::pair{"", failed},
                                            {"[{\"globalRules\":[]}]", failed},
                                            {"{\"globalRules\":", failed},
                                            {"export", "Export failed: "}}) {
            f.alerts.shown.clear();
            if (std::string_view(content) == "export") {
                f.view->exportSettings(f.dir.filePath("missing/dir/x.json"));
            } else {
                if (*content) support::writeFileAtomically(path.toStdString(), content);
                f.view->importSettings(path);
            }
            QCOMPARE(f.alerts.texts(), QStringList{"Import Error"});
            QVERIFY(f.alerts.shown[0].informative.startsWith(informative));
            QCOMPARE(f.store.config(), original);
            QCOMPARE(f.selection(), std::optional<std::string>(kApp));
            QVERIFY(QDir(f.dir.path()).entryList({"wendle-config.json.bak-*"}).isEmpty());
        }
        f.alerts.shown.clear();
        QString exported = f.dir.filePath("wendle-settings.json");
        f.files.answer = exported;
        f.view->exportSettings();
        QCOMPARE(f.files.offeredName, "wendle-settings.json");
        // Indented and sorted at every level: writing it so again changes nothing.
        auto text = support::readFile(exported.toStdString()).value_or("");
        QCOMPARE(text, support::writeJson(support::parseJson(text).value_or(nullptr),
                                          {.pretty = true, .sortKeys = true}));

        f.store.setConfig({.appConfigs = {{.bundleID = "org.demo.other", .displayName = "Other"}}});
        RootConfig replaced = f.store.config();
        f.view->select("org.demo.other");
        f.view->importSettings();
        QCOMPARE(f.store.config(), original);
        QCOMPARE(f.selection(), std::optional<std::string>(kGlobalSelection));
        QCOMPARE(f.alerts.texts(), QStringList{"Import Successful"});
        // The copy is named and holds what was replaced; the file holds the import at once.
        QStringList copies = QDir(f.dir.path()).entryList({"wendle-config.json.bak-*"});
        QCOMPARE(copies.size(), 1);
        QVERIFY(f.alerts.shown[0].informative.contains(f.dir.filePath(copies[0])));
        auto kept = decodeConfigText(*support::readFile(f.dir.filePath(copies[0]).toStdString()));
        QCOMPARE(kept->config, replaced);
        QCOMPARE(decodeConfigText(*support::readFile(f.path()))->config, original);
    }

    void exportAndConfigFileAreInterchangeable() {
        RootConfig original = richConfig();
        StoreFixture exporter;
        QVERIFY(!exportSettings(original, exporter.path()));
        QCOMPARE(exporter.store.loadAtLaunch().state, ConfigFileState::read);
        QCOMPARE(exporter.store.config(), original);

        StoreFixture saver(original);
        saver.scheduler.advance(ConfigStore::kSaveDelay);
        StoreFixture importer;
        QVERIFY(!importSettings(importer.store, saver.path()).error);
        QCOMPARE(importer.store.config(), original);
    }

    // Where an application's icon comes from: the picture its desktop entry names, else its
    // window's, else none. Colours tell the sources apart; which entry is the application's
    // is the desktop lookup's own business.
    void appIcons() {
        for (auto [entryPicture, windowIcon, colour] :
             {std::tuple{true, true, "#ff0000"}, {false, true, "#0000ff"}, {false, false, ""}}) {
            QTemporaryDir dir;
            QString png = dir.filePath("editor.png");
            QImage image(16, 16, QImage::Format_ARGB32);
            image.fill(Qt::red);
            if (entryPicture) image.save(png);
            std::filesystem::path data = dir.path().toStdString();
            std::filesystem::create_directories(data / "applications");
            support::writeFileAtomically(data / "applications/editor.desktop",
                                         "[Desktop Entry]\nType=Application\nName=X\nIcon=" +
                                             png.toStdString() + "\nStartupWMClass=Editor\n");
            FakeWindows windows;
            windows.runningBundleID = "Editor";
            windows.frames = {Rect{0, 0, 10, 10}};
            if (windowIcon)
                windows.published = platform::IconImage{2, 2, std::vector(4, 0xff0000ffu)};
            platform::xdg::Locations where;
            where.dataHome = data;
            auto names = platform::xdg::makeAppIconNames(where);
            QIcon icon = DesktopAppIcons(windows, names.get()).icon("Editor");
            QCOMPARE(icon.isNull() ? "" : QColor(icon.pixmap(18, 18).toImage().pixel(8, 8)).name(),
                     colour);
        }
    }
};

QTEST_MAIN(AppRulesTest)
#include "app_rules_test.moc"
