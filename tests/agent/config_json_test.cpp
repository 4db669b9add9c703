#include "agent/config_json.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace tarn::agent {
namespace {

constexpr const char* kId1 = "3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C";
constexpr const char* kId2 = "00000000-0000-4000-8000-000000000002";

// The pieces below are written out by hand; every expected file text is built from them.
const std::string kIdMember = R"("id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C",)";
const std::string kChord = R"("chord":{"keyCode":124,"modifiers":6})";
const std::string kMoveRight = R"("action":{"moveWindow":{"direction":"right"}})";
const std::string kRule1 = "{" + kIdMember + kChord + "," + kMoveRight + R"(,"swallow":true})";
const std::string kApp1 =
    R"({"bundleID":"org.demo.editor","displayName":"Editor","savedLocations":[],"ruleOverrides":[]})";
const std::string kAllOn =
    R"({"fullWidthOnPrimary":true,"fullWidthOnSecondary":true,"alignRightOnPrimary":true,)"
    R"("alignRightOnSecondary":true,"alignLeftOnPrimary":true,"alignLeftOnSecondary":true})";
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
        .savedLocations = {{.frame = {100, 50, 900, 700},
                            .screenIndex = 0,
                            .screenSpecific = true}},
        .ruleOverrides = {{uuid(kId1), RuleOverride{.enabled = false}}},
    };
    HotkeyRule unusual{
        .id = uuid("abcdef01-2345-4789-8abc-def012345678"),  // written upper case
        .chord = {.keyCode = -3, .modifiers = {256 | 8}},    // unknown bits kept
        .action = {Action::SendKeystrokeSequence{"a/b\n\"c\""}},
        .swallow = false,
        .stateFilters = std::nullopt,
        .overrideTarn = Dir::maximize,
    };
    AppConfig odd{
        .bundleID = "b",
        .displayName = "Bé",
        .savedLocations = {{.frame = {-1440.5, 0, 0.25, 1e20},
                            .screenIndex = -1,
                            .screenSpecific = false}},
        // Overrides are written in identifier order.
        .ruleOverrides = {{uuid(kId1),
                           RuleOverride{.enabled = true, .stateFilters = StateFilters{}}},
                          {uuid(kId2), RuleOverride{.enabled = false}}},
    };
    const std::pair<RootConfig, std::string> cases[] = {
        {RootConfig{{plain}, {editor}},
         R"({"globalRules":[{"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C",)"
         R"("chord":{"keyCode":124,"modifiers":6},"action":{"moveWindow":{"direction":"right"}},)"
         R"("swallow":true,"stateFilters":{"fullWidthOnPrimary":true,"fullWidthOnSecondary":false,)"
         R"("alignRightOnPrimary":true,"alignRightOnSecondary":true,"alignLeftOnPrimary":true,)"
         R"("alignLeftOnSecondary":true}}],"appConfigs":[{"bundleID":"org.demo.editor",)"
         R"("displayName":"Editor","savedLocations":[{"frame":[[100,50],[900,700]],)"
         R"("screenIndex":0,"screenSpecific":true}],"ruleOverrides":)"
         R"(["3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C",{"enabled":false}]}]})"},
        {RootConfig{{unusual}, {odd}},
         R"({"globalRules":[{"id":"ABCDEF01-2345-4789-8ABC-DEF012345678",)"
         R"("chord":{"keyCode":-3,"modifiers":264},)"
         R"("action":{"sendKeystrokeSequence":{"sequence":"a\/b\n\"c\""}},"swallow":false,)"
         R"("overrideTarn":"maximize"}],"appConfigs":[{"bundleID":"b","displayName":"Bé",)"
         R"("savedLocations":[{"frame":[[-1440.5,0],[0.25,1e+20]],"screenIndex":-1,)"
         R"("screenSpecific":false}],"ruleOverrides":["00000000-0000-4000-8000-000000000002",)"
         R"({"enabled":false},"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C",{"enabled":true,)"
         R"("stateFilters":)" +
             kAllOn + "}]}]}"},
    };
    for (const auto& [config, text] : cases) {
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
        {{Action::SendKeystrokeSequence{"{cmd}c{tab}"}},
         R"({"sendKeystrokeSequence":{"sequence":"{cmd}c{tab}"}})"},
        {{Action::SendKeystrokeSequence{""}}, R"({"sendKeystrokeSequence":{"sequence":""}})"},
        {{Action::MoveMouse{Target{Target::App{}}, Pos::upperCorner}},
         R"({"moveMouse":{"target":{"app":{}},"position":"Upper Corner"}})"},
        {{Action::MoveMouse{Target{Target::App{}}, Pos::center}},
         R"({"moveMouse":{"target":{"app":{}},"position":"Center"}})"},
        {{Action::MoveMouse{Target{Target::Screen{1}}, Pos::center}},
         R"({"moveMouse":{"target":{"screen":{"index":1}},"position":"Center"}})"},
        {{Action::MoveMouse{Target{Target::Screen{-1}}, Pos::upperCorner}},
         R"({"moveMouse":{"target":{"screen":{"index":-1}},"position":"Upper Corner"}})"},
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

TEST(ConfigJson, RefusesAFrameJsonCannotHold) {
    AppConfig app{.bundleID = "b", .displayName = "B"};
    app.savedLocations.push_back({.frame = {0, 0, std::numeric_limits<double>::infinity(), 1}});
    EXPECT_THROW(configText(RootConfig{{}, {app}}), std::domain_error);
}

// Older and looser layouts, read whole: the text written back.
TEST(ConfigJson, AcceptedLayoutsReadWholeAndWriteTheCurrentOne) {
    struct Case {
        const char* name;
        std::string input, written;
    };
    const Case cases[] = {
        {"EmptyObject", "{}", document("", "")},
        {"MembersInAnyOrder",
         R"({"appConfigs":[{"ruleOverrides":[],"savedLocations":[],"displayName":"Editor",)"
         R"("bundleID":"org.demo.editor"}],"globalRules":[{"swallow":true,"action":)"
         R"({"moveWindow":{"direction":"right"}},"chord":{"modifiers":6,"keyCode":124},)"
         R"("id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C"}]})",
         document(kRule1, kApp1)},
        {"NullMembersCountAsAbsent",
         R"({"globalRules":[{)" + kIdMember + kChord + "," + kMoveRight +
             R"(,"swallow":null,"stateFilters":null,"overrideTarn":null}],"appConfigs":null})",
         document(kRule1, "")},
        {"NoSwallowSwallows", document("{" + kIdMember + kChord + "," + kMoveRight + "}", ""),
         document(kRule1, "")},
        {"LowerCaseIdsAndWholeNumbersWithFractions",
         document(R"({"id":"3c0e2f9a-7b1d-4e55-9a6c-1f2d3e4a5b6c","chord":)"
                  R"({"keyCode":124.0,"modifiers":6},)" +
                      kMoveRight + R"(,"swallow":true})",
                  appA(R"(,"ruleOverrides":["3c0e2f9a-7b1d-4e55-9a6c-1f2d3e4a5b6c",{}])")),
         document(kRule1, appA(R"(,"savedLocations":[],"ruleOverrides":[)" + kOverride1 +
                               R"(,{"enabled":true}])"))},
        {"AppWithoutListsHasNone", document("", appA("")), document("", appA(kNoLists))},
        {"EarlierSingleSavedLocation",
         document("", appA(R"(,"savedLocation":{"frame":[[1,2],[3,4]],"screenIndex":2})")),
         document("", appA(R"(,"savedLocations":[{"frame":[[1,2],[3,4]],"screenIndex":2,)"
                           R"("screenSpecific":true}],"ruleOverrides":[])"))},
        {"SameBundleTwiceKeepsBoth",
         document("", appA("") + R"(,{"bundleID":"a","displayName":"B"})"),
         document("", appA(kNoLists) + R"(,{"bundleID":"a","displayName":"B")" + kNoLists + "}")},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        DecodedConfig decoded = decode(c.input);
        EXPECT_TRUE(decoded.readWhole()) << decoded.issues.front().where;
        EXPECT_EQ(configText(decoded.config), c.written);
    }
}

TEST(ConfigJson, ARuleWithoutIdGetsANewOneOnEveryRead) {
    std::string text = document(
        R"({"chord":{"keyCode":1,"modifiers":0},"action":{"moveWindow":{"direction":"up"}}})", "");
    DecodedConfig first = decode(text);
    DecodedConfig second = decode(text);
    EXPECT_TRUE(first.readWhole());
    ASSERT_EQ(first.config.globalRules.size(), 1u);
    ASSERT_EQ(second.config.globalRules.size(), 1u);
    EXPECT_NE(first.config.globalRules[0].id, second.config.globalRules[0].id);
}

TEST(ConfigJson, AnIdThatIsNoUuidIsReplacedAndReported) {
    for (const char* id : {R"("3C0E2F9A")", R"("3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6G")", "17"}) {
        DecodedConfig decoded =
            decode(document(std::string(R"({"id":)") + id +
                                R"(,"chord":{"keyCode":1,"modifiers":0},)"
                                R"("action":{"moveWindow":{"direction":"up"}}})",
                            ""));
        ASSERT_EQ(decoded.config.globalRules.size(), 1u) << id;
        ASSERT_EQ(decoded.issues.size(), 1u) << id;
        EXPECT_EQ(decoded.issues[0].where, "globalRules[0].id");
    }
}

TEST(ConfigJson, DocumentsThatAreNoObjectFailWhole) {
    for (const char* text : {"", "not json", "[]", R"("globalRules")", "null", "{\"a\":"}) {
        EXPECT_EQ(decodeConfigText(text), std::nullopt) << text;
    }
}

// Members that cannot be read: what survives (as written again), and where the first issue is.
TEST(ConfigJson, MalformedMembersLoseOnlyWhatTheirLevelHolds) {
    struct Case {
        const char* name;
        std::string input, written, where;
    };
    const std::string noRules = document("", kApp1);
    const std::string noApps = document(kRule1, "");
    const std::string whole = document(kRule1, kApp1);
    const std::string ch = kChord + ",";
    const std::string cr = kChord + "," + kMoveRight;
    const std::string o1 = R"("ruleOverrides":[)" + kOverride1;
    const std::string loc = R"("savedLocations":[{"frame":[[1,2],[3,4]],"screenIndex":)";
    const Case cases[] = {
        // A list element that fails empties its list; the other list survives.
        {"RuleWithoutChord",
         document(kRule1 + R"(,{"id":"00000000-0000-4000-8000-000000000002",)" + kMoveRight + "}",
                  kApp1),
         noRules, "globalRules[1].chord"},
        {"RuleWithoutAction", ruleWith(kChord), noRules, "globalRules[0].action"},
        {"UnknownDirection", ruleWith(ch + R"("action":{"moveWindow":{"direction":"sideways"}})"),
         noRules, "globalRules[0].action.moveWindow.direction"},
        {"ActionWithoutCase", ruleWith(ch + R"("action":{"jump":{}})"), noRules,
         "globalRules[0].action"},
        {"ActionWithTwoCases",
         ruleWith(ch + R"("action":{"moveWindow":{"direction":"up"},)"
                       R"("moveMouse":{"target":{"app":{}},"position":"Center"}})"),
         noRules, "globalRules[0].action"},
        {"ActionWithoutPayload", ruleWith(ch + R"("action":{"moveWindow":{}})"), noRules,
         "globalRules[0].action.moveWindow.direction"},
        {"UnknownPosition",
         ruleWith(ch + R"("action":{"moveMouse":{"target":{"app":{}},"position":"Middle"}})"),
         noRules, "globalRules[0].action.moveMouse.position"},
        {"TargetWithTwoCases",
         ruleWith(ch + R"("action":{"moveMouse":{"target":{"app":{},"screen":{"index":1}},)"
                       R"("position":"Center"}})"),
         noRules, "globalRules[0].action.moveMouse.target"},
        {"ScreenWithoutIndex",
         ruleWith(ch + R"("action":{"moveMouse":{"target":{"screen":{}},"position":"Center"}})"),
         noRules, "globalRules[0].action.moveMouse.target.screen.index"},
        {"KeyCodeAsText", ruleWith(R"("chord":{"keyCode":"124","modifiers":6},)" + kMoveRight),
         noRules, "globalRules[0].chord.keyCode"},
        {"KeyCodeWithAFraction",
         ruleWith(R"("chord":{"keyCode":12.5,"modifiers":6},)" + kMoveRight), noRules,
         "globalRules[0].chord.keyCode"},
        {"ChordWithoutModifiers", ruleWith(R"("chord":{"keyCode":124},)" + kMoveRight), noRules,
         "globalRules[0].chord.modifiers"},
        {"RulesNotAList", R"({"globalRules":{},"appConfigs":[)" + kApp1 + "]}", noRules,
         "globalRules"},
        // Optional members that fail lose only themselves.
        {"ActionWithAnUnknownMember",
         ruleWith(ch + R"("action":{"moveWindow":{"direction":"right"},"jump":1})"), whole,
         "globalRules[0].action.jump"},
        {"SwallowNotABoolean", ruleWith(cr + R"(,"swallow":"no")"), whole,
         "globalRules[0].swallow"},
        {"FiltersMissingAFlag",
         ruleWith(cr + R"(,"stateFilters":{"fullWidthOnPrimary":false,"fullWidthOnSecondary":)"
                       R"(false,"alignRightOnPrimary":false,"alignRightOnSecondary":false,)"
                       R"("alignLeftOnPrimary":false})"),
         whole, "globalRules[0].stateFilters.alignLeftOnSecondary"},
        {"FiltersNotAnObject", ruleWith(cr + R"(,"stateFilters":5)"), whole,
         "globalRules[0].stateFilters"},
        {"AppTargetWithAMember",
         ruleWith(ch + R"("action":{"moveMouse":{"target":{"app":{"x":1}},"position":"Center"}})"),
         document("{" + kIdMember + ch + R"("action":{"moveMouse":{"target":{"app":{}},)"
                  R"("position":"Center"}},"swallow":true})", kApp1),
         "globalRules[0].action.moveMouse.target.app.x"},
        {"UnknownOverrideTarn", ruleWith(cr + R"(,"overrideTarn":"sideways")"), whole,
         "globalRules[0].overrideTarn"},
        {"OverrideTarnNotText", ruleWith(cr + R"(,"overrideTarn":true)"), whole,
         "globalRules[0].overrideTarn"},
        {"UnknownRootMember", R"({"version":2,)" + whole.substr(1), whole, "version"},
        // An application member that fails fails the application list; the rules survive.
        {"AppWithoutDisplayName", document(kRule1, kApp1 + R"(,{"bundleID":"x"})"), noApps,
         "appConfigs[1].displayName"},
        {"OverridesOddLength", appWith(o1 + "]"), noApps, "appConfigs[0].ruleOverrides"},
        {"OverrideKeyNotAUuid", appWith(R"("ruleOverrides":["right",{}])"), noApps,
         "appConfigs[0].ruleOverrides[0]"},
        {"OverrideValueNotAnObject", appWith(o1 + ",false]"), noApps,
         "appConfigs[0].ruleOverrides[1]"},
        {"OverridesAsAnObject", appWith(R"("ruleOverrides":{})"), noApps,
         "appConfigs[0].ruleOverrides"},
        // Within an application, optional members again lose only themselves.
        {"OverrideEnabledNotABoolean", appWith(o1 + R"(,{"enabled":0}])"),
         appWith(R"("savedLocations":[],)" + o1 + R"(,{"enabled":true}])"),
         "appConfigs[0].ruleOverrides[1].enabled"},
        {"OverrideFiltersIncomplete", appWith(o1 + R"(,{"enabled":false,"stateFilters":{}}])"),
         appWith(R"("savedLocations":[],)" + o1 + R"(,{"enabled":false}])"),
         "appConfigs[0].ruleOverrides[1].stateFilters.fullWidthOnPrimary"},
        {"SecondOverrideOfARuleWins",
         appWith(o1 + R"(,{"enabled":false},)" + kOverride1 + R"(,{"enabled":true}])"),
         appWith(R"("savedLocations":[],)" + o1 + R"(,{"enabled":true}])"),
         "appConfigs[0].ruleOverrides[2]"},
        {"LocationFrameMissing", appWith(loc + R"(0},{"screenIndex":0}])"), whole,
         "appConfigs[0].savedLocations[1].frame"},
        {"LocationFramePairTooLong",
         appWith(R"("savedLocations":[{"frame":[[1,2],[3,4,5]],"screenIndex":0}])"), whole,
         "appConfigs[0].savedLocations[0].frame[1]"},
        {"LocationWithoutScreenIndex", appWith(R"("savedLocations":[{"frame":[[1,2],[3,4]]}])"),
         whole, "appConfigs[0].savedLocations[0].screenIndex"},
        {"ScreenSpecificNotABoolean", appWith(loc + R"(0,"screenSpecific":"yes"}])"),
         appWith(loc + R"(0,"screenSpecific":true}],"ruleOverrides":[])"),
         "appConfigs[0].savedLocations[0].screenSpecific"},
        {"UnreadableListFallsBackToSingleLocation",
         appWith(R"("savedLocations":7,"savedLocation":{"frame":[[1,2],[3,4]],)"
                 R"("screenIndex":1,"screenSpecific":false})"),
         appWith(loc + R"(1,"screenSpecific":false}],"ruleOverrides":[])"),
         "appConfigs[0].savedLocations"},
        {"SingleLocationBesideAList",
         appWith(R"("savedLocations":[],"savedLocation":{"frame":[[1,2],[3,4]],"screenIndex":1})"),
         whole, "appConfigs[0].savedLocation"},
        {"EarlierLayoutMembers", appWith(R"("rules":[{"x":1}],"stateFilters":{})"), whole,
         "appConfigs[0].rules"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        DecodedConfig decoded = decode(c.input);
        EXPECT_EQ(configText(decoded.config), c.written);
        ASSERT_FALSE(decoded.issues.empty());
        EXPECT_EQ(decoded.issues.front().where, c.where);
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
