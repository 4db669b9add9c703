// The tray menu and the launch steps that belong to the desktop side, through the menu
// object and with alerts answered by the test.
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTest>
#include <thread>

#include "agent/ui/platform_texts.h"
#include "agent/ui/qt_scheduler.h"
#include "agent/ui/status_bar.h"
#include "agent/ui/wendle_app.h"
#include "tests/agent/ui/ui_fixture.h"

using namespace tarn;
using namespace tarn::agent;
using namespace tarn::agent::ui;
using Status = platform::LoginItemStatus;

namespace {

class FakeLoginItem final : public platform::LoginItem {
  public:
    Status state = Status::notRegistered;
    std::string failure;  // non-empty: every change fails with it
    std::vector<std::string> calls;

    Status status() override { return state; }
    bool registerItem(std::string& error) override { return change("register", error); }
    bool unregisterItem(std::string& error) override { return change("unregister", error); }

  private:
    bool change(const std::string& call, std::string& error) {
        calls.push_back(call);
        if (failure.empty()) state = call == "register" ? Status::enabled : Status::notRegistered;
        error = failure;
        return failure.empty();
    }
};

QStringList titles(QMenu* menu) {
    QStringList list;
    for (QAction* action : menu->actions()) list << (action->isSeparator() ? "-" : action->text());
    return list;
}

QAction* item(QMenu* menu, const QString& title) {
    return menu->actions().at(titles(menu).indexOf(title));
}

struct TrayFixture {
    FakeLoginItem loginItem;
    testing::RecordingAlerts alerts;
    QStringList calls;
    StatusBarController tray{{.onOpenSettings = [this] { calls << "settings"; },
                              .onRequestPermissions = [this] { calls << "permissions"; },
                              .onQuit = [this] { calls << "quit"; }},
                             loginItem,
                             alerts};
    void trigger(const QString& title) { item(tray.menu(), title)->trigger(); }
    QString loginTitle() { return titles(tray.menu())[4]; }
};

// The agent's desktop side over fakes; `hooks` may be changed before make().
struct AppFixture {
    testing::StoreFixture store;
    testing::FakeRunningApps apps;
    FakeLoginItem loginItem;
    testing::RecordingAlerts alerts;
    MemoryLog log;
    AgentHooks hooks;
    std::unique_ptr<WendleApp> app;

    WendleApp& make() {
        app = std::make_unique<WendleApp>(Logger(log, LogCategory::appDelegate), store.store, apps,
                                          loginItem, alerts, hooks);
        return *app;
    }
    long logged(std::string_view line) const {
        return std::ranges::count(log.entries(), line, &MemoryLog::Entry::message);
    }
};

}  // namespace

class TrayTest : public QObject {
    Q_OBJECT
  private slots:
    // The items in order; then each, with the answer given to the alert it shows: the callbacks
    // made and the alert's title ("": none).
    void menuItems() {
        TrayFixture f;
        QCOMPARE(titles(f.tray.menu()),
                 QStringList({"Settings…", "-", "Request Accessibility Permission…", "-",
                              "Start at Login", "-", "Help", "About Wendle", "-", "Quit"}));
        QCOMPARE(item(f.tray.menu(), "Settings…")->shortcut(),
                 QKeySequence(Qt::CTRL | Qt::Key_Comma));
        QCOMPARE(item(f.tray.menu(), "Quit")->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Q));
        QVERIFY(!f.tray.tray()->icon().isNull());
        const char* help = "Wendle Troubleshooting";
        for (auto [title, answer, calls, alert] :
             {std::tuple{"Settings…", 0, QStringList{"settings"}, ""},
              {"Request Accessibility Permission…", 0, QStringList{"permissions"}, ""},
              {"Quit", 0, QStringList{"quit"}, ""},
              {"Help", 0, QStringList{}, help},  // OK
              {"Help", 1, QStringList{"settings"}, help},
              {"Help", 2, QStringList{"permissions"}, help},  // request now
              {"Help", -1, QStringList{}, help},              // closed
              {"About Wendle", 0, QStringList{}, "Wendle"}}) {
            f.calls.clear();
            f.alerts.shown.clear();
            f.alerts.answers = {answer};
            f.trigger(title);
            QCOMPARE(f.calls, calls);
            QCOMPARE(f.alerts.texts(), *alert ? QStringList{alert} : QStringList{});
            if (!*alert) continue;
            if (std::string_view(title) == "Help") {
                QCOMPARE(f.alerts.shown[0].buttons.size(), 3);
            } else {
                QVERIFY(f.alerts.shown[0].informative.startsWith("Version "));
                QCOMPARE(f.alerts.shown[0].link, QString(kWebsite));
            }
        }
    }

    // The title reads the state when the menu was built; the toggle acts on the state now.
    // A failure is shown, and the title stays.
    void loginItemToggle() {
        using enum Status;
        const char *start = "Start at Login", *remove = "Remove from Login Items";
        for (auto [atBuild, now, failure, title, call, rebuilt] :
             {std::tuple{enabled, enabled, "", remove, "unregister", start},
              {notRegistered, notRegistered, "", start, "register", remove},
              {notRegistered, enabled, "", start, "unregister", start},
              {notRegistered, notRegistered, "cannot write x.desktop", start, "register", start}}) {
            TrayFixture f;
            f.loginItem.state = atBuild;
            f.tray.buildMenu();
            f.loginItem.state = now;
            f.loginItem.failure = failure;
            QCOMPARE(f.loginTitle(), title);
            f.trigger(title);
            QCOMPARE(f.loginItem.calls, std::vector<std::string>{call});
            QCOMPARE(f.loginTitle(), rebuilt);
            for (const Alert& alert : f.alerts.shown) QCOMPARE(alert.style, Alert::Style::warning);
            QCOMPARE(f.alerts.texts(true),
                     *failure ? QStringList{"Login Item Error: Failed to update login "
                                            "item status: cannot write x.desktop"}
                              : QStringList{});
        }
    }

    // The event loop runs tasks in time order; a cancelled task never runs, also one
    // scheduled from another thread (the desktop's), whose tasks run on the scheduler's thread.
    void qtScheduler() {
        QtScheduler scheduler;
        std::vector<int> ran;
        scheduler.schedule(std::chrono::milliseconds(30), [&] { ran.push_back(2); });
        auto dropped = scheduler.schedule(std::chrono::milliseconds(10), [&] { ran.push_back(9); });
        scheduler.schedule(std::chrono::milliseconds(0), [&] { ran.push_back(1); });
        scheduler.cancel(dropped);
        scheduler.cancel(dropped);  // twice is harmless
        QTRY_COMPARE(ran, (std::vector<int>{1, 2}));
        std::thread::id ranOn;
        Scheduler::Ticket late = 0;
        std::thread([&] {
            scheduler.schedule(std::chrono::milliseconds(0),
                               [&] { ranOn = std::this_thread::get_id(); });
            late = scheduler.schedule(std::chrono::milliseconds(0), [&] { ran.push_back(9); });
        }).join();
        scheduler.cancel(late);
        QTRY_VERIFY(ranOn == std::this_thread::get_id());
        QTest::qWait(50);
        QCOMPARE(ran, (std::vector<int>{1, 2}));
    }

    // Launch: the first-run question comes half a second later, only without a file.
    void firstRunQuestion() {
        for (auto [fileExisted, answer, registered] :
             {std::tuple{false, 0, true}, {false, 1, false}, {true, 0, false}}) {
            AppFixture f;
            f.alerts.answers = {answer};
            f.make().launch(fileExisted, true);
            QVERIFY(f.alerts.shown.empty());
            QTest::qWait(700);
            QCOMPARE(f.alerts.texts(),
                     fileExisted ? QStringList{} : QStringList{"Welcome to Wendle"});
            if (!fileExisted)
                QCOMPARE(f.alerts.shown[0].buttons, QStringList({"Start at Login", "Not Now"}));
            QCOMPARE(f.loginItem.state == Status::enabled, registered);
            QCOMPARE(f.logged("✅ Login item enabled on first run"), registered ? 1 : 0);
            QCOMPARE(titles(f.app->statusBar().menu())[4],
                     registered ? "Remove from Login Items" : "Start at Login");
        }
    }

    // Settings retries the interception when it is off; no tray opens the window at launch,
    // without a second try right after the launch's own.
    void openSettings() {
        for (auto [running, tray, retries] :
             {std::tuple{true, true, 0}, {false, true, 1}, {false, false, 0}}) {
            AppFixture f;
            int starts = 0;
            f.hooks.interceptorRunning = [&] { return running; };
            f.hooks.startInterceptionIfPossible = [&] { ++starts; };
            WendleApp& app = f.make();
            app.launch(true, tray);
            QCOMPARE(app.settings().window() != nullptr, !tray);
            if (tray) item(app.statusBar().menu(), "Settings…")->trigger();
            QVERIFY(app.settings().window()->isVisible());
            QCOMPARE(starts, retries);
            QCOMPARE(f.logged("Interceptor not running, retrying startup..."), retries);
            QCOMPARE(f.logged(platformTexts().noTray), tray ? 0 : 1);
        }
    }

    // The rules table follows the key source while the window is open (another program may
    // take a chord at any time), and stops asking once the window is closed.
    void chordStatusFollowedWhileOpen() {
        AppFixture f;
        int polls = 0;
        f.hooks.chordStatus = [&] {
            ++polls;
            return std::vector<platform::ChordStatus>{};
        };
        f.make().openSettings();
        QTRY_VERIFY_WITH_TIMEOUT(polls >= 2, 3000);
        f.app->settings().window()->close();
        QTest::qWait(static_cast<int>(WendleApp::kChordStatusPoll.count()) + 100);
        int afterClose = polls;
        QTest::qWait(static_cast<int>(WendleApp::kChordStatusPoll.count()) + 100);
        QCOMPARE(polls, afterClose);
    }
};

QTEST_MAIN(TrayTest)
#include "tray_test.moc"
