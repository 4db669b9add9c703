// The real wendle on the private GNOME Shell of with-gnome.sh: chords pressed through a
// RemoteDesktop session of another program (press.js), the window read by the test probe,
// what the focused application received from the test client's log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/gnome/harness.h"

namespace tarn::gnometest {
namespace {

// A rule for a chord (a macOS key code, modifiers shift 1, control 2, option 4, command 8).
std::string rule(char id, int keyCode, int modifiers, const std::string& action,
                 bool swallow = true) {
    return std::string(R"({"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6)") + id +
           R"(","chord":{"keyCode":)" + std::to_string(keyCode) + R"(,"modifiers":)" +
           std::to_string(modifiers) + R"(},"action":)" + action + R"(,"swallow":)" +
           (swallow ? "true" : "false") + "}";
}
std::string move(const std::string& direction) {
    return R"({"moveWindow":{"direction":")" + direction + R"("}})";
}
std::string typing(const std::string& sequence) {
    return R"({"sendKeystrokeSequence":{"sequence":")" + sequence + R"("}})";
}
std::string configWith(const std::string& rules) {
    return R"({"globalRules":[)" + rules + R"(],"appConfigs":[]})";
}

constexpr int kControlOption = 6;
// ⌃⌥L moves right and swallows; ⌃⌥H moves left and lets the key through; ⌃⌥K types ⌃⌥L,
// which the agent's own typing must never turn into a move; ⌃⌥← is GNOME's (workspaces).
const std::string kRules = rule('A', 37, kControlOption, move("right")) + "," +
                           rule('B', 4, kControlOption, move("left"), false) + "," +
                           rule('C', 40, kControlOption, typing("{ctrl+alt+l}")) + "," +
                           rule('D', 123, kControlOption, move("left"));

int countOf(const std::vector<std::string>& lines, const std::string& line) {
    return static_cast<int>(std::count(lines.begin(), lines.end(), line));
}

class AgentOnGnome : public ::testing::Test {
  protected:
    std::filesystem::path configFile() const {
        return home_.path() / ".config/Tarn/wendle-config.json";
    }
    std::string logText() const {
        return support::readFile(home_.path() / "wendle.log").value_or("");
    }
    bool logsSoon(const std::string& line, std::chrono::milliseconds limit = 30s) const {
        return eventually([&] { return logText().find(line + "\n") != std::string::npos; }, limit);
    }

    void startAgent(const std::string& config) {
        std::filesystem::create_directories(configFile().parent_path());
        std::ofstream(configFile()) << config;
        std::string script = "exec env";
        for (const auto& entry : shellEnvironment()) script += " '" + entry + "'";
        script +=
            " HOME=\"$0\" XDG_CONFIG_HOME=\"$0/.config\" WENDLE_LOG_STDERR=1 \"$1\" --headless "
            "2>>\"$0/wendle.log\"";
        agent_.emplace(
            std::vector<std::string>{"sh", "-c", script, home_.path().string(), WENDLE_BINARY});
    }

    bool movesTo(const std::string& app, const std::vector<std::string>& chord, Rect frame) {
        return press(chord) && settlesAt(app, frame);
    }

    tarn::testing::TempDir home_;
    std::optional<Child> agent_;
};

// Home 100,100 800x605 on the 1920x1080 primary (usable 0,25 1920x1055): right goes to
// full width, left from there back to the left edge (the cycle is move-app's matter).
TEST_F(AgentOnGnome, ChordsMoveTheWindowSwallowOrPassAndGnomesOwnAreTaken) {
    TestApp app = startApp(home_, "Editor");
    probe("Place", {"Editor", "100", "100", "800", "605"});
    ASSERT_TRUE(settlesAt("Editor", {100, 100, 800, 605}));
    startAgent(configWith(kRules));
    ASSERT_TRUE(logsSoon("AppDelegate: ✅ Keystroke interceptor started successfully")) << logText();
    EXPECT_TRUE(
        logsSoon("KeystrokeInterceptor: Hotkey ⌃⌥← is already taken by another program; "
                 "it stays unbound"))
        << logText();

    EXPECT_TRUE(movesTo("Editor", {"Control_L+Alt_L+l"}, {0, 100, 1920, 605})) << logText();
    EXPECT_TRUE(movesTo("Editor", {"Control_L+Alt_L+h"}, {0, 100, 800, 605})) << logText();
    // The passed chord arrives once, with exactly its modifiers; the swallowed one never.
    EXPECT_TRUE(eventually([&] { return countOf(app.keys(), "key h 0xc") == 1; })) << app.logText();
    EXPECT_EQ(countOf(app.keys(), "key l 0xc"), 0) << app.logText();

    // The agent types ⌃⌥L itself: it arrives, and moves nothing.
    ASSERT_TRUE(press({"Control_L+Alt_L+k"}));
    EXPECT_TRUE(eventually([&] { return countOf(app.keys(), "key l 0xc") == 1; }))
        << app.logText() << logText();
    EXPECT_EQ(frames("Editor"), (std::vector<Rect>{{0, 100, 800, 605}}));
}

// The extension going away (disabled, as when the shell restarts) takes the grabs with it;
// when it comes back the agent grabs them again.
TEST_F(AgentOnGnome, TheExtensionComingBackGetsTheChordsAgain) {
    TestApp app = startApp(home_, "Editor");
    probe("Place", {"Editor", "100", "100", "800", "605"});
    ASSERT_TRUE(settlesAt("Editor", {100, 100, 800, 605}));
    startAgent(configWith(kRules));
    ASSERT_TRUE(logsSoon("AppDelegate: ✅ Keystroke interceptor started successfully")) << logText();
    const std::vector<std::string> toggle{
        "gdbus",           "call",          "--session",        "--dest",
        "org.gnome.Shell", "--object-path", "/org/gnome/Shell", "--method"};
    auto extension = [&](const char* method) {
        auto argv = toggle;
        argv.push_back(std::string("org.gnome.Shell.Extensions.") + method);
        argv.push_back("tarn-shell@tarn");
        return run(argv).status == 0;
    };
    ASSERT_TRUE(extension("DisableExtension"));
    ASSERT_TRUE(extension("EnableExtension"));
    EXPECT_TRUE(eventually(
        [&] {
            press({"Control_L+Alt_L+l"});
            auto all = frames("Editor");
            return !all.empty() && all.front() == Rect{0, 100, 1920, 605};
        },
        15s))
        << logText();
}

// Without the extension wendle says what to run, in its permission check's words.
TEST_F(AgentOnGnome, WithoutTheExtensionTheProbeSaysWhatToRun) {
    auto extension = [](const char* method) {
        return run({"gdbus", "call", "--session", "--dest", "org.gnome.Shell", "--object-path",
                    "/org/gnome/Shell", "--method",
                    std::string("org.gnome.Shell.Extensions.") + method, "tarn-shell@tarn"})
                   .status == 0;
    };
    ASSERT_TRUE(extension("DisableExtension"));
    startAgent(configWith(kRules));
    EXPECT_TRUE(
        logsSoon("Permissions: Reason: Tarn's GNOME Shell extension is not running (is it "
                 "installed and enabled?): run `tarn-gnome-extension install`, then log "
                 "out and back in"))
        << logText();
    EXPECT_TRUE(
        logsSoon("AppDelegate: ⚠️ Accessibility not trusted, cannot start keystroke "
                 "interception"))
        << logText();
    agent_.reset();
    ASSERT_TRUE(extension("EnableExtension"));
}

}  // namespace
}  // namespace tarn::gnometest
