// The real wendle on the private server of with-x11.sh: keys pressed with xdotool (XTest, as
// another program would), the window read back with xwininfo/xprop, what the focused
// application received from the project's test client.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "support/files.h"
#include "tests/common/temp_dir.h"
#include "tests/x11/harness.h"

namespace tarn::x11test {
namespace {

using tarn::testing::TempDir;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

// ⌃⌥→ moves right and swallows; ⌃⌥← moves left and lets the key through.
std::string rule(const char* id, int keyCode, const char* direction, bool swallow) {
    return std::string(R"({"id":")") + id + R"(","chord":{"keyCode":)" + std::to_string(keyCode) +
           R"(,"modifiers":6},"action":{"moveWindow":{"direction":")" + direction +
           R"("}},"swallow":)" + (swallow ? "true" : "false") + "}";
}
const std::string kRight = rule("3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C", 124, "right", true);
const std::string kLeft = rule("3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6D", 123, "left", false);
const std::string kUp = rule("3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6E", 126, "up", true);

std::string configWith(const std::string& rules) {
    return R"({"globalRules":[)" + rules + R"(],"appConfigs":[]})";
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

    std::vector<std::string> wendleCommand(const std::string& logName) const {
        std::string p = home_.path().string();
        return {"env",
                "HOME=" + p,
                "XDG_CONFIG_HOME=" + p + "/.config",
                "XDG_RUNTIME_DIR=" + p + "/run",
                "WENDLE_LOG_STDERR=1",
                "DISPLAY=" + display(),
                "sh",
                "-c",
                "exec \"$0\" --headless 2>>\"$1\"",
                WENDLE_BINARY,
                p + "/" + logName};
    }

    void startAgent(const std::string& rules) {
        std::filesystem::create_directories(configFile().parent_path());
        std::filesystem::create_directories(home_.path() / "run");
        std::ofstream(configFile()) << configWith(rules);
        agent_.emplace(wendleCommand("wendle.log"));
        ASSERT_TRUE(eventually(
            [&] { return logged("AppDelegate: ✅ Keystroke interceptor started successfully"); },
            10s))
            << logText();
    }

    TempDir home_;
    std::optional<Child> agent_;
};

struct PressCase {
    const char* name;
    const char* lock;  // a lock key toggled on around the press, or null
    const char* chord;
    bool reachesApp;
};

TEST_F(AgentOnX11, BoundChordsMoveTheWindowAndSwallowOrPassTheKey) {
    TestApp app = startApp(home_, {"--class", "Editor", "--geometry", "798x580+100+100"});
    startAgent(kRight + "," + kLeft);
    // Every press takes the window to another step of its cycle (the cycle itself is the
    // move-app tests' matter).
    const std::vector<PressCase> cases{
        {"swallowed", nullptr, "ctrl+alt+Right", false},
        {"passed on", nullptr, "ctrl+alt+Left", true},
        {"caps lock on", "Caps_Lock", "ctrl+alt+Right", false},
        {"num lock on", "Num_Lock", "ctrl+alt+Left", true},
    };
    for (const PressCase& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.lock) run({"xdotool", "key", c.lock});
        std::size_t keys = app.keys().size();
        auto before = outerFrame(app.window());
        run({"xdotool", "key", c.chord});
        EXPECT_TRUE(eventually([&] { return outerFrame(app.window()) != before; })) << logText();
        if (c.reachesApp) {
            EXPECT_TRUE(eventually([&] { return app.keys().size() > keys; }));
        } else {
            EXPECT_EQ(app.keys().size(), keys);
        }
        if (c.lock) run({"xdotool", "key", c.lock});
    }
}

int countOf(const std::string& text, const std::string& line) {
    int count = 0;
    for (auto at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) ++count;
    return count;
}

TEST_F(AgentOnX11, TheAgentsOwnTypingNeverTriggersItsRulesWhileAnotherProgramsDoes) {
    TestApp app = startApp(home_, {"--class", "Editor", "--geometry", "798x580+100+100"});
    const std::string typist = R"({"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B70",)"
                               R"("chord":{"keyCode":40,"modifiers":6},"action":)"
                               R"({"sendKeystrokeSequence":{"sequence":"{ctrl+alt+right}"}},)"
                               R"("swallow":true})";
    startAgent(kRight + "," + typist);
    run({"xdotool", "key", "ctrl+alt+k"});
    ASSERT_TRUE(eventually(
        [&] { return logged("KeystrokeInterceptor:   Action: sendKeystrokeSequence"); }));
    // Key events arrive in order: once xdotool's own press is seen, the typed one was too.
    run({"xdotool", "key", "ctrl+alt+Right"});
    ASSERT_TRUE(eventually([&] {
        return logged("KeystrokeInterceptor:   Action: moveWindow(right)");
    })) << logText();
    EXPECT_EQ(countOf(logText(), "KeyDown: ⌃⌥→"), 1) << logText();
}

// The headless agent's one pending change is the save that follows every load: a file it
// could not read whole is copied aside and rewritten 150 ms after it was loaded. The server
// dies inside that wait, so only the save on the way out can write it.
TEST_F(AgentOnX11, TheServerGoingAwayEndsTheAgentWithAnErrorAfterItsPendingSave) {
    startAgent(kRight);
    // The save after the launch has landed: the engine was built from it a second time.
    ASSERT_TRUE(eventually([&] { return countOf(logText(), "RuleEngine:   - ⌃⌥→") == 2; }))
        << logText();
    // An edit made outside the agent, with a member it does not know.
    auto edited = configFile().string() + ".edit";
    std::ofstream(edited) << R"({"globalRules":[)" + kUp + R"(],"appConfigs":[],"theme":"dark"})";
    std::filesystem::rename(edited, configFile());
    ASSERT_TRUE(eventually([&] {
        return logged(
            "AppDelegate: Reloading the configuration: "
            "the configuration file changed outside Wendle");
    })) << logText();
    ::kill(serverPid(), SIGKILL);

    int status = 0;
    ASSERT_EQ(::waitpid(agent_->pid(), &status, 0), agent_->pid());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status << "\n" << logText();
    std::string text = logText();
    auto gone = text.find("The X server went away");
    auto saved = text.find("wendle-config.json could not be read whole");
    ASSERT_NE(gone, std::string::npos) << text;
    ASSERT_NE(saved, std::string::npos) << text;
    EXPECT_LT(gone, saved) << "saved before the server was found gone:\n" << text;
    EXPECT_EQ(support::readFile(configFile()), configWith(kUp));
}

TEST_F(AgentOnX11, AChordAnotherProgramHoldsIsReportedAndTheOthersStillWork) {
    TestApp holder = startApp(home_, {"--class", "Holder", "--grab", "Right", "0xc"});
    ASSERT_TRUE(eventually([&] { return holder.logText().find("grabbed") != std::string::npos; }));
    startAgent(kRight + "," + kUp);
    EXPECT_TRUE(eventually([&] {
        return logged(
            "KeystrokeInterceptor: Hotkey ⌃⌥→ is already taken by another program; it "
            "stays unbound");
    })) << logText();
    run({"xdotool", "key", "ctrl+alt+Up"});
    EXPECT_TRUE(eventually([&] {
        return logged("KeystrokeInterceptor:   Action: moveWindow(up)");
    })) << logText();
}

TEST_F(AgentOnX11, AFailingActionIsLoggedAndQuickPressesRunInOrder) {
    TestApp app = startApp(home_, {"--class", "Editor", "--geometry", "798x580+100+100"});
    const std::string broken = R"({"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B71",)"
                               R"("chord":{"keyCode":40,"modifiers":6},"action":)"
                               R"({"sendKeystrokeSequence":{"sequence":"{unclosed"}},)"
                               R"("swallow":true})";
    startAgent(kRight + "," + kUp + "," + broken);
    run({"xdotool", "key", "ctrl+alt+k", "ctrl+alt+Up", "ctrl+alt+Right"});
    ASSERT_TRUE(eventually([&] {
        return logged("KeystrokeInterceptor:   Action: moveWindow(right)");
    })) << logText();
    std::string text = logText();
    auto failed = text.find("Keystroke sequence failed with status 2");
    auto up = text.find("Action: moveWindow(up)");
    ASSERT_NE(failed, std::string::npos) << text;
    EXPECT_LT(failed, up);
    EXPECT_LT(up, text.find("Action: moveWindow(right)"));
}

TEST_F(AgentOnX11, OneAgentPerSessionFollowingItsFileAndEndingOnTerm) {
    TestApp app = startApp(home_, {"--class", "Editor", "--geometry", "798x580+100+100"});
    startAgent(kRight);
    Output second = run(wendleCommand("second.log"));
    EXPECT_EQ(second.status, 0);
    EXPECT_EQ(second.out, "Wendle is already running in this session\n");

    // A rule added by hand is bound without a restart; the removed one no longer swallows.
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(configFile()); }));
    std::this_thread::sleep_for(300ms);  // the launch save has landed
    std::ofstream(configFile()) << configWith(kUp);
    ASSERT_TRUE(
        eventually([&] { return logged("RuleEngine:   - ⌃⌥↑ (mod=6) → moveWindow(up)"); }, 5s))
        << logText();
    std::size_t before = app.keys().size();
    run({"xdotool", "key", "ctrl+alt+Right"});
    EXPECT_TRUE(eventually([&] { return app.keys().size() > before; }));
    run({"xdotool", "key", "ctrl+alt+Up"});
    EXPECT_TRUE(
        eventually([&] { return logged("KeystrokeInterceptor:   Action: moveWindow(up)"); }));

    ::kill(agent_->pid(), SIGTERM);
    int status = 0;
    ASSERT_EQ(::waitpid(agent_->pid(), &status, 0), agent_->pid());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_TRUE(logged("AppDelegate: Stopping on SIGTERM"));
}

// The frontmost application's entry decides: its saved location joins the right-hand cycle,
// an override that disables a rule lets that chord through untouched, and "maximize" moves
// through the up-cycle.
TEST_F(AgentOnX11, ApplicationEntriesAndMaximizeShapeTheMoves) {
    TestApp app = startApp(home_, {"--class", "Editor", "--geometry", "798x580+100+100"});
    const std::string maximize =
        rule("3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B72", 125, "maximize", true);
    const std::string editor =
        R"({"bundleID":"Editor","displayName":"Editor","savedLocations":[{"frame":[[300,200],)"
        R"([700,500]],"screenIndex":0,"screenSpecific":true}],"ruleOverrides":[")"
        "3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6E"
        R"(",{"enabled":false}]})";
    std::filesystem::create_directories(configFile().parent_path());
    std::filesystem::create_directories(home_.path() / "run");
    std::ofstream(configFile()) << R"({"globalRules":[)" + kRight + "," + kUp + "," + maximize +
                                       R"(],"appConfigs":[)" + editor + "]}";
    agent_.emplace(wendleCommand("wendle.log"));
    ASSERT_TRUE(eventually(
        [&] { return logged("AppDelegate: ✅ Keystroke interceptor started successfully"); }, 10s))
        << logText();

    // Disabled for this application: the key reaches it and nothing moves.
    auto home = outerFrame(app.window());
    std::size_t keys = app.keys().size();
    run({"xdotool", "key", "ctrl+alt+Up"});
    EXPECT_TRUE(eventually([&] { return app.keys().size() > keys; }));
    EXPECT_EQ(outerFrame(app.window()), home);

    // Somewhere in the right-hand cycle of the primary screen the saved frame comes up.
    bool reachedSaved = false;
    for (int press = 0; press < 8 && !reachedSaved; ++press) {
        auto before = outerFrame(app.window());
        run({"xdotool", "key", "ctrl+alt+Right"});
        eventually([&] { return outerFrame(app.window()) != before; });
        auto now = outerFrame(app.window());
        reachedSaved = now && near(*now, rect(300, 200, 700, 500));
    }
    EXPECT_TRUE(reachedSaved) << logText();
    EXPECT_TRUE(logged("WindowActions: Found 1 saved location(s)")) << logText();

    // Maximize is the core's up-cycle.
    auto before = outerFrame(app.window());
    run({"xdotool", "key", "ctrl+alt+Down"});
    EXPECT_TRUE(eventually([&] { return outerFrame(app.window()) != before; }));
    EXPECT_TRUE(logged("WindowActions: Calling handleMoveApp: direction=up")) << logText();
}

}  // namespace
}  // namespace tarn::x11test
