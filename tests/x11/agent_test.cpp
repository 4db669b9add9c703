// The real wendle on the private server of with-x11.sh: keys pressed with xdotool (XTest, as
// another program would), the window read back with xwininfo/xprop, what the focused
// application received from the project's test client. One test per behaviour.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <fstream>

#include "tests/x11/harness.h"

namespace tarn::x11test {
namespace {

// A rule for ⌃⌥ and the key (a macOS key code); the ids differ in their last digit.
std::string rule(char id, int keyCode, const std::string& action, bool swallow = true,
                 const std::string& more = "") {
    return std::string(R"({"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6)") + id +
           R"(","chord":{"keyCode":)" + std::to_string(keyCode) + R"(,"modifiers":6},"action":)" +
           action + R"(,"swallow":)" + (swallow ? "true" : "false") + more + "}";
}
std::string move(const std::string& direction) {
    return R"({"moveWindow":{"direction":")" + direction + R"("}})";
}
std::string typing(const std::string& sequence) {
    return R"({"sendKeystrokeSequence":{"sequence":")" + sequence + R"("}})";
}
// ⌃⌥→ moves right and swallows; ⌃⌥← moves left and lets the key through; ⌃⌥↑ moves up.
const std::string kRight = rule('C', 124, move("right"));
const std::string kLeft = rule('D', 123, move("left"), false);
const std::string kUp = rule('E', 126, move("up"));
// ⌃⌥→ whose cycle leaves out full width on the primary screen only.
const std::string kRightNoFullWidth =
    rule('C', 124, move("right"), true,
         R"(,"stateFilters":{"fullWidthOnPrimary":false,"fullWidthOnSecondary":true,)"
         R"("alignRightOnPrimary":true,"alignRightOnSecondary":true,"alignLeftOnPrimary":true,)"
         R"("alignLeftOnSecondary":true})");
const testing::ClientOptions kEditor{"Editor", {100, 100, 798, 580}};

std::string configWith(const std::string& rules, const std::string& apps = "") {
    return R"({"globalRules":[)" + rules + R"(],"appConfigs":[)" + apps + "]}";
}

int countOf(const std::string& text, const std::string& line) {
    int count = 0;
    for (auto at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) ++count;
    return count;
}

class AgentOnX11 : public ::testing::Test {
  protected:
    std::filesystem::path configFile() const {
        return home_.path() / ".config/Tarn/wendle-config.json";
    }
    std::string logText() const {
        return support::readFile(home_.path() / "wendle.log").value_or("");
    }
    bool logged(const std::string& line) const {
        return logText().find(line + "\n") != std::string::npos;
    }
    bool logsSoon(const std::string& line, std::chrono::milliseconds limit = 5s) const {
        return eventually([&] { return logged(line); }, limit);
    }
    bool acted(const std::string& action) const {
        return logsSoon("KeystrokeInterceptor:   Action: " + action);
    }

    // DISPLAY comes from the fixture; standard error goes to the log.
    std::vector<std::string> wendleCommand(const std::string& logName) const {
        const char* script =
            "HOME=$0 XDG_CONFIG_HOME=$0/.config XDG_RUNTIME_DIR=$0/run "
            "WENDLE_LOG_STDERR=1 exec \"$1\" --headless 2>>\"$0/$2\"";
        return {"sh", "-c", script, home_.path().string(), WENDLE_BINARY, logName};
    }

    void startAgent(const std::string& config) {
        std::filesystem::create_directories(configFile().parent_path());
        std::filesystem::create_directories(home_.path() / "run");
        std::ofstream(configFile()) << config;
        agent_.emplace(wendleCommand("wendle.log"));
        ASSERT_TRUE(logsSoon("AppDelegate: ✅ Keystroke interceptor started successfully", 10s))
            << logText();
    }

    bool pressMoves(const testing::TestClient& app, const std::string& chord) {
        auto before = app.frame();
        desktop_.press(chord);
        return eventually([&] { return app.frame() != before; });
    }
    bool pressReaches(const testing::TestClient& app, const std::string& chord) {
        std::size_t before = app.keys().size();
        desktop_.press(chord);
        return eventually([&] { return app.keys().size() > before; });
    }

    int exitStatus() {
        int status = 0;
        EXPECT_EQ(::waitpid(agent_->pid(), &status, 0), agent_->pid());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    tarn::testing::TempDir home_;
    X11Oracle desktop_{home_};
    std::optional<Child> agent_;
};

TEST_F(AgentOnX11, BoundChordsMoveTheWindowAndSwallowOrPassTheKeyWhateverTheLocks) {
    auto app = desktop_.startClient(kEditor);
    startAgent(configWith(kRight + "," + kLeft));
    // Every press takes the window to another step of its cycle (the cycle itself is the
    // move-app tests' matter).
    struct Press {
        const char* lock;  // a lock key toggled on around the press, or null
        const char* chord;
        bool reachesApp;
    };
    const Press presses[] = {
        {nullptr, "ctrl+alt+Right", false},
        {nullptr, "ctrl+alt+Left", true},
        {"Caps_Lock", "ctrl+alt+Right", false},
        {"Num_Lock", "ctrl+alt+Left", true},
    };
    for (const Press& press : presses) {
        SCOPED_TRACE(std::string(press.chord) + " " + (press.lock ? press.lock : ""));
        if (press.lock) desktop_.press(press.lock);
        std::size_t keys = app->keys().size();
        EXPECT_TRUE(pressMoves(*app, press.chord)) << logText();
        // A replayed key reaches the client before the action runs.
        EXPECT_EQ(eventually([&] { return app->keys().size() > keys; }, press.reachesApp ? 5s : 0s),
                  press.reachesApp);
        if (press.lock) desktop_.press(press.lock);
    }
}

// The rule's filters and the frontmost application's entry decide: an override that
// disables a rule lets that chord through untouched, its saved location joins the
// right-hand cycle, and "maximize" moves through the up-cycle. The agent's own typing never
// triggers a rule (below); another program's press does.
TEST_F(AgentOnX11, RuleFiltersApplicationEntriesAndMaximizeShapeTheMoves) {
    auto app = desktop_.startClient(kEditor);
    const std::string editor =
        R"({"bundleID":"Editor","displayName":"Editor","savedLocations":[{"frame":[[300,200],)"
        R"([700,500]],"screenIndex":0,"screenSpecific":true}],"ruleOverrides":[)"
        R"("3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6E",{"enabled":false}]})";
    startAgent(
        configWith(kRightNoFullWidth + "," + kUp + "," + rule('B', 125, move("maximize")), editor));

    auto home = app->frame();
    EXPECT_TRUE(pressReaches(*app, "ctrl+alt+Up"));
    EXPECT_EQ(app->frame(), home);

    // Home 100,100 800x605 is nearest LEFT alignLeft; without LEFT full width (0,100
    // 1920x605) the next step right is LEFT original, centred in 0,25 1920x1055.
    desktop_.press("ctrl+alt+Right");
    EXPECT_TRUE(settlesAt(*app, {560, 250, 800, 605})) << logText();
    bool reachedSaved = false;
    for (int press = 0; press < 8 && !reachedSaved; ++press) {
        pressMoves(*app, "ctrl+alt+Right");
        reachedSaved = near(app->frame().value_or(Rect{}), {300, 200, 700, 500});
    }
    EXPECT_TRUE(reachedSaved) << logText();
    EXPECT_TRUE(logged("WindowActions: Found 1 saved location(s)")) << logText();

    // Up from the saved location: its full height on the primary (0,25 1920x1055).
    desktop_.press("ctrl+alt+Down");
    EXPECT_TRUE(settlesAt(*app, {300, 25, 700, 1055})) << logText();
}

// What a typing rule's keys look like at the client, however the user presses its chord:
// the bound chords it types arrive as typed (⌃⌥→ swallows, ⌃⌥← passes; neither fires, so
// the window stays put), a pause holds, characters without a key are skipped, and the
// chord's own modifiers, still held, never leak in. Afterwards exactly the keys the user
// still holds are down. The chord used to keep the keyboard grabbed while held, so the keys
// went to the agent instead.
TEST_F(AgentOnX11, KeysARuleTypesArriveWholeHoweverTheChordIsHeld) {
    auto app = desktop_.startClient(kEditor);
    startAgent(configWith(
        kRight + "," + kLeft + "," +
        rule('A', 14, typing("{ctrl+alt+right}{ctrl+alt+left}x{pause 150}y\u00e9\u20acz"))));
    const std::vector<std::string> typed{"ctrl+alt+Right", "ctrl+alt+Left", "x", "y", "z"};
    auto user = [](std::initializer_list<const char*> keys, bool down) {
        for (const char* key : keys) holdOnUsersKeyboard(key, down);
    };
    const int control = keyCodeOf("Control_L"), alt = keyCodeOf("Alt_L"), e = keyCodeOf("e");
    struct Press {
        const char* name;
        std::function<void(const std::function<void(std::size_t)>& waitForKeys)> press;
        int times;                   // how often the sequence is typed
        std::vector<int> heldAfter;  // keys down once the sequence has ended, before letting go
    };
    const Press presses[] = {
        {"a quick tap from another program", [&](auto&) { desktop_.press("ctrl+alt+e"); }, 1, {}},
        {"held on the keyboard while the sequence types",
         [&](auto& waitForKeys) {
             user({"Control_L", "Alt_L", "e"}, true);
             waitForKeys(typed.size());
         },
         1,
         {control, alt, e}},
        {"an auto-repeat is a fresh press",
         [&](auto& waitForKeys) {
             user({"Control_L", "Alt_L", "e"}, true);
             waitForKeys(typed.size());
             user({"e"}, true);
             waitForKeys(2 * typed.size());
         },
         2,
         {control, alt, e}},
        {"Alt let go of while the sequence types",
         [&](auto& waitForKeys) {
             user({"Control_L", "Alt_L", "e"}, true);
             waitForKeys(3);
             user({"Alt_L"}, false);
             waitForKeys(typed.size());
         },
         1,
         {control, e}},
    };
    const auto home = app->frame();
    for (const Press& press : presses) {
        SCOPED_TRACE(press.name);
        const std::size_t before = app->keys().size();
        auto waitForKeys = [&](std::size_t count) {
            eventually([&] { return app->keys().size() >= before + count; });
        };
        press.press(waitForKeys);
        waitForKeys(press.times * typed.size());
        std::vector<std::string> expected;
        for (int time = 0; time < press.times; ++time)
            expected.insert(expected.end(), typed.begin(), typed.end());
        auto keys = app->keys();
        EXPECT_EQ(std::vector<std::string>(keys.begin() + static_cast<long>(before), keys.end()),
                  expected)
            << logText();
        if (!press.heldAfter.empty()) {
            auto held = press.heldAfter;
            std::sort(held.begin(), held.end());  // in key code order, as the server lists them
            EXPECT_TRUE(eventually([&] { return keysDown() == held; }))
                << ::testing::PrintToString(keysDown());
            user({"e", "Alt_L", "Control_L"}, false);
        }
        EXPECT_TRUE(eventually([&] { return keysDown().empty(); }))
            << ::testing::PrintToString(keysDown());
        EXPECT_EQ(app->frame(), home);
    }
}

TEST_F(AgentOnX11, AFailingActionIsLoggedAndQuickPressesRunInOrder) {
    auto app = desktop_.startClient(kEditor);
    startAgent(configWith(kRight + "," + kUp + "," + rule('A', 40, typing("{unclosed"))));
    run({"xdotool", "key", "ctrl+alt+k", "ctrl+alt+Up", "ctrl+alt+Right"});
    ASSERT_TRUE(acted("moveWindow(right)")) << logText();
    std::string text = logText();
    auto failed = text.find("Keystroke sequence failed with status 2");
    auto up = text.find("Action: moveWindow(up)");
    ASSERT_NE(failed, std::string::npos) << text;
    EXPECT_LT(failed, up);
    EXPECT_LT(up, text.find("Action: moveWindow(right)"));
}

// One agent per session, its keys watched by a thread of its own; a chord another program
// holds or whose key the keyboard lacks is reported and the others work; a hand edit of the
// file rebinds without a restart (the rule it removes no longer swallows its key); a keymap
// change takes each chord to where its key went; SIGTERM ends it cleanly.
TEST_F(AgentOnX11, OneAgentFollowingItsFileTheKeymapAndOtherHotkeyPrograms) {
    TestApp holder = startApp(home_, {"--class", "Holder", "--grab", "Down", "c"});
    ASSERT_TRUE(eventually([&] { return holder.logged("grabbed"); }));
    auto app = desktop_.startClient(kEditor);
    const std::string launched = configWith(kRight + "," + rule('F', 125, move("left")) + "," +
                                            rule('0', 105, move("left")));
    startAgent(launched);
    EXPECT_TRUE(
        logsSoon("KeystrokeInterceptor: Hotkey ⌃⌥↓ is already taken by another program; "
                 "it stays unbound"));
    EXPECT_TRUE(
        logsSoon("KeystrokeInterceptor: Hotkey ⌃⌥F13 has no key on this keyboard; it "
                 "stays unbound"))
        << logText();
    EXPECT_EQ(countOf(logText(), "is already taken"), 1) << logText();
    EXPECT_TRUE(pressMoves(*app, "ctrl+alt+Right"));
    std::string threads;
    auto tasks = "/proc/" + std::to_string(agent_->pid()) + "/task";
    for (const auto& task : std::filesystem::directory_iterator(tasks))
        threads += support::readFile(task.path() / "comm").value_or("");
    EXPECT_THAT(threads, ::testing::HasSubstr("KeystrokeInterc\n"));
    Output second = run(wendleCommand("second.log"));
    EXPECT_EQ(second.status, 0);
    EXPECT_EQ(second.out, "Wendle is already running in this session\n");

    // Reading the file wrote nothing; an edit is loaded, and left as it was written too.
    EXPECT_EQ(support::readFile(configFile()), launched);
    std::ofstream(configFile()) << configWith(kUp);
    ASSERT_TRUE(logsSoon("RuleEngine:   - ⌃⌥↑ (mod=6) → moveWindow(up)")) << logText();
    EXPECT_TRUE(pressReaches(*app, "ctrl+alt+Right"));
    EXPECT_EQ(support::readFile(configFile()), configWith(kUp));

    // Up and Left trade keys: the chord follows Up to its new key, the old one types Left.
    const std::string up = std::to_string(keyCodeOf("Up")),
                      left = std::to_string(keyCodeOf("Left"));
    ASSERT_EQ(run({"xmodmap", "-e", "keycode " + up + " = Left", "-e", "keycode " + left + " = Up"})
                  .status,
              0);
    EXPECT_TRUE(eventually([&] {
        desktop_.press("ctrl+alt+Up");
        return logged("KeystrokeInterceptor:   Action: moveWindow(up)");
    })) << logText();
    EXPECT_TRUE(pressReaches(*app, "ctrl+alt+Left"));
    EXPECT_EQ(app->keys().back(), "ctrl+alt+Left");

    ::kill(agent_->pid(), SIGTERM);
    EXPECT_EQ(exitStatus(), 0);
    EXPECT_TRUE(logged("AppDelegate: Stopping on SIGTERM"));
}

// The server going away ends the agent with status 1, and an edit it could read only in part
// (a member it does not know) is left as the user wrote it: the agent reads, and writes only
// a change of its own (whose pending save SIGTERM and a lost server still write; the unit
// tests show that one).
TEST_F(AgentOnX11, TheServerGoingAwayEndsTheAgentWithAnErrorAndTheFileStaysAsWritten) {
    startAgent(configWith(kRight));
    const std::string edit = R"({"globalRules":[)" + kUp + R"(],"appConfigs":[],"theme":"dark"})";
    auto edited = configFile().string() + ".edit";
    std::ofstream(edited) << edit;
    std::filesystem::rename(edited, configFile());
    ASSERT_TRUE(
        logsSoon("AppDelegate: wendle-config.json could not be read whole (1 part of it "
                 "could not be kept, first theme: unknown member, not kept); Wendle runs "
                 "on what it could read and leaves the file as it is until its "
                 "configuration is changed"))
        << logText();
    ASSERT_TRUE(logsSoon("RuleEngine:   - ⌃⌥↑ (mod=6) → moveWindow(up)")) << logText();
    ::kill(serverPid(), SIGKILL);

    EXPECT_EQ(exitStatus(), 1) << logText();
    EXPECT_THAT(logText(), ::testing::HasSubstr("AppDelegate: The X server went away ("));
    EXPECT_EQ(support::readFile(configFile()), edit);
    EXPECT_THAT(tarn::testing::backupsOf(configFile()), ::testing::IsEmpty());
}

// The fault: with `wendle --headless` running on the demo configuration,
// `{ head -c 700 demo.json; sleep 1; tail -c +701 demo.json; } > wendle-config.json` left
// {"globalRules":[],"appConfigs":[]} in the file a second later and every hotkey unbound.
TEST_F(AgentOnX11, AConfigurationWrittenSlowlyIsLoadedWholeAndNeverWrittenBack) {
    auto app = desktop_.startClient(kEditor);
    startAgent(configWith(kLeft));
    const std::filesystem::path demo =
        std::filesystem::path(TARN_TESTS_DIR) / "../scripts/demo-wendle-config.json";
    Output writer =
        run({"sh", "-c", "{ head -c 700 \"$0\"; sleep 1; tail -c +701 \"$0\"; } > \"$1\"",
             demo.string(), configFile().string()});
    ASSERT_EQ(writer.status, 0);
    EXPECT_TRUE(
        logged("AppDelegate: wendle-config.json could not be read (it is not a readable "
               "configuration); Wendle keeps the configuration it has and reads the "
               "file again when it next changes"))
        << logText();
    // The whole file is read once it holds still: the demo's ⌃⌥↑ moves the window.
    ASSERT_TRUE(logsSoon("RuleEngine:   - ⌃⌥↑ (mod=6) → moveWindow(up)")) << logText();
    EXPECT_TRUE(pressMoves(*app, "ctrl+alt+Up")) << logText();
    EXPECT_EQ(support::readFile(configFile()), support::readFile(demo));
    EXPECT_THAT(tarn::testing::backupsOf(configFile()), ::testing::IsEmpty());
}

// One agent per user and display, whatever XDG_RUNTIME_DIR says and whatever files are
// deleted: a second agent used to start when the variable was unset, or once wendle.lock was
// removed. An agent on another display is another agent's business.
TEST_F(AgentOnX11, OneAgentPerDisplayWithoutTheRuntimeDirectoryAndWithItsFilesDeleted) {
    startAgent(configWith(kRight));
    const std::string already = "Wendle is already running in this session\n";
    auto launch = [&](const std::string& environment, const std::string& logName) {
        std::string script = "HOME=$0 XDG_CONFIG_HOME=$0/.config " + environment +
                             " WENDLE_LOG_STDERR=1 exec \"$1\" --headless 2>>\"$0/$2\"";
        return std::vector<std::string>{"env",  "-u",   "XDG_RUNTIME_DIR",     "sh",
                                        "-c",   script, home_.path().string(), WENDLE_BINARY,
                                        logName};
    };
    EXPECT_EQ(run(launch("", "unset.log")).out, already);
    std::filesystem::create_directories(home_.path() / "elsewhere");
    // Every file the agents could have locked is gone: still one agent.
    std::filesystem::remove_all(home_.path() / "run");
    for (const auto& entry : std::filesystem::directory_iterator(configFile().parent_path())) {
        if (entry.path().filename().string().find(".lock") != std::string::npos)
            std::filesystem::remove(entry.path());
    }
    Output deleted = run(launch("XDG_RUNTIME_DIR=$0/elsewhere", "deleted.log"));
    EXPECT_EQ(deleted.out, already);

    // Another display: an agent of its own, past the lock to its launch.
    PrivateServer other("-screen 0 800x600x24");
    Child second(launch("DISPLAY=" + other.display(), "other.log"));
    auto otherLog = [&] { return support::readFile(home_.path() / "other.log").value_or(""); };
    EXPECT_TRUE(eventually(
        [&] { return otherLog().find("AppDelegate: Config loaded") != std::string::npos; }, 10s))
        << otherLog();
}

}  // namespace
}  // namespace tarn::x11test
