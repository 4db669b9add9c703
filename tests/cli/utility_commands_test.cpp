#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <future>

#include "tests/common/command_runner.h"
#include "tests/common/permission_text.h"

namespace tarn::testing {
namespace {

using support::Json;

const std::string kVersion = "tarn v0.1.1.106 (built 2026-01-26)";
const std::string kUsage = kVersion + golden("cli/golden/usage.txt");
const std::string kHelp = kUsage + golden("cli/golden/key_names.txt");

struct Case {
    std::vector<std::string> args;
    int status;
    std::string out, err;
};

class DispatcherTest : public CommandTest, public ::testing::WithParamInterface<Case> {};

// No desktop in any of these: words that need none answer, the rest say what is missing.
TEST_P(DispatcherTest, AnswersTheFirstWord) {
    auto result = run(GetParam().args);
    EXPECT_EQ(result.status, GetParam().status);
    EXPECT_EQ(result.out, GetParam().out);
    EXPECT_EQ(result.err, GetParam().err);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Words, DispatcherTest, ::testing::Values(
    Case{{}, 1, "", kUsage},
    Case{{"frobnicate"}, 1, "", kUsage},
    Case{{"Keys", "x"}, 1, "", kUsage},
    Case{{"HELP"}, 1, "", kUsage},
    Case{{""}, 1, "", kUsage},
    Case{{"version "}, 1, "", kUsage},
    Case{{"help"}, 0, "", kHelp},
    Case{{"--help"}, 0, "", kHelp},
    Case{{"-h", "extra"}, 0, "", kHelp},
    Case{{"version", "x"}, 0, kVersion + "\n", ""},
    Case{{"--version"}, 0, kVersion + "\n", ""},
    Case{{"-v"}, 0, kVersion + "\n", ""},
    Case{{"move-app"}, 1, "", "Usage: tarn move-app <left|right|up|down>\n"},
    Case{{"healthcheck"}, 1, "", "ERROR: No desktop to work on: DISPLAY is not set (and "
                                 "TARN_SIM_DESKTOP names no simulated desktop)\n"}));
// clang-format on

class UtilityCommandTest : public CommandTest {
  protected:
    // The basic desktop and the patch; move-mouse gets a display left of and above the main.
    void writeDesktopWith(const char* patch) {
        auto desktop = basicDesktop();
        desktop["displays"].push_back(
            Json::parse(R"({"id": 2, "x": -1000, "y": -200, "width": 1000, "height": 700})"));
        desktop.merge_patch(Json::parse(patch));
        writeDesktop(desktop);
    }
};

// Each verdict's word and status once; which verdict a desktop earns is proven on the fake.
TEST_F(UtilityCommandTest, HealthcheckPrintsTheVerdict) {
    const std::tuple<const char*, const char*, int> cases[] = {
        {"{}", "healthy", 0},
        {R"({"apps": [{"pid": 100, "bundleID": "a", "windowListError": -25211}]})",
         "cannotReadPosition", 1},
        {R"({"mouseEventsAvailable": false})", "cannotMoveMouse", 1},
    };
    for (const auto& [patch, verdict, status] : cases) {
        writeDesktopWith(patch);
        auto result = run({"healthcheck", "ignored", "words"});
        EXPECT_EQ(result.out, std::string(verdict) + "\n");
        EXPECT_EQ(result.status, status) << verdict;
        EXPECT_EQ(result.err, "");
    }
}

TEST_F(UtilityCommandTest, EndsAndRecordsAsExpected) {
    struct Case {
        const char* patch;
        std::vector<std::string> args;
        int status;
        std::string err;
        const char* events;
    };
    const Case cases[] = {
        // clang-format off
        {"{}", {"move-mouse", "screen", "-1", "home"}, 0, "",
         R"([{"type": "pointer", "x": -990, "y": -190}])"},
        {R"({"accessibilityTrusted": false})", {"move-mouse", "screen", "1"}, 5,
         kPermissionInstructions, R"([{"type": "permissionPrompt"}])"},
        {R"({"scriptResult": "refused"})", {"browser-tab", "Arc", "a", "b", "c"}, 0, "", nullptr},
        // clang-format on
    };
    for (const auto& c : cases) {
        writeDesktopWith(c.patch);
        auto result = run(c.args);
        EXPECT_EQ(result.status, c.status) << c.args[0];
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, c.err);
        if (c.events) {
            EXPECT_EQ(events(), Json::parse(c.events)) << c.args[0];
        }
    }
}

TEST_F(UtilityCommandTest, TabScriptErrorUsesTheStoredBrowserAndEndsWithStatusFive) {
    writeDesktopWith(R"({"scriptResult": {"error": "Safari got an error: no window"}})");
    ASSERT_EQ(run({"settings", "browser", "Safari"}).status, 0);
    auto result = run({"browser-tab", "", "a", "b", "https://a/"});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.err, "AppleScript error: Safari got an error: no window\n");
    ASSERT_EQ(events().size(), 1u);
    EXPECT_THAT(events()[0]["source"].get<std::string>(),
                ::testing::StartsWith("tell application \"Safari\"\n    activate\n"));
}

// A browser reached through its extension: windows front to back, tabs left to right.
TEST_F(UtilityCommandTest, TabThroughTheExtensionSelectsTheFirstMatchOrOpens) {
    const char* twoWindows = R"({"browserTabs": {"windows": [
        {"id": 1, "tabs": [{"id": 11, "url": "https://a.example/", "title": "Inbox"},
                           {"id": 12, "url": "https://b.example/q\"x\\", "title": "Mail"}]},
        {"id": 2, "tabs": [{"id": 21, "url": "https://c.example/", "title": "Docs"},
                           {"id": 22, "url": "https://a.example/2", "title": "Calendar"}]}]}})";
    struct Case {
        const char* patch;
        std::vector<std::string> args;
        int status;
        std::string err;
        const char* event;
    };
    const Case cases[] = {
        // clang-format off
        {twoWindows, {"chromium", "a.example", "", "u"}, 0, "",
         R"({"type": "tabSelect", "browser": "chromium", "window": 1, "tab": 11})"},
        {twoWindows, {"chromium", "c.example", "zzz", "u"}, 0, "",
         R"({"type": "tabSelect", "browser": "chromium", "window": 2, "tab": 21})"},
        {twoWindows, {"chromium", "none", "zzz||Calendar", "u"}, 0, "",
         R"({"type": "tabSelect", "browser": "chromium", "window": 2, "tab": 22})"},
        {twoWindows, {"chromium", "none", "Docs||||x", "u"}, 0, "",
         R"({"type": "tabSelect", "browser": "chromium", "window": 1, "tab": 11})"},
        {twoWindows, {"firefox", "q\"x\\", "zzz", "u"}, 0, "",
         R"({"type": "tabSelect", "browser": "firefox", "window": 1, "tab": 12})"},
        {twoWindows, {"", "none", "zzz", "https://n/"}, 0, "",
         R"({"type": "tabOpen", "browser": "Google Chrome", "url": "https://n/", "newWindow": false})"},
        {R"({"browserTabs": {}})", {"chromium", "", "", "https://n/"}, 0, "",
         R"({"type": "tabOpen", "browser": "chromium", "url": "https://n/", "newWindow": true})"},
        {R"({"browserTabs": {"running": false}})", {"chromium", "a", "b", "https://n/"}, 0, "",
         R"({"type": "browserStart", "browser": "chromium", "url": "https://n/"})"},
        {R"({"browserTabs": {"extension": false}})", {"chromium", "a", "b", "https://n/"}, 5,
         "Browser error: chromium is running without Tarn's extension\n", nullptr},
        // clang-format on
    };
    for (const auto& c : cases) {
        writeDesktopWith(c.patch);
        std::vector<std::string> args{"browser-tab"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        auto result = run(args);
        EXPECT_EQ(result.status, c.status) << c.args[1];
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, c.err);
        EXPECT_EQ(events(), c.event ? Json::array({Json::parse(c.event)}) : Json::array())
            << c.args[1] << " " << c.args[2];
    }
}

// Without DISPLAY (a text console, SSH) these failed with "No desktop to work on", though
// they only read and write XDG files; commands that need the X server still ask for it.
TEST_F(UtilityCommandTest, DefaultBrowserCommandsNeedNoDisplay) {
    auto applications = home() / "data" / "applications";
    std::filesystem::create_directories(applications);
    std::ofstream(applications / "webby.desktop")
        << "[Desktop Entry]\nType=Application\nName=Webby\nExec=webby %u\n"
           "MimeType=x-scheme-handler/http;x-scheme-handler/https;\n";
    const std::vector<std::string> env{"XDG_DATA_HOME=" + (home() / "data").string(),
                                       "XDG_DATA_DIRS=" + (home() / "none").string()};
    auto set = run({"browser-default", "set", "--bundle", "webby.desktop"}, env);
    EXPECT_EQ(set.err, "");
    EXPECT_EQ(set.out, "Set default browser to: Webby (webby.desktop)\n");
    EXPECT_EQ(run({"browser-default", "current"}, env).out,
              "{\n  \"http\" : \"webby.desktop\",\n  \"https\" : \"webby.desktop\"\n}\n");
    auto move = run({"move-mouse"}, env);
    EXPECT_EQ(move.status, 1);
    EXPECT_THAT(move.err, ::testing::HasSubstr("DISPLAY is not set"));
}

Json sleep(std::uint32_t us) {
    return Json{{"type", "sleep"}, {"us", us}};
}

// The recorded events: numbers are typed keys (down, 1 ms, up, 10 ms); arrays are spliced in.
Json typed(std::initializer_list<Json> parts, std::uint64_t flags = 0) {
    Json all = Json::array();
    for (const auto& part : parts) {
        if (part.is_array()) all.insert(all.end(), part.begin(), part.end());
        if (part.is_object()) all.push_back(part);
        if (!part.is_number()) continue;
        for (bool down : {true, false}) {
            all.push_back(Json{{"type", "key"},
                               {"code", part},
                               {"down", down},
                               {"flags", flags},
                               {"marker", nullptr}});
            all.push_back(sleep(down ? 1000 : 10000));
        }
    }
    return all;
}

const std::string kPermission = std::string(kPermissionInstructions) +
                                "ERROR: Accessibility permission required to send keystrokes\n";
const std::string kUnknown = "\nRun 'tarn help' to see available key names\n";

struct KeysCase {
    const char* name;
    std::vector<std::string> args;
    const char* patch;  // merged into the basic desktop
    int status;
    std::string err;
    Json events;
};

TEST_F(CommandTest, KeysTypesOrReports) {
    // clang-format off
    const KeysCase cases[] = {
        {"ChordsCarryFlagsAndPausesSleep", {"keys", "{cmd+shift+Z}{pause 250}A{leftbrace}"}, "{}",
         0, "", typed({typed({6}, 0x120000), sleep(250000), typed({0, 33}, 0x20000)})},
        {"FirstWordOnlyUnpostableKeysSkipped", {"keys", "ab", "c"}, R"({"unpostableKeys": [0]})",
         0, "", typed({11})},
        {"PasteErrorAndTypingGoesOn", {"keys", "{grab}{paste}y"}, R"({"clipboard": "x{"})", 0,
         "Error parsing buffer for paste: unclosedBrace\n", typed({sleep(100000), 16})},
        {"NoString", {"keys"}, "{}", 4, "Error: insufficientArguments\n", Json::array()},
        {"UnclosedBrace", {"keys", "abc{grab}x{paste"}, "{}", 2,
         "Error: Unclosed brace in keys string\n", Json::array()},
        {"UnknownKeyName", {"keys", "hello{CMD+Foo}"}, "{}", 3,
         "Error: Unknown key name: cmd+foo" + kUnknown, Json::array()},
        {"InvalidPause", {"keys", "a{pause Soon}"}, "{}", 4, "Error: Invalid pause value: soon\n",
         Json::array()},
        // The permission is checked before the string is parsed.
        {"WithoutPermission", {"keys", "{foo"}, R"({"accessibilityTrusted": false})", 5,
         kPermission, typed({Json{{"type", "permissionPrompt"}}})},
    };
    // clang-format on
    for (const auto& c : cases) {
        auto desktop = basicDesktop();
        desktop.merge_patch(Json::parse(c.patch));
        writeDesktop(desktop);
        auto result = run(c.args);
        EXPECT_EQ(result.status, c.status) << c.name;
        EXPECT_EQ(result.out, "") << c.name;
        EXPECT_EQ(result.err, c.err) << c.name;
        EXPECT_EQ(events(), c.events) << c.name;
    }
}

// 30 `tarn keys a` side by side left 11 of their 120 events: each event was a
// read-change-write of the desktop file of its own, without a lock, so parallel commands
// overwrote each other's. A command is now one locked transaction on the file.
TEST_F(CommandTest, ParallelKeysCommandsKeepEveryEvent) {
    writeDesktop(basicDesktop());
    constexpr int kRuns = 30;
    std::vector<std::future<CommandResult>> runs;
    for (int i = 0; i < kRuns; ++i) {
        runs.push_back(std::async(std::launch::async, [this] { return run({"keys", "a"}); }));
    }
    for (auto& result : runs) {
        auto done = result.get();
        EXPECT_EQ(done.status, 0) << done.err;
    }
    Json expected = Json::array();
    for (int i = 0; i < kRuns; ++i) {
        for (const Json& event : typed({0})) expected.push_back(event);
    }
    // Every run's four events, whole and in order: a command's events are never interleaved
    // with another's.
    EXPECT_EQ(events(), expected);
}

}  // namespace
}  // namespace tarn::testing
