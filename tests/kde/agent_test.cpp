// The real wendle on the private KWin of with-kwin.sh: chords pressed with `tarn keys` (KWin's
// fake input, as another program would press them), the window read back by the tests' own
// KWin script, what the focused application received from the test client's log, and the
// shortcuts KWin files read from kglobalaccel with gdbus.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <fstream>

#include "tests/common/command_runner.h"
#include "tests/kde/harness.h"

namespace tarn::kdetest {
namespace {

using tarn::testing::Child;
using tarn::testing::runTarn;

// A rule for the chord (a macOS key code; modifiers shift 1, control 2, option 4, command 8).
std::string rule(char id, int keyCode, int modifiers, const std::string& action, bool swallow) {
    return std::string(R"({"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6)") + id +
           R"(","chord":{"keyCode":)" + std::to_string(keyCode) + R"(,"modifiers":)" +
           std::to_string(modifiers) + R"(},"action":)" + action + R"(,"swallow":)" +
           (swallow ? "true" : "false") + "}";
}
std::string move(const std::string& direction) {
    return R"({"moveWindow":{"direction":")" + direction + R"("}})";
}

// ⌃⌥→ moves right and swallows; ⌃⌥← moves left and lets the key through; ⌃⌥↑ types ⌃⌥→;
// ⌃⌘Esc is KWin's own (Kill Window).
const std::string kRight = rule('C', 124, 6, move("right"), true);
const std::string kLeft = rule('D', 123, 6, move("left"), false);
const std::string kTypesRight =
    rule('E', 126, 6, R"({"sendKeystrokeSequence":{"sequence":"{ctrl+option+right}"}})", true);
const std::string kKWinsOwn = rule('F', 53, 10, move("up"), true);

// The names kglobalaccel files under KWin's component that are Tarn's.
std::vector<std::string> tarnShortcuts() {
    auto listed =
        run({"gdbus", "call", "--session", "-d", "org.kde.kglobalaccel", "-o", "/kglobalaccel",
             "-m", "org.kde.KGlobalAccel.allActionsForComponent", "['kwin']"});
    std::vector<std::string> names;
    for (auto at = listed.out.find("'tarn-"); at != std::string::npos;
         at = listed.out.find("'tarn-", at + 1))
        names.push_back(listed.out.substr(at + 1, listed.out.find('\'', at + 1) - at - 1));
    std::sort(names.begin(), names.end());
    return names;
}

class AgentOnKWin : public ::testing::Test {
  protected:
    std::string logText() const {
        return support::readFile(home_.path() / "wendle.log").value_or("");
    }
    bool logsSoon(const std::string& line) const {
        return eventually([&] { return logText().find(line) != std::string::npos; }, 10s);
    }
    void startAgent(const std::string& rules) {
        const auto config = home_.path() / ".config/Tarn/wendle-config.json";
        std::filesystem::create_directories(config.parent_path());
        std::ofstream(config) << R"({"globalRules":[)" + rules + R"(],"appConfigs":[]})";
        const char* script =
            "HOME=$0 XDG_CONFIG_HOME=$0/.config WENDLE_LOG_STDERR=1 exec \"$1\" --headless "
            "2>>\"$0/wendle.log\"";
        agent_.emplace(
            std::vector<std::string>{"sh", "-c", script, home_.path().string(), WENDLE_BINARY});
        ASSERT_TRUE(logsSoon("Keystroke interceptor started successfully")) << logText();
    }
    // Presses the chord as another program would: through tarn, which marks nothing.
    void press(const std::string& chord) {
        auto result = runTarn({"keys", chord}, home_.path(), std::nullopt, desktopEnvironment());
        ASSERT_EQ(result.status, 0) << result.err;
    }
    // The client, its window at 100,100 800x605.
    waylandtest::TestClient startHome() {
        auto client = startApp(home_, {"--size", "800x605"});
        auto window = kwinWindowOf(client.pid());
        if (window) kwinPlace(window->uuid, {100, 100, 800, 605});
        EXPECT_TRUE(settlesAt(client.pid(), {100, 100, 800, 605}));
        return client;
    }

    tarn::testing::TempDir home_;
    std::optional<Child> agent_;
};

TEST_F(AgentOnKWin, ABoundChordMovesTheWindowAndIsSwallowedOrPassedOnce) {
    auto client = startHome();
    startAgent(kRight + "," + kLeft);
    press("{ctrl+option+right}");
    EXPECT_TRUE(settlesAt(client.pid(), {0, 100, 1920, 605}));  // LEFT full width
    press("{ctrl+option+left}");
    EXPECT_TRUE(settlesAt(client.pid(), {0, 100, 800, 605}));  // LEFT align left
    EXPECT_TRUE(eventually([&] { return client.logged("key Left 0xc"); }));
    // Swallowed: the client never saw ⌃⌥→; passed: it saw ⌃⌥← once, with exactly its own
    // modifiers (the shortcut fired once, not again for the key typed anew).
    auto keys = client.keys();
    EXPECT_THAT(keys, ::testing::ElementsAre("key Left 0xc"));
}

TEST_F(AgentOnKWin, TheAgentsOwnTypingOfABoundChordArrivesAndTriggersNothing) {
    auto client = startHome();
    startAgent(kRight + "," + kTypesRight);
    press("{ctrl+option+up}");
    EXPECT_TRUE(eventually([&] { return client.logged("key Right 0xc"); })) << client.logText();
    EXPECT_TRUE(logsSoon("Action: sendKeystrokeSequence"));
    // The typed ⌃⌥→ went to the window, not to the rule that moves it.
    EXPECT_EQ(logText().find("Action: moveWindow(right)"), std::string::npos) << logText();
    EXPECT_TRUE(settlesAt(client.pid(), {100, 100, 800, 605}));
}

TEST_F(AgentOnKWin, AChordKWinHoldsIsTakenAndStoppingRemovesTheShortcuts) {
    startAgent(kRight + "," + kLeft + "," + kKWinsOwn);
    EXPECT_TRUE(logsSoon("Hotkey ⌃⌘Esc is already taken by another program")) << logText();
    EXPECT_THAT(tarnShortcuts(),
                ::testing::ElementsAre("tarn-Ctrl+Alt+Left", "tarn-Ctrl+Alt+Right"));
    // KWin keeps a script's shortcuts after the script is gone; the agent takes them back.
    ::kill(agent_->pid(), SIGTERM);
    int status = 0;
    ::waitpid(agent_->pid(), &status, 0);
    EXPECT_THAT(tarnShortcuts(), ::testing::IsEmpty());
}

}  // namespace
}  // namespace tarn::kdetest
