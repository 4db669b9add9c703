#include "agent/config_json.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tests/common/golden.h"

namespace tarn::agent {
namespace {

constexpr const char* kId1 = "3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C";

Uuid uuid(const char* text) {
    return *Uuid::parse(text);
}

DecodedConfig decode(const std::string& text) {
    auto decoded = decodeConfigText(text);
    if (!decoded) throw std::runtime_error("not decoded: " + text);
    return *decoded;
}

using Dir = Action::MoveDirection;

TEST(ConfigJson, WritesExactTextAndReadsBackTheSameValue) {
    HotkeyRule plain{
        .id = uuid(kId1),
        .chord = {.keyCode = 124,
                  .modifiers = {KeyChord::Modifiers::control | KeyChord::Modifiers::option}},
        .action = {Action::MoveWindow{Dir::right}},
        .swallow = true,
        .stateFilters = StateFilters{.fullWidthOnSecondary = false},
    };
    AppConfig editor{
        .bundleID = "org.demo.editor",
        .displayName = "Editor",
        .savedLocations = {{.frame = {100, 50, 900, 700}, .screenIndex = 0}},
        .ruleOverrides = {{uuid(kId1), RuleOverride{.enabled = false}}},
    };
    HotkeyRule unusual{
        .id = uuid("abcdef01-2345-4789-8abc-def012345678"),  // written upper case
        .chord = {.keyCode = -3, .modifiers = {256 | 8}},    // unknown bits kept
        .action = {Action::SendKeystrokeSequence{"a/b\n\"c\""}},
        .swallow = false,
        .overrideTarn = Dir::maximize,
    };
    AppConfig odd{
        .bundleID = "b",
        .displayName = "Bé",
        .savedLocations = {{.frame = {-1440.5, 0, 0.25, 1e20},
                            .screenIndex = -1,
                            .screenSpecific = false}},
        // Overrides are written in identifier order.
        .ruleOverrides = {{uuid(kId1), RuleOverride{.stateFilters = StateFilters{}}},
                          {uuid("00000000-0000-4000-8000-000000000002"), {.enabled = false}}},
    };
    // One document a line, in the order of the configurations below.
    std::istringstream texts(testing::golden("agent/golden/two_configs.jsonl"));
    for (const RootConfig& config : {RootConfig{{plain}, {editor}}, RootConfig{{unusual}, {odd}}}) {
        std::string text;
        std::getline(texts, text);
        EXPECT_EQ(configText(config), text);
        DecodedConfig decoded = decode(text);
        EXPECT_TRUE(decoded.readWhole()) << text;
        EXPECT_EQ(decoded.config, config) << text;
    }
}

// A rule without an id, or with one that is no UUID, gets a new random (version 4) one on
// every read; only the latter is reported.
TEST(ConfigJson, ARuleWithoutAUsableIdGetsANewOneOnEveryRead) {
    const char* rest = R"("chord":{"keyCode":1,"modifiers":0},"action":{"moveMouse":)"
                       R"({"target":{"app":{}},"position":"Center"}}}],"appConfigs":[]})";
    // One id member a line; the first line (none) leaves it out.
    std::istringstream ids(testing::golden("agent/golden/unusable_ids.txt"));
    for (std::string id; std::getline(ids, id);) {
        SCOPED_TRACE(id);
        std::string text = R"({"globalRules":[{)" + id + rest;
        DecodedConfig first = decode(text);
        ASSERT_EQ(first.config.globalRules.size(), 1u);
        ASSERT_EQ(first.issues.size(), id.empty() ? 0u : 1u);
        for (const auto& issue : first.issues) EXPECT_EQ(issue.where, "globalRules[0].id");
        std::string made = first.config.globalRules[0].id.text();
        EXPECT_EQ(made[14], '4');
        EXPECT_NE(std::string("89AB").find(made[19]), std::string::npos);
        EXPECT_NE(decode(text).config.globalRules[0].id, first.config.globalRules[0].id);
    }
}

TEST(ConfigJson, DocumentsThatAreNoObjectFailWhole) {
    for (const char* text : {"", "not json", "[]", R"("globalRules")", "null", "{\"a\":"})
        EXPECT_EQ(decodeConfigText(text), std::nullopt) << text;
}

// Each document (<) as written again after reading it (>), and every issue found on the way
// (@ where: message).
TEST(ConfigJson, EachLevelKeepsWhatItCanRead) {
    const std::string expected = testing::golden("agent/golden/decode_levels.txt");
    std::istringstream lines(expected);
    std::string actual;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("> ") || line.starts_with("@ ")) continue;
        actual += line + "\n";
        if (!line.starts_with("< ")) continue;
        DecodedConfig decoded = decode(line.substr(2));
        actual += "> " + configText(decoded.config) + "\n";
        for (const auto& issue : decoded.issues)
            actual += "@ " + issue.where + ": " + issue.message + "\n";
    }
    EXPECT_EQ(actual, expected);
}

}  // namespace
}  // namespace tarn::agent
