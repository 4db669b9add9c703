#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <future>

#include "tests/common/command_runner.h"
#include "tests/common/golden.h"
#include "tests/common/rect_assert.h"

namespace tarn::testing {
namespace {

using support::Json;
using ::testing::HasSubstr;

using Frame = platform::Rect;

// A laptop-sized primary and a smaller screen to its right; the editor's home is on the
// primary. Usable areas (less the 25-point band at the top): (0, 25, 1920, 1055) and
// (1920, 25, 1280, 999).
class MoveAppCommandTest : public CommandTest {
  protected:
    void SetUp() override {
        auto desktop = basicDesktop();
        desktop["displays"].push_back(
            Json::parse(R"({"id": 2, "x": 1920, "y": 0, "width": 1280, "height": 1024})"));
        writeDesktop(desktop);
    }

    void patchDesktop(const char* patch) {
        auto desktop = readDesktop();
        desktop.merge_patch(Json::parse(patch));
        writeDesktop(desktop);
    }

    Json window() { return readDesktop()["apps"][0]["windows"][0]; }

    void expectWindowAt(const Frame& frame, const std::string& context) {
        auto w = window();
        EXPECT_RECT((Frame{w["x"], w["y"], w["width"], w["height"]}), frame) << context;
    }

    // The stored record of the editor, decoded from its string in state.json.
    Json storedState() {
        auto document = support::parseJson(configFile("state.json").value_or(""));
        auto entry = document ? document->value(Json::json_pointer("/values/window_My_Editor"), "")
                              : std::string();
        return support::parseJson(entry).value_or(nullptr);
    }

    // A golden standard error, the folder of tarn's files in place of CONFIG_DIR.
    std::string transcript(const std::string& name) {
        auto text = golden("cli/golden/" + name);
        return text.replace(text.find("CONFIG_DIR"), 10, configDir().string());
    }
};

// The placements themselves are worked out in the unit tests; here each run must pick up
// the state the last one saved. From (100, 100, 800, 600), nearest the primary's alignLeft,
// right reaches fullWidth, then original (centred: 25 + (1055 - 600) / 2); left goes back.
TEST_F(MoveAppCommandTest, EachRunContinuesFromTheSavedState) {
    const std::tuple<const char*, Frame, int> presses[] = {
        {"right", {0, 100, 1920, 600}, 1},
        {"right", {560, 252.5, 800, 600}, 0},
        {"left", {0, 252.5, 1920, 600}, 1},
    };
    for (const auto& [word, frame, hState] : presses) {
        auto result = run({"move-app", word, "ignored"});
        ASSERT_EQ(result.status, 0) << result.err;
        expectWindowAt(frame, word);
        EXPECT_EQ(storedState()["horizontalState"], hState) << word;
    }
    // The home frame never changed: every press landed where the last one asked.
    EXPECT_EQ(storedState()["initialFrame"],
              Json::parse(R"({"x":100,"y":100,"width":800,"height":600,"screenIndex":0})"));
}

TEST_F(MoveAppCommandTest, FirstPressPrintsItsDiagnostics) {
    auto result = run({"move-app", "right"});
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, transcript("first_press.txt"));
}

TEST_F(MoveAppCommandTest, DownMinimisesAndTheNextUpGoesFullScreen) {
    auto down = run({"move-app", "down"});
    ASSERT_EQ(down.status, 0) << down.err;
    EXPECT_EQ(window()["minimized"], true);
    EXPECT_THAT(down.err, HasSubstr("DEBUG: Minimizing window\n"));
    EXPECT_EQ(storedState()["verticalState"], 1);
    expectWindowAt({100, 100, 800, 600}, "down leaves the frame");

    auto up = run({"move-app", "up"});
    ASSERT_EQ(up.status, 0) << up.err;
    // Full screen is the usable area less 5 points on every side.
    expectWindowAt({5, 30, 1910, 1045}, "up after down");
    EXPECT_EQ(storedState()["verticalState"], 2);

    // The sim, like a real desktop, leaves a minimised window minimised when it is moved;
    // down on a minimised window restores it.
    auto restore = run({"move-app", "down"});
    EXPECT_THAT(restore.err, HasSubstr("DEBUG: Restoring window from minimized\n"));
    EXPECT_EQ(window()["minimized"], false);
    EXPECT_EQ(storedState()["verticalState"], 0);
}

// Without a frontmost window a tracked minimised window is restored: down stops there, left
// waits for it to settle and then moves it (to the second screen's alignRight).
TEST_F(MoveAppCommandTest, WithoutFrontmostWindowATrackedMinimisedOneIsRestored) {
    const std::tuple<const char*, const char*, Frame> cases[] = {
        {"down", "DEBUG: Found minimized window for: My Editor\n", {100, 100, 800, 600}},
        {"left",
         "DEBUG: Restoring minimized window before move operation\n",
         {2666.6666666666665, 96.01895734597156, 533.3333333333334, 568.1516587677725}},
    };
    for (const auto& [word, line, frame] : cases) {
        SetUp();
        std::filesystem::remove(configDir() / "state.json");
        ASSERT_EQ(run({"move-app", "down"}).status, 0);  // tracked and minimised
        patchDesktop(R"({"frontmost": null, "events": []})");
        auto result = run({"move-app", word});
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_THAT(result.err, HasSubstr(line));
        EXPECT_EQ(window()["minimized"], false) << word;
        expectWindowAt(frame, word);
    }
    EXPECT_EQ(events(), Json::parse(R"([{"type": "sleep", "us": 200000}])"));
}

// Moving by hand between presses: more than 10 points in total makes the present frame home.
TEST_F(MoveAppCommandTest, ManualMoveOfMoreThanTenPointsResetsHome) {
    for (const auto& [dx, reset] : {std::pair{10.0, false}, std::pair{10.5, true}}) {
        SetUp();
        std::filesystem::remove(configDir() / "state.json");
        ASSERT_EQ(run({"move-app", "right"}).status, 0);  // to (0, 100, 1920, 600)
        auto desktop = readDesktop();
        desktop["apps"][0]["windows"][0]["x"] = dx;
        writeDesktop(desktop);
        auto result = run({"move-app", "left"});
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err.find("User manually moved window") != std::string::npos, reset) << dx;
        EXPECT_EQ(storedState()["initialFrame"]["x"].get<double>(), reset ? dx : 100.0) << dx;
    }
}

TEST_F(MoveAppCommandTest, BadDirectionsAndMissingPermission) {
    const std::tuple<const char*, const char*, int, const char*> cases[] = {
        // clang-format off
        {"Left", "{}", 1, "Invalid direction: Left\n"},
        {"maximize", "{}", 1, "Invalid direction: maximize\n"},
        {"right", R"({"accessibilityTrusted": false})", 5, "ERROR: Accessibility not trusted\n"},
        {"right", R"({"apps": [{"pid": 100, "name": "My Editor",
                      "windows": [{"id": 1, "frameReadable": false}]}]})",
         1, "ERROR: Could not get window frame\n"},
        {"up", R"({"frontmost": null})", 1,
         "ERROR: No frontmost window found and no tracked minimized windows\n"},
        // clang-format on
    };
    for (const auto& [word, patch, status, lastLine] : cases) {
        SetUp();
        patchDesktop(patch);
        auto result = run({"move-app", word});
        EXPECT_EQ(result.status, status) << word;
        EXPECT_THAT(result.err, ::testing::EndsWith(lastLine)) << word;
        EXPECT_FALSE(configFile("state.json")) << "nothing saved for " << word;
    }
}

// The filter takes the primary's fullWidth out; only three saved locations are placed,
// each on the screen its origin is on.
TEST_F(MoveAppCommandTest, OverrideRuleSuppliesSavedLocationsAndFilters) {
    writeConfigFile("wendle-config.json", golden("cli/golden/override_config.json"));
    auto result = run({"move-app", "right"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, transcript("override_press.txt"));
    auto saved = storedState()["savedLocations"];
    ASSERT_EQ(saved.size(), 3u);
    EXPECT_EQ(saved[1]["frame"]["screenIndex"], 1);
    EXPECT_EQ(saved[1]["screenSpecific"], false);
}

TEST_F(MoveAppCommandTest, StateThatCannotBeSavedEndsWithStatusOne) {
    std::filesystem::create_directories(configDir().parent_path());
    std::ofstream(configDir()) << "in the way";  // a file where the folder should be
    auto result = run({"move-app", "right"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("ERROR: Could not save "));
}

// With an unreadable state.json, "tarn move-app right" silently replaced it, and another
// application's window record was gone; a FIFO there hung the command. The window still
// moves; the file is left as it was and the command says so with status 1.
TEST_F(MoveAppCommandTest, StateFileThatCannotBeReadIsNeverReplaced) {
    const auto file = configDir() / "state.json";
    const std::string other = R"({"values": {"window_Other": "{}"}})";
    for (auto kind : {Unreadable::fifo, Unreadable::noPermission}) {
        std::filesystem::remove_all(configDir());
        if (!makeUnreadable(file, kind, other)) continue;  // root reads a file of any mode
        SCOPED_TRACE(nameOf(kind));
        auto result = run({"move-app", "right"});
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.err, HasSubstr("ERROR: Not saving " + file.string() +
                                          ": it could not be read whole and no copy of it "
                                          "could be made\n"));
        EXPECT_TRUE(backupsOf(file).empty());
        if (kind == Unreadable::noPermission) {
            std::filesystem::permissions(file, std::filesystem::perms::owner_read);
            EXPECT_EQ(configFile("state.json"), other);
        } else {
            EXPECT_TRUE(std::filesystem::is_fifo(file));
        }
    }
}

// A desktop file nested 200,000 deep crashed move-app and keys (a segmentation fault in the
// recursive writer); a FIFO in its place would hang them. Both are one clear error.
TEST_F(MoveAppCommandTest, DesktopFileTooDeepOrNotAFileIsAnErrorNotACrash) {
    std::string deep = support::writeJson(basicDesktop());
    deep.insert(deep.size() - 1,
                R"(,"deep":)" + std::string(200000, '[') + std::string(200000, ']'));
    const std::pair<std::function<void()>, std::string> desktops[] = {
        {[&] { support::writeFileAtomically(simFile(), deep); },
         "it is nested more than 512 levels deep"},
        {[&] {
             std::filesystem::remove(simFile());
             makeUnreadable(simFile(), Unreadable::fifo);
         },
         "it is a FIFO, not a regular file"},
    };
    for (const auto& [make, why] : desktops) {
        make();
        for (const auto& args : {std::vector<std::string>{"move-app", "right"},
                                 std::vector<std::string>{"keys", "a"}}) {
            auto result = run(args);
            EXPECT_EQ(result.status, 1) << why;
            EXPECT_THAT(result.err, ::testing::EndsWith("ERROR: simulated desktop " +
                                                        simFile().string() + ": " + why + "\n"));
        }
    }
}

TEST_F(MoveAppCommandTest, WindowThatRefusesASizeKeepsTheAskedFrameInState) {
    patchDesktop(R"({"apps": [{"pid": 100, "bundleID": "com.example.editor", "name": "My Editor",
        "windows": [{"id": 1, "x": 100, "y": 100, "width": 800, "height": 600,
                     "maxWidth": 1000}]}]})");
    ASSERT_EQ(run({"move-app", "right"}).status, 0);
    expectWindowAt({0, 100, 1000, 600}, "clamped by the window");
    EXPECT_EQ(storedState()["currentFrame"]["width"], 1920);
}

// Parallel `tarn move-app left` left a 1920-wide window at x=1120 on a 1920-wide display: one
// command's position landed with another's size. Each command now has the desktop to itself
// from its first look at it to its last change, so every frame is one a move asked for.
TEST_F(MoveAppCommandTest, ParallelMovesLeaveAFrameOneMoveAskedFor) {
    constexpr int kRounds = 4, kRuns = 12;
    for (int round = 0; round < kRounds; ++round) {
        SCOPED_TRACE(round);
        SetUp();
        std::filesystem::remove(configDir() / "state.json");
        std::vector<std::future<CommandResult>> runs;
        for (int i = 0; i < kRuns; ++i) {
            const char* direction = i % 3 == 2 ? "right" : "left";
            runs.push_back(std::async(std::launch::async, [this, direction] {
                return run({"move-app", direction});
            }));
        }
        for (auto& result : runs) {
            auto done = result.get();
            EXPECT_EQ(done.status, 0) << done.err;
        }
        // The frame lies on one screen, whole, and is the one the state file says was placed.
        auto w = window();
        Frame frame{w["x"], w["y"], w["width"], w["height"]};
        bool onPrimary = frame.x >= 0 && frame.x + frame.width <= 1920 && frame.y >= 0 &&
                         frame.y + frame.height <= 1080;
        bool onSecond = frame.x >= 1920 && frame.x + frame.width <= 3200 && frame.y >= 0 &&
                        frame.y + frame.height <= 1024;
        EXPECT_TRUE(onPrimary || onSecond) << w.dump();
        auto placed = storedState()["currentFrame"];
        EXPECT_RECT((Frame{placed["x"], placed["y"], placed["width"], placed["height"]}), frame);
    }
}

}  // namespace
}  // namespace tarn::testing
