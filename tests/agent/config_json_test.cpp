#include "agent/config_json.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tests/common/golden.h"

namespace tarn::agent {
namespace {

constexpr const char* kId1 = "3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C";

// The pieces below are written out by hand; every expected file text is built from them.
const std::string kIdMember = R"("id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C",)";
const std::string kChord = R"("chord":{"keyCode":124,"modifiers":6})";
const std::string kMoveRight = R"("action":{"moveWindow":{"direction":"right"}})";
const std::string kRule1 = "{" + kIdMember + kChord + "," + kMoveRight + R"(,"swallow":true})";
const std::string kApp1 =
    R"({"bundleID":"org.demo.editor","displayName":"Editor","savedLocations":[],"ruleOverrides":[]})";
const std::string kOverride1 = R"("3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C")";
const std::string kNoLists = R"(,"savedLocations":[],"ruleOverrides":[])";

std::string document(const std::string& rules, const std::string& apps) {
    return R"({"globalRules":[)" + rules + R"(],"appConfigs":[)" + apps + "]}";
}
// Application "a" named "A" with the given further members.
std::string appA(const std::string& members) {
    return R"({"bundleID":"a","displayName":"A")" + members + "}";
}
// A rule with kRule1's id and the given members, beside kApp1.
std::string ruleWith(const std::string& members) {
    return document("{" + kIdMember + members + "}", kApp1);
}
// kApp1's names with the given members, beside kRule1.
std::string appWith(const std::string& members) {
    return document(kRule1,
                    R"({"bundleID":"org.demo.editor","displayName":"Editor",)" + members + "}");
}

Uuid uuid(const char* text) {
    return *Uuid::parse(text);
}

DecodedConfig decode(const std::string& text) {
    auto decoded = decodeConfigText(text);
    if (!decoded) throw std::runtime_error("not decoded: " + text);
    return *decoded;
}

using Dir = Action::MoveDirection;
using Pos = Action::MousePosition;
using Target = Action::MouseTarget;

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

TEST(ConfigJson, EveryActionCaseWritesItsJsonAndReadsBack) {
    const std::pair<Action, const char*> cases[] = {
        {{Action::MoveWindow{Dir::left}}, R"({"moveWindow":{"direction":"left"}})"},
        {{Action::MoveWindow{Dir::right}}, R"({"moveWindow":{"direction":"right"}})"},
        {{Action::MoveWindow{Dir::up}}, R"({"moveWindow":{"direction":"up"}})"},
        {{Action::MoveWindow{Dir::down}}, R"({"moveWindow":{"direction":"down"}})"},
        {{Action::MoveWindow{Dir::maximize}}, R"({"moveWindow":{"direction":"maximize"}})"},
        {{Action::SendKeystrokeSequence{""}}, R"({"sendKeystrokeSequence":{"sequence":""}})"},
        {{Action::MoveMouse{Target{Target::App{}}, Pos::upperCorner}},
         R"({"moveMouse":{"target":{"app":{}},"position":"Upper Corner"}})"},
        {{Action::MoveMouse{Target{Target::Screen{-1}}, Pos::center}},
         R"({"moveMouse":{"target":{"screen":{"index":-1}},"position":"Center"}})"},
    };
    for (const auto& [action, json] : cases) {
        std::string text = document("{" + kIdMember + R"("chord":{"keyCode":0,"modifiers":0},)" +
                                        R"("action":)" + json + R"(,"swallow":true})",
                                    "");
        EXPECT_EQ(configText(RootConfig{{HotkeyRule{.id = uuid(kId1), .action = action}}, {}}),
                  text);
        DecodedConfig decoded = decode(text);
        EXPECT_TRUE(decoded.readWhole()) << json;
        ASSERT_EQ(decoded.config.globalRules.size(), 1u);
        EXPECT_EQ(decoded.config.globalRules[0].action, action) << json;
    }
}

// A rule without an id, or with one that is no UUID, gets a new random (version 4) one on
// every read; only the latter is reported.
TEST(ConfigJson, ARuleWithoutAUsableIdGetsANewOneOnEveryRead) {
    const char* rest = R"("chord":{"keyCode":1,"modifiers":0},"action":{"moveMouse":)"
                       R"({"target":{"app":{}},"position":"Center"}}})";
    for (const char* id :
         {"", R"("id":"3C0E2F9A",)", R"("id":17,)", R"("id":"3C0E2F9A7B1D4E559A6C1F2D3E4A5B6C",)",
          R"("id":"{3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C}",)",
          R"("id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6",)",
          R"("id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6CC",)",
          R"("id":"3C0E2F9A+7B1D-4E55-9A6C-1F2D3E4A5B6C",)",
          R"("id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6G",)",
          R"("id":" 3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6",)"}) {
        SCOPED_TRACE(id);
        std::string text = document(std::string("{") + id + rest, "");
        DecodedConfig first = decode(text);
        ASSERT_EQ(first.config.globalRules.size(), 1u);
        ASSERT_EQ(first.issues.size(), *id ? 1u : 0u);
        if (*id) {
            EXPECT_EQ(first.issues[0].where, "globalRules[0].id");
        }
        std::string made = first.config.globalRules[0].id.text();
        EXPECT_EQ(made[14], '4');
        EXPECT_NE(std::string("89AB").find(made[19]), std::string::npos);
        EXPECT_NE(decode(text).config.globalRules[0].id, first.config.globalRules[0].id);
    }
}

TEST(ConfigJson, DocumentsThatAreNoObjectFailWhole) {
    for (const char* text : {"", "not json", "[]", R"("globalRules")", "null", "{\"a\":"}) {
        EXPECT_EQ(decodeConfigText(text), std::nullopt) << text;
    }
}

// What a document keeps (as written again) and where its first issue is, if any: older and
// looser layouts read whole; a member that cannot be read loses only what its level holds.
TEST(ConfigJson, EachLevelKeepsWhatItCanRead) {
    struct Case {
        std::string input, written, where;
    };
    const std::string noRules = document("", kApp1);
    const std::string noApps = document(kRule1, "");
    const std::string whole = document(kRule1, kApp1);
    const std::string ch = kChord + ",";
    const std::string cr = kChord + "," + kMoveRight;
    const std::string mouse = ch + R"("action":{"moveMouse":{"target":)";
    const std::string o1 = R"("ruleOverrides":[)" + kOverride1;
    const std::string loc = R"("savedLocations":[{"frame":[[1,2],[3,4]],"screenIndex":)";
    const std::string r0 = "globalRules[0]", a0 = "appConfigs[0]";
    const Case cases[] = {
        {"{}", document("", ""), ""},
        {R"({"appConfigs":[{"ruleOverrides":[],"savedLocations":[],"displayName":"Editor",)"
         R"("bundleID":"org.demo.editor"}],"globalRules":[{"swallow":true,"action":)"
         R"({"moveWindow":{"direction":"right"}},"chord":{"modifiers":6,"keyCode":124},)"
         R"("id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C"}]})",
         whole, ""},  // members in any order
        {R"({"globalRules":[{)" + kIdMember + cr +
             R"(,"swallow":null,"stateFilters":null,"overrideTarn":null}],"appConfigs":null})",
         noApps, ""},                                            // null counts as absent
        {document("{" + kIdMember + cr + "}", ""), noApps, ""},  // no swallow swallows
        {document(R"({"id":"3c0e2f9a-7b1d-4e55-9a6c-1f2d3e4a5b6c","chord":)"
                  R"({"keyCode":124.0,"modifiers":6},)" +
                      kMoveRight + R"(,"swallow":true})",
                  appA(R"(,"ruleOverrides":["3c0e2f9a-7b1d-4e55-9a6c-1f2d3e4a5b6c",{}])")),
         document(kRule1, appA(R"(,"savedLocations":[],"ruleOverrides":[)" + kOverride1 +
                               R"(,{"enabled":true}])")),
         ""},
        {document("", appA("")), document("", appA(kNoLists)), ""},
        {document("", appA(R"(,"savedLocation":{"frame":[[1,2],[3,4]],"screenIndex":2})")),
         document("", appA(R"(,"savedLocations":[{"frame":[[1,2],[3,4]],"screenIndex":2,)"
                           R"("screenSpecific":true}],"ruleOverrides":[])")),
         ""},
        {document("", appA("") + R"(,{"bundleID":"a","displayName":"B"})"),
         document("", appA(kNoLists) + R"(,{"bundleID":"a","displayName":"B")" + kNoLists + "}"),
         ""},
        // A list element that fails empties its list; the other list survives.
        {document(kRule1 + R"(,{"id":"00000000-0000-4000-8000-000000000002",)" + kMoveRight + "}",
                  kApp1),
         noRules, "globalRules[1].chord"},
        {ruleWith(kChord), noRules, r0 + ".action"},
        {ruleWith(R"("chord":5,)" + kMoveRight), noRules, r0 + ".chord"},
        {ruleWith(ch + R"("action":{"moveWindow":{"direction":"Left"}})"), noRules,
         r0 + ".action.moveWindow.direction"},
        {ruleWith(ch + R"("action":{"jump":{}})"), noRules, r0 + ".action"},
        {ruleWith(ch + R"("action":{"moveWindow":{"direction":"up"},)"
                       R"("moveMouse":{"target":{"app":{}},"position":"Center"}})"),
         noRules, r0 + ".action"},
        {ruleWith(ch + R"("action":{"moveWindow":{}})"), noRules,
         r0 + ".action.moveWindow.direction"},
        {ruleWith(mouse + R"({"app":{}},"position":"center"}})"), noRules,
         r0 + ".action.moveMouse.position"},
        {ruleWith(mouse + R"({"app":{},"screen":{"index":1}},"position":"Center"}})"), noRules,
         r0 + ".action.moveMouse.target"},
        {ruleWith(mouse + R"({"app":1},"position":"Center"}})"), noRules,
         r0 + ".action.moveMouse.target.app"},
        {ruleWith(mouse + R"({"screen":{}},"position":"Center"}})"), noRules,
         r0 + ".action.moveMouse.target.screen.index"},
        {ruleWith(R"("chord":{"keyCode":"124","modifiers":6},)" + kMoveRight), noRules,
         r0 + ".chord.keyCode"},
        {ruleWith(R"("chord":{"keyCode":12.5,"modifiers":6},)" + kMoveRight), noRules,
         r0 + ".chord.keyCode"},
        {ruleWith(R"("chord":{"keyCode":124},)" + kMoveRight), noRules, r0 + ".chord.modifiers"},
        {R"({"globalRules":{},"appConfigs":[)" + kApp1 + "]}", noRules, "globalRules"},
        // Optional members that fail lose only themselves.
        {ruleWith(ch + R"("action":{"moveWindow":{"direction":"right"},"jump":1})"), whole,
         r0 + ".action.jump"},
        {ruleWith(cr + R"(,"swallow":"no")"), whole, r0 + ".swallow"},
        {ruleWith(cr + R"(,"stateFilters":{"fullWidthOnPrimary":false,"fullWidthOnSecondary":)"
                       R"(false,"alignRightOnPrimary":false,"alignRightOnSecondary":false,)"
                       R"("alignLeftOnPrimary":false})"),
         whole, r0 + ".stateFilters.alignLeftOnSecondary"},
        {ruleWith(cr + R"(,"stateFilters":5)"), whole, r0 + ".stateFilters"},
        {ruleWith(mouse + R"({"app":{"x":1}},"position":"Center"}})"),
         document("{" + kIdMember + mouse + R"({"app":{}},"position":"Center"}},"swallow":true})",
                  kApp1),
         r0 + ".action.moveMouse.target.app.x"},
        {ruleWith(cr + R"(,"overrideTarn":"sideways")"), whole, r0 + ".overrideTarn"},
        {ruleWith(cr + R"(,"overrideTarn":true)"), whole, r0 + ".overrideTarn"},
        {R"({"version":2,)" + whole.substr(1), whole, "version"},
        // An application member that fails fails the application list; the rules survive.
        {document(kRule1, kApp1 + R"(,{"bundleID":"x"})"), noApps, "appConfigs[1].displayName"},
        {document(kRule1, "5"), noApps, a0},
        {appWith(o1 + "]"), noApps, a0 + ".ruleOverrides"},
        {appWith(R"("ruleOverrides":["right",{}])"), noApps, a0 + ".ruleOverrides[0]"},
        {appWith(o1 + ",false]"), noApps, a0 + ".ruleOverrides[1]"},
        {appWith(R"("ruleOverrides":{})"), noApps, a0 + ".ruleOverrides"},
        // Within an application, optional members again lose only themselves.
        {appWith(o1 + R"(,{"enabled":0}])"),
         appWith(R"("savedLocations":[],)" + o1 + R"(,{"enabled":true}])"),
         a0 + ".ruleOverrides[1].enabled"},
        {appWith(o1 + R"(,{"enabled":false,"stateFilters":{}}])"),
         appWith(R"("savedLocations":[],)" + o1 + R"(,{"enabled":false}])"),
         a0 + ".ruleOverrides[1].stateFilters.fullWidthOnPrimary"},
        {appWith(o1 + R"(,{"enabled":false},)" + kOverride1 + R"(,{"enabled":true}])"),
         appWith(R"("savedLocations":[],)" + o1 + R"(,{"enabled":true}])"),
         a0 + ".ruleOverrides[2]"},  // the second override of a rule wins
        {appWith(loc + R"(0},{"screenIndex":0}])"), whole, a0 + ".savedLocations[1].frame"},
        {appWith(R"("savedLocations":[{"frame":[[1,2],[3,4,5]],"screenIndex":0}])"), whole,
         a0 + ".savedLocations[0].frame[1]"},
        {appWith(R"("savedLocations":[{"frame":[[1,2],[3,4]]}])"), whole,
         a0 + ".savedLocations[0].screenIndex"},
        {appWith(loc + R"(0,"screenSpecific":"yes"}])"),
         appWith(loc + R"(0,"screenSpecific":true}],"ruleOverrides":[])"),
         a0 + ".savedLocations[0].screenSpecific"},
        {appWith(R"("savedLocations":7,"savedLocation":{"frame":[[1,2],[3,4]],)"
                 R"("screenIndex":1,"screenSpecific":false})"),
         appWith(loc + R"(1,"screenSpecific":false}],"ruleOverrides":[])"),
         a0 + ".savedLocations"},  // the earlier layout's single location stands in
        {appWith(R"("savedLocations":[],"savedLocation":{"frame":[[1,2],[3,4]],"screenIndex":1})"),
         whole, a0 + ".savedLocation"},
        {appWith(R"("rules":[{"x":1}],"stateFilters":{})"), whole, a0 + ".rules"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.input);
        DecodedConfig decoded = decode(c.input);
        EXPECT_EQ(configText(decoded.config), c.written);
        EXPECT_EQ(decoded.issues.empty() ? "" : decoded.issues.front().where, c.where);
    }
}

TEST(ConfigJson, IssueMessagesNameTheProblemAndWhatWasKept) {
    const std::pair<std::string, const char*> cases[] = {
        {ruleWith(kChord + R"(,"action":{})"),
         "Invalid number of keys found, expected one.; the whole list was left empty"},
        {ruleWith(kChord + "," + kMoveRight + R"(,"stateFilters":{"fullWidthOnPrimary":1})"),
         "expected true or false; all states stay enabled"},
    };
    for (const auto& [text, message] : cases) {
        DecodedConfig decoded = decode(text);
        ASSERT_EQ(decoded.issues.size(), 1u);
        EXPECT_EQ(decoded.issues[0].message, message);
    }
}

TEST(ConfigJson, IssuesInsideAnEmptiedListAreReplacedByItsFailure) {
    // The first rule's unknown member no longer matters once the whole list is gone.
    DecodedConfig decoded = decode(document(
        "{" + kIdMember + R"("x":1,)" + kChord + "," + kMoveRight + R"(},{"chord":{}})", ""));
    ASSERT_EQ(decoded.issues.size(), 1u);
    EXPECT_EQ(decoded.issues[0].where, "globalRules[1].chord.keyCode");
}

}  // namespace
}  // namespace tarn::agent
