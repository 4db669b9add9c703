#include <gtest/gtest.h>

#include "tests/common/command_runner.h"
#include "tests/common/permission_text.h"

namespace tarn::testing {
namespace {

using support::Json;

Json sleep(std::uint32_t us) {
    return Json{{"type", "sleep"}, {"us", us}};
}

// The recorded events: numbers are typed keys (down, 1 ms, up, 10 ms); arrays are spliced in.
Json events(std::initializer_list<Json> parts, std::uint64_t flags = 0) {
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

struct Case {
    const char* name;
    std::vector<std::string> args;
    const char* patch;  // merged into the basic desktop
    int status;
    std::string err;
    Json events;
};

class KeysCommandTest : public CommandTest, public ::testing::WithParamInterface<Case> {};

TEST_P(KeysCommandTest, TypesOrReports) {
    const auto& c = GetParam();
    auto desktop = basicDesktop();
    desktop.merge_patch(Json::parse(c.patch));
    writeDesktop(desktop);
    std::vector<std::string> args{"keys"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    auto result = run(args);
    EXPECT_EQ(result.status, c.status);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, c.err);
    EXPECT_EQ(this->events(), c.events);
}

const Json kGrab = sleep(100000);
const Json kPrompt = Json{{"type", "permissionPrompt"}};

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Strings, KeysCommandTest,
    ::testing::Values(
        Case{"ChordsCarryFlagsAndPausesSleep", {"{cmd+shift+Z}{pause 250}A{leftbrace}"}, "{}", 0,
             "", events({events({6}, 0x120000), sleep(250000), events({0, 33}, 0x20000)})},
        Case{"FirstWordOnlyUnpostableKeysSkipped", {"ab", "c"}, R"({"unpostableKeys": [0]})", 0, "",
             events({11})},
        Case{"PasteErrorAndTypingGoesOn", {"{grab}{paste}y"}, R"({"clipboard": "x{"})", 0,
             "Error parsing buffer for paste: unclosedBrace\n", events({kGrab, 16})},
        Case{"NoString", {}, "{}", 4, "Error: insufficientArguments\n", Json::array()},
        Case{"UnclosedBrace", {"abc{grab}x{paste"}, "{}", 2,
             "Error: Unclosed brace in keys string\n", Json::array()},
        Case{"UnknownKeyName", {"hello{CMD+Foo}"}, "{}", 3,
             "Error: Unknown key name: cmd+foo" + kUnknown, Json::array()},
        Case{"InvalidPause", {"a{pause Soon}"}, "{}", 4, "Error: Invalid pause value: soon\n",
             Json::array()},
        // The permission is checked before the string is parsed.
        Case{"WithoutPermission", {"{foo"}, R"({"accessibilityTrusted": false})", 5,
             kPermission, events({kPrompt})}),
    [](const auto& info) { return std::string(info.param.name); });
// clang-format on

}  // namespace
}  // namespace tarn::testing
