// The real wendle on the private sway: chords pressed with wtype (a virtual keyboard, as
// another program would), the window read back with swaymsg, what the focused window received
// from the Wayland test client's log. sway's configuration binds ⌃⌥↓ itself (agent.conf).
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <fstream>

#include "tests/sway/harness.h"

namespace tarn::swaytest {
namespace {

// A rule for ⌃⌥ and the key (a macOS key code); the ids differ in their last digit.
std::string rule(char id, int keyCode, const std::string& action, bool swallow = true) {
    return std::string(R"({"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6)") + id +
           R"(","chord":{"keyCode":)" + std::to_string(keyCode) + R"(,"modifiers":6},"action":)" +
           action + R"(,"swallow":)" + (swallow ? "true" : "false") + "}";
}
std::string move(const std::string& direction) {
    return R"({"moveWindow":{"direction":")" + direction + R"("}})";
}
std::string configWith(const std::string& rules, const std::string& apps = "") {
    return R"({"globalRules":[)" + rules + R"(],"appConfigs":[)" + apps + "]}";
}
// ⌃⌥→ moves right and swallows; ⌃⌥← moves left and lets the key through; ⌃⌥↑ moves up.
const std::string kRight = rule('C', 124, move("right"));
const std::string kLeft = rule('D', 123, move("left"), false);
const std::string kUp = rule('E', 126, move("up"));
const Rect kHome{100, 100, 800, 605};

int countOf(const std::string& text, const std::string& line) {
    int count = 0;
    for (auto at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) ++count;
    return count;
}

// Control and Alt in the client's log.
std::string withControlAlt(const std::string& key) {
    return "key " + key + " 0xc";
}

class AgentOnSway : public ::testing::Test {
  protected:
    std::filesystem::path configFile() const {
        return home_.path() / ".config/Tarn/wendle-config.json";
    }
    std::string logText() const {
        return support::readFile(home_.path() / "wendle.log").value_or("");
    }
    bool logsSoon(const std::string& line, std::chrono::milliseconds limit = 5s) const {
        return eventually([&] { return logText().find(line + "\n") != std::string::npos; }, limit);
    }

    void startAgent(const std::string& config) {
        std::filesystem::create_directories(configFile().parent_path());
        std::ofstream(configFile()) << config;
        const char* script =
            "HOME=$0 XDG_CONFIG_HOME=$0/.config WENDLE_LOG_STDERR=1 "
            "exec \"$1\" --headless 2>>\"$0/wendle.log\"";
        const std::string started = "AppDelegate: ✅ Keystroke interceptor started successfully";
        const int before = countOf(logText(), started);
        agent_.emplace(
            std::vector<std::string>{"sh", "-c", script, home_.path().string(), WENDLE_BINARY});
        ASSERT_TRUE(eventually([&] { return countOf(logText(), started) > before; }, 10s))
            << logText();
    }

    TestClient startEditor() {
        TestClient editor = startClient(home_, "Editor", "640x480");
        placeFloating(editor, kHome);
        return editor;
    }

    // ctrl+alt+<key> from another program.
    static void press(const std::string& key) {
        run({"wtype", "-M", "ctrl", "-M", "alt", "-k", key, "-m", "alt", "-m", "ctrl"});
    }
    static bool pressMoves(const TestClient& client, const std::string& key) {
        auto before = frameOf(client.pid());
        press(key);
        return eventually([&] { return frameOf(client.pid()) != before; });
    }
    static bool pressReaches(const TestClient& client, const std::string& key) {
        std::size_t before = client.keys().size();
        press(key);
        return eventually([&] { return client.keys().size() > before; }) &&
               client.keys().back() == withControlAlt(key);
    }

    TempDir home_;
    std::optional<Child> agent_;
};

// sway consumes every bound chord: a swallowed one never reaches the window, a passed one
// is typed into it by the agent, once.
TEST_F(AgentOnSway, BoundChordsMoveTheWindowAndSwallowOrPassTheKey) {
    TestClient editor = startEditor();
    startAgent(configWith(kRight + "," + kLeft));
    EXPECT_TRUE(pressMoves(editor, "Right")) << logText();
    EXPECT_TRUE(pressMoves(editor, "Left")) << logText();
    EXPECT_TRUE(eventually([&] { return !editor.keys().empty(); }));
    EXPECT_EQ(editor.keys(), std::vector<std::string>{withControlAlt("Left")});
    // Passed again: the retyped chord does not set off its own rule (which would move the
    // window and type it once more, before a key typed after it).
    EXPECT_TRUE(pressMoves(editor, "Left"));
    run({"wtype", "z"});
    ASSERT_TRUE(eventually([&] { return editor.keys().size() >= 3; }));
    EXPECT_EQ(editor.keys(), (std::vector<std::string>{withControlAlt("Left"),
                                                       withControlAlt("Left"), "key z 0x0"}));
    EXPECT_EQ(countOf(logText(), "Action: moveWindow(left)"), 2) << logText();
}

// The focused window's application (its app_id, followed through sway's events) decides:
// a rule its entry disables lets the chord through to it, while another application's
// window still gets the rule.
TEST_F(AgentOnSway, ARuleTheFocusedApplicationDisablesLetsItsChordThrough) {
    TestClient viewer = startClient(home_, "Viewer", "640x480");
    placeFloating(viewer, {200, 300, 600, 400});
    TestClient editor = startEditor();
    startAgent(configWith(kRight,
                          R"({"bundleID":"Editor","displayName":"Editor",)"
                          R"("savedLocations":[],"ruleOverrides":)"
                          R"(["3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C",{"enabled":false}]})"));
    EXPECT_TRUE(pressReaches(editor, "Right")) << logText();
    EXPECT_EQ(frameOf(editor.pid()), kHome);
    ASSERT_TRUE(swaymsg("[app_id=Viewer] focus"));
    EXPECT_TRUE(pressMoves(viewer, "Right")) << logText();
    EXPECT_TRUE(viewer.keys().empty());
}

// A rule that types a chord another rule binds: the keys arrive and the other rule stays
// still; the same chord from wtype runs it.
TEST_F(AgentOnSway, TheAgentsOwnTypingOfABoundChordTriggersNothingAndArrives) {
    TestClient editor = startEditor();
    startAgent(
        configWith(kRight + "," +
                   rule('A', 14, R"({"sendKeystrokeSequence":{"sequence":"{ctrl+alt+right}x"}})")));
    press("e");
    ASSERT_TRUE(eventually([&] { return editor.keys().size() >= 2; })) << logText();
    EXPECT_EQ(editor.keys(), (std::vector<std::string>{withControlAlt("Right"), "key x 0x0"}));
    EXPECT_EQ(frameOf(editor.pid()), kHome);
    EXPECT_TRUE(pressMoves(editor, "Right"));
}

// A chord sway's configuration binds is reported taken and left to sway; a hand edit of the
// file rebinds; a `swaymsg reload`, which drops run-time bindings, keeps the agent's; the
// agent stopped leaves none behind.
TEST_F(AgentOnSway, FollowsItsFileAndSwaysReloadAndLeavesNoBindingBehind) {
    TestClient editor = startEditor();
    startAgent(configWith(kRight + "," + rule('F', 125, move("left"))));
    EXPECT_TRUE(
        logsSoon("KeystrokeInterceptor: Hotkey ⌃⌥↓ is already taken by another program; "
                 "it stays unbound"))
        << logText();
    EXPECT_TRUE(pressMoves(editor, "Right"));

    std::ofstream(configFile()) << configWith(kUp);
    ASSERT_TRUE(logsSoon("RuleEngine:   - ⌃⌥↑ (mod=6) → moveWindow(up)")) << logText();
    EXPECT_TRUE(pressReaches(editor, "Right"));
    EXPECT_TRUE(pressMoves(editor, "Up"));

    // sway drops run-time bindings as it reloads (and may place the window anew): pressed
    // until the agent, bound again, runs the rule.
    const auto ups = [&] { return countOf(logText(), "Action: moveWindow(up)"); };
    const int before = ups();
    ASSERT_TRUE(swaymsg("reload"));
    EXPECT_TRUE(eventually([&] {
        press("Up");
        return eventually([&] { return ups() > before; }, 200ms);
    })) << logText();

    ::kill(agent_->pid(), SIGTERM);
    int status = 0;
    ASSERT_EQ(::waitpid(agent_->pid(), &status, 0), agent_->pid());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_TRUE(pressReaches(editor, "Up"));
}

// An agent killed outright cannot unbind: the next one removes its bindings first.
TEST_F(AgentOnSway, AnAgentThatDiedLeavesNoBindingToTheNextOne) {
    TestClient editor = startEditor();
    startAgent(configWith(kRight));
    ::kill(agent_->pid(), SIGKILL);
    ::waitpid(agent_->pid(), nullptr, 0);
    startAgent(configWith(kUp));
    EXPECT_TRUE(pressReaches(editor, "Right")) << logText();
    EXPECT_TRUE(pressMoves(editor, "Up"));
}

}  // namespace
}  // namespace tarn::swaytest
