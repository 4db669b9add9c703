#include "core/window/window_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>

#include "core/window/windows.h"
#include "support/files.h"
#include "tests/common/fake_desktop.h"
#include "tests/common/golden.h"
#include "tests/common/temp_dir.h"

namespace tarn::window {
namespace {

using Frame = WindowState::WindowFrame;

// Only the space character becomes an underscore; runs, ends and everything else are kept.
TEST(StateKeyTest, SpacesBecomeUnderscores) {
    EXPECT_EQ(stateKey(" My  AC/DC_Player\t\u00a0"), "window__My__AC/DC_Player\t\u00a0");
    EXPECT_EQ(stateKey(""), "window_");
}

// One record, as the engine writes it: frames with fractions, a saved location per kind.
WindowState sampleState() {
    WindowState state;
    state.appName = "AC/DC Player";
    state.initialFrame = {100, 125, 800, 500, 0};
    state.currentFrame = {640, 212.5, 800, 500, 1};
    state.horizontalState = 5;
    state.verticalState = 2;
    state.savedLocations = {{{200, 300, 600, 400, 0}, true}, {{-700.25, 100, 500, 300, 2}, false}};
    return state;
}

// The record text inside the file: compact, members in field order, whole numbers without a
// fraction, "/" escaped.
const std::string kSampleRecord = testing::golden("core/window/golden/sample_record.json");

TEST(WindowStateJsonTest, StepsAreNeitherWrittenNorRead) {
    WindowState state = sampleState();
    state.steps = {{StepType::original, std::nullopt, 0, 1, true}};
    auto text = support::writeJson(encodeWindowState(state));
    EXPECT_EQ(text, kSampleRecord);
    auto read = decodeWindowState(text);
    ASSERT_TRUE(read);
    EXPECT_TRUE(read->steps.empty());
    state.steps.clear();
    EXPECT_EQ(*read, state);
}

// Members of a complete record, to be broken one at a time below.
const char* const kFrame = R"({"x":1,"y":2,"width":3,"height":4,"screenIndex":0})";

std::string record(const std::string& members) {
    return std::string(R"({"appName":"Editor","initialFrame":)") + kFrame + R"(,"currentFrame":)" +
           kFrame + members + "}";
}

struct DecodeCase {
    const char* name;
    std::string text;
    bool readable;
    std::vector<WindowState::SavedLocation> saved = {};
};

class DecodeWindowStateTest : public ::testing::TestWithParam<DecodeCase> {};

TEST_P(DecodeWindowStateTest, RequiredMembersAndFallBacks) {
    auto state = decodeWindowState(GetParam().text);
    ASSERT_EQ(state.has_value(), GetParam().readable);
    if (!state) return;
    EXPECT_EQ(state->appName, "Editor");
    EXPECT_EQ(state->initialFrame, (Frame{1, 2, 3, 4, 0}));
    EXPECT_EQ(state->savedLocations, GetParam().saved);
    EXPECT_TRUE(state->steps.empty());
}

const std::string kStates = R"(,"horizontalState":1,"verticalState":0)";
const std::vector<WindowState::SavedLocation> kHomeFrameLocation{{{5, 6, 7, 8, 1}, true}};

// A record whose initialFrame is the given text.
std::string withInitial(const std::string& frame) {
    return R"({"appName":"Editor","initialFrame":)" + frame + R"(,"currentFrame":)" + kFrame +
           kStates + "}";
}
const std::string kLegacyHome = R"("homeFrame":{"x":5,"y":6,"width":7,"height":8,"screenIndex":1})";

// clang-format off
INSTANTIATE_TEST_SUITE_P(Records, DecodeWindowStateTest, ::testing::Values(
    DecodeCase{"Complete", record(kStates + R"(,"savedLocations":[{"frame":)" + kFrame + R"(,"screenSpecific":false}])"),
               true, {{{1, 2, 3, 4, 0}, false}}},
    DecodeCase{"NoSavedLocationsMember", record(kStates), true},
    // Written before saved locations existed: the home frame becomes one, screen-specific.
    DecodeCase{"LegacyHomeFrame", record(kStates + "," + kLegacyHome), true, kHomeFrameLocation},
    DecodeCase{"MalformedSavedLocationsFallBackToHomeFrame",
               record(kStates + R"(,"savedLocations":[{"frame":{}}],)" + kLegacyHome), true, kHomeFrameLocation},
    DecodeCase{"ValidSavedLocationsWinOverHomeFrame", record(kStates + R"(,"savedLocations":[],"homeFrame":)" + kFrame), true},
    DecodeCase{"MalformedSavedLocationsWithoutHomeFrame", record(kStates + R"(,"savedLocations":{"frame":1})"), true},
    DecodeCase{"SavedLocationWithoutFlag", record(kStates + R"(,"savedLocations":[{"frame":)" + kFrame + "}]"), true},
    DecodeCase{"BothMalformed", record(kStates + R"(,"savedLocations":7,"homeFrame":{"x":5})"), true},
    DecodeCase{"WholeFloatIsAnInteger", record(R"(,"horizontalState":1.0,"verticalState":0)"), true},
    DecodeCase{"MissingAppName", std::string(R"({"initialFrame":)") + kFrame + R"(,"currentFrame":)" + kFrame + kStates + "}", false},
    DecodeCase{"AppNameNotAString", std::string(R"({"appName":7,"initialFrame":)") + kFrame + R"(,"currentFrame":)" + kFrame + kStates + "}", false},
    DecodeCase{"MissingCurrentFrame", std::string(R"({"appName":"Editor","initialFrame":)") + kFrame + kStates + "}", false},
    DecodeCase{"FrameMemberMissing", withInitial(R"({"x":1,"y":2,"width":3,"height":4})"), false},
    DecodeCase{"FrameNumberAsString", withInitial(R"({"x":"1","y":2,"width":3,"height":4,"screenIndex":0})"), false},
    DecodeCase{"FrameNumberAsBoolean", withInitial(R"({"x":true,"y":2,"width":3,"height":4,"screenIndex":0})"), false},
    DecodeCase{"FractionalScreenIndex", withInitial(R"({"x":1,"y":2,"width":3,"height":4,"screenIndex":0.5})"), false},
    DecodeCase{"MissingVerticalState", record(R"(,"horizontalState":1)"), false},
    DecodeCase{"StateAsString", record(R"(,"horizontalState":"1","verticalState":0)"), false},
    DecodeCase{"StateTooLarge", record(R"(,"horizontalState":9223372036854775808,"verticalState":0)"), false},
    DecodeCase{"NotAnObject", "[1,2]", false}),
    [](const auto& info) { return std::string(info.param.name); });
// clang-format on

class StateFileTest : public ::testing::Test {
  protected:
    void writeState(const std::string& text) {
        ASSERT_FALSE(support::writeFileAtomically(stateFile, text));
    }
    std::string stateText() { return support::readFile(stateFile).value_or("<missing>"); }

    testing::TempDir dir;
    std::filesystem::path stateFile = dir.path() / "state.json";
    std::ostringstream diagnostics;
};

struct SaveCase {
    const char* name;
    const char* before;        // nullptr: no file yet
    const char* othersBefore;  // the entries sorted before the sample's, as written
    const char* othersAfter;
    bool keptAside;
};

class SaveStateTest : public StateFileTest, public ::testing::WithParamInterface<SaveCase> {};

// The file is pretty and sorted, the sample record a string in it; every other entry is kept,
// an entry of another kind is replaced, and a file that cannot be read is kept aside first.
TEST_P(SaveStateTest, WritesTheSortedDocument) {
    const auto& c = GetParam();
    if (c.before) writeState(c.before);
    ASSERT_TRUE(saveWindowState(sampleState(), stateFile, diagnostics));
    const std::string entry =
        R"("window_AC\/DC_Player" : )" + support::writeJson(support::Json(kSampleRecord));
    EXPECT_EQ(stateText(), std::string("{\n  \"values\" : {\n") + c.othersBefore + "    " + entry +
                               c.othersAfter + "\n  }\n}");
    auto kept = testing::backupsOf(stateFile);
    ASSERT_EQ(kept.size(), c.keptAside ? 1u : 0u);
    EXPECT_EQ(diagnostics.str(),
              c.keptAside ? "Note: the unreadable state file was kept as " + kept[0].string() + "\n"
                          : "");
    if (c.keptAside) {
        EXPECT_EQ(support::readFile(kept[0]), c.before);
    }
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Files, SaveStateTest, ::testing::Values(
    SaveCase{"FirstSave", nullptr, "", "", false},
    SaveCase{"KeepsEveryOtherEntry",
             R"({"values":{"zoom":1.5,"browser":"Google Chrome","count":7,"flag":true,)"
             R"("window_Term":"{\"appName\":\"Term\"}","window_AC\/DC_Player":"old"}})",
             "    \"browser\" : \"Google Chrome\",\n    \"count\" : 7,\n    \"flag\" : true,\n",
             ",\n    \"window_Term\" : \"{\\\"appName\\\":\\\"Term\\\"}\",\n    \"zoom\" : 1.5", false},
    SaveCase{"EntryThatIsNoRecordIsReplaced", R"({"values":{"browser":"Safari","window_AC\/DC_Player":12}})",
             "    \"browser\" : \"Safari\",\n", "", false},
    // The entries of a file that cannot be read are lost to the rewrite, not the file itself.
    SaveCase{"MalformedFileIsKeptAside", R"({"values":{"browser":"Safari","broken":null}})", "", "", true}),
    [](const auto& info) { return std::string(info.param.name); });
// clang-format on

TEST_F(StateFileTest, UnreadableEntryIsNoStateAndUnencodableRecordWritesNothing) {
    EXPECT_FALSE(loadWindowState("Editor", stateFile));  // no file
    for (const char* file :
         {R"({"values":{"window_Editor":12}})", R"({"values":{"window_Editor":"{\"appName\":1}"}})",
          R"({"values":{"window_editor":"{}"}})"}) {
        writeState(file);
        EXPECT_FALSE(loadWindowState("Editor", stateFile)) << file;
    }
    writeState(R"({"values":{"browser":"Safari"}})");
    WindowState state = sampleState();
    state.currentFrame.width = std::numeric_limits<double>::infinity();
    EXPECT_FALSE(saveWindowState(state, stateFile, diagnostics));
    EXPECT_EQ(stateText(), R"({"values":{"browser":"Safari"}})");
    EXPECT_TRUE(
        diagnostics.str().starts_with("ERROR: Could not encode the window state of AC/DC Player: "))
        << diagnostics.str();
}

TEST_F(StateFileTest, UnwritableDirectoryIsReportedNotFatal) {
    const auto missingDir = dir.path() / "gone" / "state.json";
    EXPECT_FALSE(saveWindowState(sampleState(), missingDir, diagnostics));
    EXPECT_TRUE(
        diagnostics.str().starts_with("ERROR: Could not save " + missingDir.string() + ": "))
        << diagnostics.str();
    EXPECT_FALSE(std::filesystem::exists(missingDir));
}

TEST_F(StateFileTest, FindsTheFirstMinimisedWindowOfTheFirstTrackedApplication) {
    testing::FakeDesktop desktop;
    // Untracked, though it has a minimised window.
    desktop.addApp(1, "com.example.mail", "Mail").addWindow(10, {}, true);
    // No name: never tracked.
    desktop.addApp(2, std::nullopt, std::nullopt).addWindow(20, {}, true);
    // Tracked (an entry of any kind counts) but nothing minimised.
    desktop.addApp(3, "com.example.notes", "Notes").addWindow(30);
    // Tracked under its key with the space replaced: the second and third are minimised.
    auto& editor = desktop.addApp(4, "com.example.editor", "My Editor");
    editor.addWindow(40);
    editor.addWindow(41, {}, true);
    editor.addWindow(42, {}, true);
    desktop.addApp(5, "com.example.term", "Term").addWindow(50, {}, true);
    EXPECT_FALSE(findMinimizedWindow(desktop, stateFile, diagnostics));  // nothing tracked yet
    writeState(R"({"values":{"window_Notes":3,"window_My_Editor":"x","window_Term":"y"}})");

    auto found = findMinimizedWindow(desktop, stateFile, diagnostics);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->window, 41u);
    EXPECT_EQ(found->app.pid, 4);
    EXPECT_EQ(found->appName, "My Editor");
    EXPECT_EQ(diagnostics.str(), testing::golden("core/window/golden/find_minimized.txt"));
}

TEST_F(StateFileTest, RestoringAMinimisedWindowResetsTheVerticalStateAndKeepsOtherEntries) {
    testing::FakeDesktop desktop;
    desktop.addApp(42, "com.example.editor", "Editor").addWindow(7, {}, true);
    writeState(testing::golden("core/window/golden/restore_state.json"));

    handleMinimizedWindowRestore(desktop, desktop, stateFile, "Editor", 7, diagnostics);

    EXPECT_FALSE(desktop.window(7)->minimized);
    EXPECT_EQ(desktop.windowWrites, (std::vector<testing::WindowWrite>{{7, {}, false}}));
    EXPECT_EQ(desktop.sleeps, (std::vector<std::uint32_t>{100000}));
    auto record = loadWindowState("Editor", stateFile);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->verticalState, 0);
    EXPECT_EQ(record->horizontalState, 2);
    EXPECT_EQ(record->currentFrame, (WindowState::WindowFrame{0, 25, 800, 875, 0}));
    EXPECT_THAT(stateText(), ::testing::HasSubstr(R"("browser" : "Safari")"));
    EXPECT_EQ(diagnostics.str(),
              "DEBUG: Restoring minimized window (early return path)\n"
              "DEBUG: Updated state to vState=0 after restore\n"
              "DEBUG: Saved state after early restore\n");
}

}  // namespace
}  // namespace tarn::window
