#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/command_runner.h"
#include "tests/support/permission_text.h"

namespace tarn::testing {
namespace {

using support::Json;

Json sleep(std::uint32_t us) {
    return Json{{"type", "sleep"}, {"us", us}};
}

// The four events of one typed key on a recorded clock, as the command line types it.
void appendKey(Json& events, int code, std::uint64_t flags = 0) {
    for (bool down : {true, false}) {
        events.push_back(Json{{"type", "key"},
                              {"code", code},
                              {"down", down},
                              {"flags", flags},
                              {"marker", nullptr}});
        events.push_back(sleep(down ? 1000 : 10000));
    }
}

class KeysCommandTest : public CommandTest {
  protected:
    void SetUp() override { writeDesktop(basicDesktop()); }

    void patchDesktop(const char* patch) {
        auto desktop = readDesktop();
        desktop.merge_patch(Json::parse(patch));
        writeDesktop(desktop);
    }
};

TEST_F(KeysCommandTest, TypesPeriodsAndEnter) {
    auto result = run({"keys", "cd ..{enter}"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
    Json expected = Json::array();
    for (int code : {8, 2, 49, 47, 47, 36}) appendKey(expected, code);
    EXPECT_EQ(events(), expected);
}

TEST_F(KeysCommandTest, ChordsCarryTheirFlagsAndPausesSleep) {
    auto result = run({"keys", "{cmd+shift+Z}{pause 250}A{leftbrace}"});
    EXPECT_EQ(result.status, 0);
    Json expected = Json::array();
    appendKey(expected, 6, 0x120000);
    expected.push_back(sleep(250000));
    appendKey(expected, 0, 0x20000);
    appendKey(expected, 33, 0x20000);
    EXPECT_EQ(events(), expected);
}

TEST_F(KeysCommandTest, TypesOnlyTheFirstWord) {
    auto result = run({"keys", "a", "b"});
    EXPECT_EQ(result.status, 0);
    Json expected = Json::array();
    appendKey(expected, 0);
    EXPECT_EQ(events(), expected);
}

TEST_F(KeysCommandTest, ClipboardRoundTripThroughTheBuffer) {
    patchDesktop(R"({"clipboard": "path?q=1"})");
    auto result = run({"keys", "{grab}{trim after ?}{insert before x:{slash}}{put}"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(readDesktop()["clipboard"], "x:/path");
    EXPECT_EQ(events(),
              Json::array({sleep(100000), Json{{"type", "clipboard"}, {"text", "x:/path"}}}));
}

TEST_F(KeysCommandTest, PastedClipboardTypesLinesWithEnter) {
    patchDesktop(R"({"clipboard": "a\nb"})");
    auto result = run({"keys", "{grab}{paste}"});
    EXPECT_EQ(result.status, 0);
    Json expected = Json::array({sleep(100000)});
    for (int code : {0, 36, 11}) appendKey(expected, code);
    EXPECT_EQ(events(), expected);
}

TEST_F(KeysCommandTest, PasteErrorIsReportedAndTypingGoesOn) {
    patchDesktop(R"({"clipboard": "x{"})");
    auto result = run({"keys", "{grab}{paste}y"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "Error parsing buffer for paste: unclosedBrace\n");
    Json expected = Json::array({sleep(100000)});
    appendKey(expected, 16);
    EXPECT_EQ(events(), expected);
}

struct ParseFailure {
    const char* name;
    const char* keys;
    int status;
    const char* err;
};

class KeysParseFailureTest : public KeysCommandTest,
                             public ::testing::WithParamInterface<ParseFailure> {};

TEST_P(KeysParseFailureTest, ReportsAndTypesNothing) {
    auto result = run({"keys", GetParam().keys});
    EXPECT_EQ(result.status, GetParam().status);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, GetParam().err);
    EXPECT_EQ(events(), Json::array());
}

INSTANTIATE_TEST_SUITE_P(
    Strings, KeysParseFailureTest,
    ::testing::Values(
        ParseFailure{"UnclosedBrace", "abc{grab}x{paste", 2,
                     "Error: Unclosed brace in keys string\n"},
        ParseFailure{"UnknownKeyName", "hello{CMD+Foo}", 3,
                     "Error: Unknown key name: cmd+foo\nRun 'tarn help' to see available key "
                     "names\n"},
        ParseFailure{"ModifierWithoutKey", "{ctrl}", 3,
                     "Error: Unknown key name: ctrl\nRun 'tarn help' to see available key names\n"},
        ParseFailure{"InvalidPause", "a{pause Soon}", 4, "Error: Invalid pause value: soon\n"},
        ParseFailure{"EmptyPause", "a{pause  }", 4, "Error: Invalid pause value: \n"},
        ParseFailure{"NegativePause", "a{pause -1}", 4, "Error: Invalid pause value: -1\n"},
        ParseFailure{"PauseBeyondTheSleep", "a{pause 4294968}", 4,
                     "Error: Invalid pause value: 4294968\n"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(KeysCommandTest, WithoutPermissionPrintsInstructionsAndStatusFive) {
    patchDesktop(R"({"accessibilityTrusted": false})");
    // The permission is checked before the string, so even a broken one gives status 5.
    for (const char* keys : {"abc", "{foo"}) {
        auto result = run({"keys", keys});
        EXPECT_EQ(result.status, 5) << keys;
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, std::string(kPermissionInstructions) +
                                  "ERROR: Accessibility permission required to send keystrokes\n");
    }
    EXPECT_EQ(events(), Json::array({Json{{"type", "permissionPrompt"}},
                                     Json{{"type", "permissionPrompt"}}}));
}

TEST_F(KeysCommandTest, NoStringIsInsufficientArguments) {
    auto result = run({"keys"});
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "Error: insufficientArguments\n");
    EXPECT_EQ(events(), Json::array());
}

TEST_F(KeysCommandTest, EmptyStringTypesNothing) {
    auto result = run({"keys", ""});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(events(), Json::array());
}

TEST_F(KeysCommandTest, UnpostableKeysAreSkippedSilently) {
    patchDesktop(R"({"unpostableKeys": [0]})");
    auto result = run({"keys", "ab"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    Json expected = Json::array();
    appendKey(expected, 11);
    EXPECT_EQ(events(), expected);
}

}  // namespace
}  // namespace tarn::testing
