#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/command_runner.h"

namespace tarn::testing {
namespace {

using support::Json;

class MoveMouseCommandTest : public CommandTest {
  protected:
    void SetUp() override {
        auto desktop = basicDesktop();
        desktop["displays"].push_back(
            Json::parse(R"({"id": 2, "x": -1000, "y": -200, "width": 1000, "height": 700})"));
        writeDesktop(desktop);
    }
};

TEST_F(MoveMouseCommandTest, WarpsAreRecordedAsPointerEvents) {
    for (auto args : {std::vector<std::string>{"move-mouse"},
                      {"move-mouse", "screen", "-1", "home"},
                      {"move-mouse", "screen", "2"}}) {
        auto result = run(args);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.out + result.err, "");
    }
    EXPECT_EQ(events(), Json::parse(R"([{"type": "pointer", "x": 500, "y": 400},
                                        {"type": "pointer", "x": -990, "y": -190},
                                        {"type": "pointer", "x": 960, "y": 540}])"));
    EXPECT_EQ(readDesktop()["pointer"], Json::parse(R"({"x": 960, "y": 540})"));
}

TEST_F(MoveMouseCommandTest, ProblemsAreOneLineWithStatusZero) {
    auto desktop = readDesktop();
    desktop["frontmost"] = nullptr;
    writeDesktop(desktop);
    auto result = run({"move-mouse", "home"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "No frontmost application.\n");
    result = run({"move-mouse", "window"});
    EXPECT_EQ(result.out, "Unknown target: window. Use 'app' or 'screen'.\n");
    EXPECT_EQ(events(), Json::array());
}

TEST_F(MoveMouseCommandTest, WithoutPermissionAsksAndEndsWithStatusFive) {
    auto desktop = readDesktop();
    desktop["accessibilityTrusted"] = false;
    writeDesktop(desktop);
    auto result = run({"move-mouse", "screen", "1"});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, ::testing::HasSubstr("5. Run this command again\n"));
    EXPECT_EQ(events(), Json::parse(R"([{"type": "permissionPrompt"}])"));
}

class BrowserTabCommandTest : public CommandTest {};

TEST_F(BrowserTabCommandTest, TooFewWordsEndWithStatusFour) {
    writeDesktop(basicDesktop());
    auto result = run({"browser-tab", "Safari", "example", "Example"});
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "Usage: tarn browser-tab <browser> <urlPattern> <titlePattern> <url>\n"
              "Error: insufficientArguments\n");
    EXPECT_EQ(events(), Json::array());
}

TEST_F(BrowserTabCommandTest, ScriptErrorEndsWithStatusFive) {
    auto desktop = basicDesktop();
    desktop["scriptResult"] = Json::parse(R"({"error": "Safari got an error: no window"})");
    writeDesktop(desktop);
    ASSERT_EQ(run({"settings", "browser", "Safari"}).status, 0);
    auto result = run({"browser-tab", "", "a", "b", "https://a/"});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.err, "AppleScript error: Safari got an error: no window\n");
    ASSERT_EQ(events().size(), 1u);
    EXPECT_THAT(events()[0]["source"].get<std::string>(),
                ::testing::StartsWith("tell application \"Safari\"\n    activate\n"));
}

TEST_F(BrowserTabCommandTest, RefusedScriptIsSilent) {
    auto desktop = basicDesktop();
    desktop["scriptResult"] = "refused";
    writeDesktop(desktop);
    auto result = run({"browser-tab", "Arc", "a", "b", "c"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out + result.err, "");
}

class BrowserDefaultCommandTest : public CommandTest {
  protected:
    void SetUp() override {
        auto desktop = basicDesktop();
        desktop["browsers"] = Json::parse(R"({
          "apps": [
            {"bundleID": "org.zeta", "name": "Zeta", "path": "/Users/me/Zeta.app",
             "opens": ["http", "https"], "declares": ["https"]},
            {"bundleID": "org.zeta", "name": "Zeta", "path": "/Applications/Zeta.app",
             "opens": ["http", "https"], "declares": ["https"]},
            {"bundleID": "org.mute", "name": "Mute", "path": "/Applications/Mute.app",
             "opens": ["http", "https"], "declares": []},
            {"bundleID": "org.half", "name": "Half", "path": "/Applications/Half.app",
             "opens": ["https"], "declares": ["http", "https"]},
            {"bundleID": "com.example.Stubborn", "name": "alpha", "path": "/Applications/A.app",
             "opens": ["http", "https"], "declares": ["http"]}],
          "defaults": {"https": "org.zeta"},
          "refuse": ["com.example.Stubborn"]})");
        writeDesktop(desktop);
    }
};

TEST_F(BrowserDefaultCommandTest, ListAndCurrentPrintPrettyJson) {
    auto list = run({"browser-default", "list"});
    EXPECT_EQ(list.status, 0);
    EXPECT_EQ(list.out,
              "[\n  {\n    \"name\" : \"alpha\",\n    \"bundleID\" : \"com.example.Stubborn\",\n"
              "    \"path\" : \"\\/Applications\\/A.app\"\n  },\n  {\n    \"name\" : \"Zeta\",\n"
              "    \"bundleID\" : \"org.zeta\",\n    \"path\" : \"\\/Applications\\/Zeta.app\"\n"
              "  }\n]\n");
    auto current = run({"browser-default", "current"});
    EXPECT_EQ(current.out, "{\n  \"http\" : null,\n  \"https\" : \"org.zeta\"\n}\n");
}

TEST_F(BrowserDefaultCommandTest, SetChangesTheDefaultsOrSaysItCouldNot) {
    auto refused = run({"browser-default", "set", "0"});
    EXPECT_EQ(refused.status, 4);
    EXPECT_EQ(refused.err, "Failed to set default browser to com.example.Stubborn\n");
    auto set = run({"browser-default", "set", "1"});
    EXPECT_EQ(set.status, 0);
    EXPECT_EQ(set.out, "Set default browser to: Zeta (org.zeta)\n");
    EXPECT_EQ(readDesktop()["browsers"]["defaults"],
              Json::parse(R"({"http": "org.zeta", "https": "org.zeta"})"));
    auto toggle = run({"browser-default", "toggle", "--a", "org.zeta", "--b", "org.half"});
    EXPECT_EQ(toggle.status, 0);
    EXPECT_EQ(toggle.out, "");  // set, but not a candidate: nothing to show
    EXPECT_EQ(readDesktop()["browsers"]["defaults"]["http"], "org.half");
}

}  // namespace
}  // namespace tarn::testing
