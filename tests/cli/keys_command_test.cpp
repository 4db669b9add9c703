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

struct Case {
    const char* name;
    std::vector<std::string> args;
    const char* patch;  // merged into the basic desktop
    int status;
    std::string err;
    Json events;
};

TEST_F(CommandTest, KeysTypesOrReports) {
    // clang-format off
    const Case cases[] = {
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

}  // namespace
}  // namespace tarn::testing
