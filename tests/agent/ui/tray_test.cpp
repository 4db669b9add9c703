// The tray menu and the launch steps that belong to the desktop side, through the menu
// object and with alerts answered by the test.
#include <QAction>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTest>
#include <deque>
#include <thread>

#include "agent/ui/alerts.h"
#include "agent/ui/platform_texts.h"
#include "agent/ui/qt_scheduler.h"
#include "agent/ui/settings_window.h"
#include "agent/ui/status_bar.h"
#include "agent/ui/wendle_app.h"
#include "tests/agent/ui/ui_fixture.h"

using namespace tarn;
using namespace tarn::agent;
using namespace tarn::agent::ui;

namespace {

class FakeLoginItem final : public platform::LoginItem {
  public:
    platform::LoginItemStatus state = platform::LoginItemStatus::notRegistered;
    std::string failure;  // non-empty: every change fails with it
    std::vector<std::string> calls;

    platform::LoginItemStatus status() override { return state; }
    bool registerItem(std::string& error) override {
        return change("register", platform::LoginItemStatus::enabled, error);
    }
    bool unregisterItem(std::string& error) override {
        return change("unregister", platform::LoginItemStatus::notRegistered, error);
    }

  private:
    bool change(const std::string& call, platform::LoginItemStatus to, std::string& error) {
        calls.push_back(call);
        if (!failure.empty()) {
            error = failure;
            return false;
        }
        state = to;
        return true;
    }
};

class ScriptedAlerts final : public AlertPresenter {
  public:
    std::deque<int> answers;
    std::vector<Alert> shown;
    int present(const Alert& alert) override {
        shown.push_back(alert);
        if (answers.empty()) return 0;
        int answer = answers.front();
        answers.pop_front();
        return answer;
    }
};

struct TrayFixture {
    FakeLoginItem loginItem;
    ScriptedAlerts alerts;
    std::vector<std::string> calls;
    StatusBarController tray{{.onOpenSettings = [this] { calls.push_back("settings"); },
                              .onRequestPermissions = [this] { calls.push_back("permissions"); },
                              .onQuit = [this] { calls.push_back("quit"); }},
                             loginItem,
                             alerts};

    QAction* item(const QString& title) {
        for (QAction* action : tray.menu()->actions()) {
            if (action->text() == title) return action;
        }
        qFatal("no menu item %s", qPrintable(title));
    }
    QStringList titles() {
        QStringList list;
        for (QAction* action : tray.menu()->actions()) {
            list << (action->isSeparator() ? "-" : action->text());
        }
        return list;
    }
};

}  // namespace

class TrayTest : public QObject {
    Q_OBJECT
  private slots:
    void menuItemsInOrder() {
        TrayFixture f;
        QCOMPARE(f.titles(),
                 QStringList({"Settings…", "-", "Request Accessibility Permission…", "-",
                              "Start at Login", "-", "Help", "About Wendle", "-", "Quit"}));
        QCOMPARE(f.item("Settings…")->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Comma));
        QCOMPARE(f.item("Quit")->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Q));
        QVERIFY(f.item("Help")->shortcut().isEmpty());
        QVERIFY(!f.tray.tray()->icon().isNull());
    }

    void itemsCallTheirCallbacks_data() {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("call");
        QTest::newRow("settings") << "Settings…"
                                  << "settings";
        QTest::newRow("permission") << "Request Accessibility Permission…"
                                    << "permissions";
        QTest::newRow("quit") << "Quit"
                              << "quit";
    }
    void itemsCallTheirCallbacks() {
        QFETCH(QString, title);
        QFETCH(QString, call);
        TrayFixture f;
        f.item(title)->trigger();
        QCOMPARE(f.calls, std::vector<std::string>{call.toStdString()});
    }

    // The title reads the state when the menu was built; the toggle acts on the state now.
    void loginItemToggle_data() {
        QTest::addColumn<bool>("enabledAtBuild");
        QTest::addColumn<bool>("enabledNow");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("call");
        QTest::addColumn<QString>("rebuiltTitle");
        QTest::newRow("enabled") << true << true << "Remove from Login Items"
                                 << "unregister"
                                 << "Start at Login";
        QTest::newRow("not registered") << false << false << "Start at Login"
                                        << "register"
                                        << "Remove from Login Items";
        QTest::newRow("changed outside since") << false << true << "Start at Login"
                                               << "unregister"
                                               << "Start at Login";
    }
    void loginItemToggle() {
        QFETCH(bool, enabledAtBuild);
        QFETCH(bool, enabledNow);
        QFETCH(QString, title);
        QFETCH(QString, call);
        QFETCH(QString, rebuiltTitle);
        using S = platform::LoginItemStatus;
        TrayFixture f;
        f.loginItem.state = enabledAtBuild ? S::enabled : S::notRegistered;
        f.tray.buildMenu();
        f.loginItem.state = enabledNow ? S::enabled : S::notRegistered;
        QCOMPARE(f.titles()[4], title);
        f.item(title)->trigger();
        QCOMPARE(f.loginItem.calls, std::vector<std::string>{call.toStdString()});
        QCOMPARE(f.titles()[4], rebuiltTitle);
        QVERIFY(f.alerts.shown.empty());
    }

    void loginItemFailure() {
        TrayFixture f;
        f.loginItem.failure = "cannot write ~/.config/autostart/wendle.desktop";
        f.item("Start at Login")->trigger();
        QCOMPARE(f.alerts.shown.size(), 1u);
        const Alert& alert = f.alerts.shown[0];
        QCOMPARE(alert.style, Alert::Style::warning);
        QCOMPARE(alert.message, "Login Item Error");
        QCOMPARE(
            alert.informative,
            "Failed to update login item status: cannot write ~/.config/autostart/wendle.desktop");
        QCOMPARE(alert.buttons, QStringList({"OK"}));
        QCOMPARE(f.titles()[4], "Start at Login");
    }

    void helpAlert_data() {
        QTest::addColumn<int>("answer");
        QTest::addColumn<QStringList>("calls");
        QTest::newRow("OK") << 0 << QStringList();
        QTest::newRow("settings") << 1 << QStringList({"settings"});
        QTest::newRow("request now") << 2 << QStringList({"permissions"});
        QTest::newRow("closed") << -1 << QStringList();
    }
    void helpAlert() {
        QFETCH(int, answer);
        QFETCH(QStringList, calls);
        TrayFixture f;
        f.alerts.answers = {answer};
        f.item("Help")->trigger();
        const Alert& alert = f.alerts.shown.at(0);
        QCOMPARE(alert.message, "Wendle Troubleshooting");
        QCOMPARE(alert.informative, QString::fromUtf8(platformTexts().troubleshooting.data()));
        QCOMPARE(alert.buttons,
                 QStringList({"OK",
                              QString::fromUtf8(platformTexts().troubleshootingSecondButton.data()),
                              "Request Permissions Now"}));
        QStringList made;
        for (const auto& call : f.calls) made << QString::fromStdString(call);
        QCOMPARE(made, calls);
    }

    void aboutAlert() {
        TrayFixture f;
        f.item("About Wendle")->trigger();
        const Alert& alert = f.alerts.shown.at(0);
        QCOMPARE(alert.message, "Wendle");
        QVERIFY(alert.informative.startsWith("Version 0.1.1.106\n\n"));
        QCOMPARE(alert.link, QString(kWebsite));
        QCOMPARE(alert.buttons, QStringList({"OK"}));
    }

    // The Linux help never sends the user to a macOS place.
    void linuxWording() {
        for (std::string_view text :
             {linuxTexts().troubleshooting, linuxTexts().troubleshootingSecondButton}) {
            QString q = QString::fromUtf8(text.data(), text.size());
            QVERIFY2(!q.contains("System Settings") && !q.contains("macOS"), qPrintable(q));
        }
        QVERIFY(QString::fromUtf8(linuxTexts().troubleshooting.data()).contains("Wayland"));
    }

    // The event loop runs the store's debounce: a burst of changes is saved once, with the
    // last value; a cancelled task never runs.
    void qtScheduler() {
        QtScheduler scheduler;
        std::vector<int> ran;
        scheduler.schedule(std::chrono::milliseconds(30), [&] { ran.push_back(2); });
        auto dropped = scheduler.schedule(std::chrono::milliseconds(10), [&] { ran.push_back(9); });
        scheduler.schedule(std::chrono::milliseconds(0), [&] { ran.push_back(1); });
        scheduler.cancel(dropped);
        scheduler.cancel(dropped);  // twice is harmless
        QTRY_COMPARE(ran, (std::vector<int>{1, 2}));

        // The desktop's threads schedule too (application events, a lost display): their
        // tasks run on the scheduler's thread, and a cancel still catches one on its way.
        std::thread::id ranOn;
        Scheduler::Ticket late = 0;
        std::thread([&] {
            scheduler.schedule(std::chrono::milliseconds(0),
                               [&] { ranOn = std::this_thread::get_id(); });
            late = scheduler.schedule(std::chrono::milliseconds(0), [&] { ran.push_back(9); });
        }).join();
        scheduler.cancel(late);
        QTRY_VERIFY(ranOn == std::this_thread::get_id());
        QTest::qWait(20);
        QCOMPARE(ran, (std::vector<int>{1, 2}));

        QTemporaryDir dir;
        auto path = std::filesystem::path(dir.path().toStdString()) / "wendle-config.json";
        DiscardLog log;
        ConfigStore store(scheduler, Logger(log, LogCategory::appDelegate), [&] { return path; });
        int settled = 0;
        store.setOnConfigChanged([&](const RootConfig&) { ++settled; });
        for (std::int64_t code = 0; code < 3; ++code) {
            store.update([&](RootConfig& c) {
                c.globalRules = {
                    testing::rule(code, 8, testing::moveWindow(Action::MoveDirection::up))};
            });
        }
        QTRY_COMPARE(settled, 1);
        QTest::qWait(250);
        QCOMPARE(settled, 1);
        QVERIFY(std::filesystem::exists(path));
    }

    // Launch: the first-run question comes half a second later, only without a file.
    void firstRunQuestion_data() {
        QTest::addColumn<bool>("fileExisted");
        QTest::addColumn<int>("answer");
        QTest::addColumn<bool>("asked");
        QTest::addColumn<bool>("registered");
        QTest::newRow("first run, start at login") << false << 0 << true << true;
        QTest::newRow("first run, not now") << false << 1 << true << false;
        QTest::newRow("second run") << true << 0 << false << false;
    }
    void firstRunQuestion() {
        QFETCH(bool, fileExisted);
        QFETCH(int, answer);
        QFETCH(bool, asked);
        QFETCH(bool, registered);
        testing::StoreFixture store;
        testing::FakeRunningApps apps;
        FakeLoginItem loginItem;
        ScriptedAlerts alerts;
        alerts.answers = {answer};
        MemoryLog log;
        WendleApp app(Logger(log, LogCategory::appDelegate), store.store, apps, loginItem, alerts,
                      {});
        app.launch(fileExisted, true);
        QVERIFY(alerts.shown.empty());
        QTest::qWait(700);
        QCOMPARE(alerts.shown.size(), asked ? 1u : 0u);
        if (asked) {
            QCOMPARE(alerts.shown[0].message, "Welcome to Wendle");
            QCOMPARE(alerts.shown[0].informative,
                     "Would you like Wendle to start automatically when you log in?");
            QCOMPARE(alerts.shown[0].buttons, QStringList({"Start at Login", "Not Now"}));
        }
        QCOMPARE(loginItem.state == platform::LoginItemStatus::enabled, registered);
        auto messages = log.takeMessages();
        QCOMPARE(std::count(messages.begin(), messages.end(), "✅ Login item enabled on first run"),
                 registered ? 1 : 0);
    }

    // Settings retries the interception when it is off; no tray opens the window at launch,
    // without a second try right after the launch's own.
    void openSettings_data() {
        QTest::addColumn<bool>("running");
        QTest::addColumn<bool>("tray");
        QTest::addColumn<int>("retries");
        QTest::newRow("running") << true << true << 0;
        QTest::newRow("not running") << false << true << 1;
        QTest::newRow("no tray, not running: no second try") << false << false << 0;
    }
    void openSettings() {
        QFETCH(bool, running);
        QFETCH(bool, tray);
        QFETCH(int, retries);
        testing::StoreFixture store;
        testing::FakeRunningApps apps;
        FakeLoginItem loginItem;
        ScriptedAlerts alerts;
        MemoryLog log;
        int starts = 0;
        AgentHooks hooks;
        hooks.interceptorRunning = [&] { return running; };
        hooks.startInterceptionIfPossible = [&] { ++starts; };
        WendleApp app(Logger(log, LogCategory::appDelegate), store.store, apps, loginItem, alerts,
                      hooks);
        app.launch(true, tray);
        QCOMPARE(app.settings().window() != nullptr, !tray);
        if (tray) app.statusBar().openSettings();
        QVERIFY(app.settings().window()->isVisible());
        QCOMPARE(starts, retries);
        auto messages = log.takeMessages();
        QCOMPARE(std::count(messages.begin(), messages.end(),
                            "Interceptor not running, retrying startup..."),
                 retries);
        QCOMPARE(std::count(messages.begin(), messages.end(), std::string(platformTexts().noTray)),
                 tray ? 0 : 1);
    }

    // The rules table follows the key source while the window is open (another program may
    // take a chord at any time), and stops asking once the window is closed.
    void chordStatusFollowedWhileOpen() {
        testing::StoreFixture store;
        testing::FakeRunningApps apps;
        FakeLoginItem loginItem;
        ScriptedAlerts alerts;
        MemoryLog log;
        int polls = 0;
        AgentHooks hooks;
        hooks.chordStatus = [&] {
            ++polls;
            return std::vector<platform::ChordStatus>{};
        };
        WendleApp app(Logger(log, LogCategory::appDelegate), store.store, apps, loginItem, alerts,
                      hooks);
        app.openSettings();
        QTRY_VERIFY_WITH_TIMEOUT(polls >= 2, 3000);
        app.settings().window()->close();
        QTest::qWait(static_cast<int>(WendleApp::kChordStatusPoll.count()) + 100);
        int afterClose = polls;
        QTest::qWait(static_cast<int>(WendleApp::kChordStatusPoll.count()) + 100);
        QCOMPARE(polls, afterClose);
    }
};

QTEST_MAIN(TrayTest)
#include "tray_test.moc"
