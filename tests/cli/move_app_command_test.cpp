#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "support/json_text.h"
#include "tests/common/command_runner.h"

namespace tarn::testing {
namespace {

using support::Json;
using ::testing::HasSubstr;
using ::testing::Not;

struct Frame {
    double x, y, width, height;
};

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

    void expectWindowAt(const Frame& f, const std::string& context) {
        auto w = window();
        EXPECT_NEAR(w["x"].get<double>(), f.x, 1e-6) << context;
        EXPECT_NEAR(w["y"].get<double>(), f.y, 1e-6) << context;
        EXPECT_NEAR(w["width"].get<double>(), f.width, 1e-6) << context;
        EXPECT_NEAR(w["height"].get<double>(), f.height, 1e-6) << context;
    }

    // The stored record of the editor, decoded from its string in state.json.
    Json storedState() {
        auto text = configFile("state.json");
        if (!text) return nullptr;
        auto document = support::parseJson(*text);
        if (!document) return nullptr;
        auto entry = (*document)["values"].find("window_My_Editor");
        if (entry == (*document)["values"].end()) return nullptr;
        return *support::parseJson(entry->get<std::string>());
    }

    void writeAgentConfig(const std::string& json) { writeConfigFile("wendle-config.json", json); }
};

// Worked by hand from the placement rules. The window starts at (100, 100, 800, 600), whose
// nearest step is the primary's alignLeft; right walks the step list backwards:
// fullWidth, original, alignRight on the primary, then alignLeft, fullWidth, original,
// alignRight on the second screen, and back to the primary's alignLeft. Moving between
// screens keeps the relative vertical position and share of height: 227.5 / 1055 * 999 =
// 215.4241706... below the top band, 600 / 1055 * 999 = 568.1516587... high, and the home
// width scales to 800 / 1920 * 1280 = 533.333...
struct Press {
    Frame frame;
    int hState;
};

const Press kRightCycle[] = {
    {{0, 100, 1920, 600}, 1},
    {{560, 252.5, 800, 600}, 0},
    {{1120, 252.5, 800, 600}, 2},
    {{1920, 240.42417061611374, 533.3333333333334, 568.1516587677725}, 3},
    {{1920, 240.42417061611374, 1280, 568.1516587677725}, 1},
    {{2293.3333333333335, 240.42417061611374, 533.3333333333334, 568.1516587677725}, 0},
    {{2666.6666666666665, 240.42417061611374, 533.3333333333334, 568.1516587677725}, 2},
    {{0, 252.5, 800, 600}, 3},
};

TEST_F(MoveAppCommandTest, RightCyclesThroughBothScreensAndLeftGoesBack) {
    int press = 0;
    for (const auto& expected : kRightCycle) {
        auto result = run({"move-app", "right"});
        std::string context = "right press " + std::to_string(++press);
        ASSERT_EQ(result.status, 0) << context << result.err;
        // Presses 5 to 8 start on the second screen.
        EXPECT_THAT(result.err, HasSubstr(press > 4 ? "isPrimary=false" : "isPrimary=true"))
            << context;
        expectWindowAt(expected.frame, context);
        EXPECT_EQ(storedState()["horizontalState"], expected.hState) << context;
    }
    // Left from the primary's alignLeft steps forward onto the second screen's alignRight.
    auto result = run({"move-app", "left", "ignored", "words"});
    ASSERT_EQ(result.status, 0) << result.err;
    expectWindowAt(kRightCycle[6].frame, "left");
    EXPECT_EQ(storedState()["horizontalState"], 2);
    // The home frame never changed: every press landed where the last one asked.
    EXPECT_EQ(storedState()["initialFrame"],
              Json::parse(R"({"x":100,"y":100,"width":800,"height":600,"screenIndex":0})"));
}

TEST_F(MoveAppCommandTest, FirstPressPrintsItsDiagnostics) {
    auto result = run({"move-app", "right"});
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err,
                ::testing::StartsWith(
                    "DEBUG: handleMoveApp called with direction: right, fromUserRule: false\n"
                    "DEBUG: Looking for Wendle config at: " +
                    (configDir() / "wendle-config.json").string() +
                    "\nDEBUG: Could not load Wendle config file (file not found or "
                    "unreadable)\nDEBUG: Frontmost app: My Editor\n"
                    "DEBUG: State key: window_My_Editor\n"
                    "DEBUG: Current frame: x=100.0, y=100.0, w=800.0, h=600.0\n"
                    "DEBUG: Current screen index: 0\nDEBUG: Creating new state for app\n"));
    EXPECT_THAT(result.err, ::testing::EndsWith("DEBUG: Saving state - hState=1, vState=0\n"));
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

TEST_F(MoveAppCommandTest, WithoutFrontmostWindowDownOnlyRestoresATrackedWindow) {
    ASSERT_EQ(run({"move-app", "down"}).status, 0);  // tracked and minimised
    patchDesktop(R"({"frontmost": null, "events": []})");
    auto result = run({"move-app", "down"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("DEBUG: No frontmost window, searching for minimized "
                                      "windows\n"));
    EXPECT_THAT(result.err, HasSubstr("DEBUG: Found minimized window for: My Editor\n"));
    EXPECT_THAT(result.err, Not(HasSubstr("State key")));
    EXPECT_EQ(window()["minimized"], false);
    EXPECT_EQ(storedState()["verticalState"], 0);
    expectWindowAt({100, 100, 800, 600}, "restore only");
}

TEST_F(MoveAppCommandTest, WithoutFrontmostWindowLeftRestoresWaitsThenMoves) {
    ASSERT_EQ(run({"move-app", "down"}).status, 0);
    patchDesktop(R"({"frontmost": null, "events": []})");
    auto result = run({"move-app", "left"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("DEBUG: Restoring minimized window before move "
                                      "operation\n"));
    EXPECT_EQ(window()["minimized"], false);
    EXPECT_EQ(events(), Json::parse(R"([{"type": "sleep", "us": 200000}])"));
    // From home (nearest: the primary's alignLeft) left steps forward to the second screen's
    // alignRight: y = 25 + 75 / 1055 * 999.
    expectWindowAt({2666.6666666666665, 96.01895734597156, 533.3333333333334, 568.1516587677725},
                   "left after restore");
}

TEST_F(MoveAppCommandTest, NoWindowAtAllIsAnError) {
    patchDesktop(R"({"frontmost": null})");
    auto result = run({"move-app", "up"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err,
                ::testing::EndsWith("ERROR: No frontmost window found and no tracked minimized "
                                    "windows\n"));
    EXPECT_FALSE(configFile("state.json"));
}

// Moving by hand between presses: more than 10 points in total makes the present frame home.
TEST_F(MoveAppCommandTest, ManualMoveOfMoreThanTenPointsResetsHome) {
    struct Case {
        double dx;
        bool reset;
    };
    for (const Case c : {Case{10, false}, Case{10.5, true}}) {
        SetUp();
        std::filesystem::remove(configDir() / "state.json");
        ASSERT_EQ(run({"move-app", "right"}).status, 0);  // to (0, 100, 1920, 600)
        patchDesktop((R"({"apps": [{"pid": 100, "bundleID": "com.example.editor",
            "name": "My Editor", "windows": [{"id": 1, "x": )" +
                      std::to_string(c.dx) + R"(, "y": 100, "width": 1920, "height": 600}]}]})")
                         .c_str());
        auto result = run({"move-app", "left"});
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err.find("User manually moved window") != std::string::npos, c.reset)
            << c.dx;
        EXPECT_EQ(storedState()["initialFrame"]["x"].get<double>(), c.reset ? c.dx : 100.0) << c.dx;
    }
}

TEST_F(MoveAppCommandTest, BadDirectionsAndMissingPermission) {
    struct Case {
        std::vector<std::string> args;
        const char* patch;
        int status;
        const char* lastLine;
    };
    const Case cases[] = {
        {{"move-app", "Left"}, "{}", 1, "Invalid direction: Left\n"},
        {{"move-app", "maximize"}, "{}", 1, "Invalid direction: maximize\n"},
        {{"move-app", ""}, "{}", 1, "Invalid direction: \n"},
        {{"move-app", "right"},
         R"({"accessibilityTrusted": false})",
         5,
         "ERROR: Accessibility not trusted\n"},
        {{"move-app", "right"},
         R"({"apps": [{"pid": 100, "name": "My Editor", "windows": [{"id": 1,
             "frameReadable": false}]}]})",
         1,
         "ERROR: Could not get window frame\n"},
    };
    for (const auto& c : cases) {
        SetUp();
        patchDesktop(c.patch);
        auto result = run(c.args);
        EXPECT_EQ(result.status, c.status) << c.args[1];
        EXPECT_THAT(result.err, ::testing::EndsWith(c.lastLine)) << c.args[1];
        EXPECT_FALSE(configFile("state.json")) << "nothing saved for " << c.args[1];
    }
}

TEST_F(MoveAppCommandTest, OverrideRuleSuppliesSavedLocationsAndFilters) {
    writeAgentConfig(R"({"globalRules": [{"id": "R1", "overrideTarn": "right",
        "stateFilters": {"fullWidthOnPrimary": false}}],
      "appConfigs": [{"bundleID": "com.example.editor", "displayName": "My Editor",
        "savedLocations": [
          {"frame": [[10, 40], [300, 200]], "screenIndex": 0},
          {"frame": [[2000, 40], [300, 200]], "screenIndex": 1, "screenSpecific": false},
          {"frame": [[20, 50], [300, 200]], "screenIndex": 0},
          {"frame": [[30, 60], [300, 200]], "screenIndex": 0}],
        "ruleOverrides": []}]})");
    auto result = run({"move-app", "right"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("DEBUG: Applying Wendle override for direction 'right'\n"
                                      "DEBUG: Saved location 1: x=10.0, y=40.0, w=300.0, "
                                      "h=200.0, screenSpecific=true\n"));
    EXPECT_THAT(result.err, HasSubstr("DEBUG: Saved location 2: x=2000.0, y=40.0, w=300.0, "
                                      "h=200.0, screenSpecific=false\n"));
    EXPECT_THAT(result.err, HasSubstr("DEBUG: Saved location 4: x=30.0"));
    EXPECT_THAT(result.err, HasSubstr("DEBUG: Updating savedLocations in state\n"));
    // Only three saved locations are placed, each on the screen its origin is on; the filter
    // took the primary's fullWidth out.
    EXPECT_THAT(result.err, HasSubstr("DEBUG: Built step list with 10 steps:\n"
                                      "  [0] screen=0, type=alignRight, enabled=true\n"
                                      "  [1] screen=0, type=original, enabled=true\n"
                                      "  [2] screen=0, type=alignLeft, enabled=true\n"
                                      "  [3] screen=0, type=saved, enabled=true\n"
                                      "  [4] screen=0, type=saved, enabled=true\n"
                                      "  [5] screen=1, type=alignRight, enabled=true\n"));
    EXPECT_THAT(result.err, HasSubstr("  [9] screen=1, type=saved, enabled=true\n"));
    EXPECT_EQ(storedState()["savedLocations"].size(), 3u);
    EXPECT_EQ(storedState()["savedLocations"][1]["frame"]["screenIndex"], 1);

    auto up = run({"move-app", "up"});
    EXPECT_THAT(up.err, HasSubstr("DEBUG: No override rule found for direction 'up'\n"));
}

TEST_F(MoveAppCommandTest, DisabledOverrideFallsBackToTheArguments) {
    writeAgentConfig(R"({"globalRules": [{"id": "R1", "overrideTarn": "right"}],
      "appConfigs": [{"bundleID": "com.example.editor", "displayName": "My Editor",
        "savedLocations": [{"frame": [[10, 40], [300, 200]], "screenIndex": 0}],
        "ruleOverrides": ["R1", {"enabled": false}]}]})");
    auto result = run({"move-app", "right"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("Override rule is disabled for app com.example.editor"));
    EXPECT_THAT(result.err, Not(HasSubstr("Saved location 1")));
    expectWindowAt(kRightCycle[0].frame, "plain right");
}

TEST_F(MoveAppCommandTest, CorruptFilesDoNotStopTheMove) {
    writeAgentConfig("{not json");
    writeConfigFile("state.json", "[1, 2");
    auto result = run({"move-app", "right"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("DEBUG: Could not decode Wendle config JSON\n"));
    EXPECT_THAT(result.err, HasSubstr("DEBUG: Creating new state for app\n"));
    expectWindowAt(kRightCycle[0].frame, "right over corrupt files");
    EXPECT_EQ(storedState()["horizontalState"], 1);
}

TEST_F(MoveAppCommandTest, StateThatCannotBeSavedEndsWithStatusOne) {
    std::filesystem::create_directories(configDir().parent_path());
    std::ofstream(configDir()) << "in the way";  // a file where the folder should be
    auto result = run({"move-app", "right"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("ERROR: Could not save "));
}

TEST_F(MoveAppCommandTest, WindowThatRefusesASizeKeepsTheAskedFrameInState) {
    patchDesktop(R"({"apps": [{"pid": 100, "bundleID": "com.example.editor", "name": "My Editor",
        "windows": [{"id": 1, "x": 100, "y": 100, "width": 800, "height": 600,
                     "maxWidth": 1000}]}]})");
    ASSERT_EQ(run({"move-app", "right"}).status, 0);
    expectWindowAt({0, 100, 1000, 600}, "clamped by the window");
    EXPECT_EQ(storedState()["currentFrame"]["width"], 1920);
}

}  // namespace
}  // namespace tarn::testing
