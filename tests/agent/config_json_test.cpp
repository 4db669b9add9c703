#include "agent/config_json.h"

#include <gtest/gtest.h>

#include <string>

namespace tarn::agent {
namespace {

constexpr const char* kId1 = "3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C";
constexpr const char* kId2 = "00000000-0000-4000-8000-000000000002";

// The pieces below are written out by hand; every expected file text is built from them.
const std::string kRule1 =
    R"({"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C","chord":{"keyCode":124,"modifiers":6},)"
    R"("action":{"moveWindow":{"direction":"right"}},"swallow":true})";
const std::string kApp1 =
    R"({"bundleID":"org.demo.editor","displayName":"Editor","savedLocations":[],"ruleOverrides":[]})";
const std::string kAllOn =
    R"({"fullWidthOnPrimary":true,"fullWidthOnSecondary":true,"alignRightOnPrimary":true,)"
    R"("alignRightOnSecondary":true,"alignLeftOnPrimary":true,"alignLeftOnSecondary":true})";

std::string document(const std::string& rules, const std::string& apps) {
    return R"({"globalRules":[)" + rules + R"(],"appConfigs":[)" + apps + "]}";
}

Uuid uuid(const char* text) {
    return *Uuid::parse(text);
}

DecodedConfig decode(const std::string& text) {
    auto decoded = decodeConfigText(text);
    if (!decoded) throw std::runtime_error("not decoded: " + text);
    return *decoded;
}

// ---------------------------------------------------------------------------------------------
// Writing

TEST(ConfigWriting, EmptyConfiguration) {
    EXPECT_EQ(configText(RootConfig{}), R"({"globalRules":[],"appConfigs":[]})");
}

TEST(ConfigWriting, OneRuleAndOneAppByteForByte) {
    HotkeyRule rule{
        .id = uuid(kId1),
        .chord = {.keyCode = 124,
                  .modifiers = {KeyChord::Modifiers::control | KeyChord::Modifiers::option}},
        .action = {Action::MoveWindow{Action::MoveDirection::right}},
        .swallow = true,
        .stateFilters = StateFilters{.fullWidthOnSecondary = false},
        .overrideTarn = std::nullopt,
    };
    AppConfig app{
        .bundleID = "org.demo.editor",
        .displayName = "Editor",
        .savedLocations = {{.frame = {100, 50, 900, 700},
                            .screenIndex = 0,
                            .screenSpecific = true}},
        .ruleOverrides = {{uuid(kId1), RuleOverride{.enabled = false}}},
    };
    EXPECT_EQ(
        configText(RootConfig{{rule}, {app}}),
        R"({"globalRules":[{"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C",)"
        R"("chord":{"keyCode":124,"modifiers":6},"action":{"moveWindow":{"direction":"right"}},)"
        R"("swallow":true,"stateFilters":{"fullWidthOnPrimary":true,"fullWidthOnSecondary":false,)"
        R"("alignRightOnPrimary":true,"alignRightOnSecondary":true,"alignLeftOnPrimary":true,)"
        R"("alignLeftOnSecondary":true}}],"appConfigs":[{"bundleID":"org.demo.editor",)"
        R"("displayName":"Editor","savedLocations":[{"frame":[[100,50],[900,700]],)"
        R"("screenIndex":0,"screenSpecific":true}],"ruleOverrides":)"
        R"(["3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C",{"enabled":false}]}]})");
}

TEST(ConfigWriting, OptionalMembersAndUnusualValues) {
    HotkeyRule rule{
        .id = uuid("abcdef01-2345-4789-8abc-def012345678"),  // written upper case
        .chord = {.keyCode = -3, .modifiers = {256 | 8}},    // unknown bits kept
        .action = {Action::SendKeystrokeSequence{"a/b\n\"c\""}},
        .swallow = false,
        .stateFilters = std::nullopt,
        .overrideTarn = Action::MoveDirection::maximize,
    };
    AppConfig app{
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
    EXPECT_EQ(configText(RootConfig{{rule}, {app}}),
              R"({"globalRules":[{"id":"ABCDEF01-2345-4789-8ABC-DEF012345678",)"
              R"("chord":{"keyCode":-3,"modifiers":264},)"
              R"("action":{"sendKeystrokeSequence":{"sequence":"a\/b\n\"c\""}},"swallow":false,)"
              R"("overrideTarn":"maximize"}],"appConfigs":[{"bundleID":"b","displayName":"Bé",)"
              R"("savedLocations":[{"frame":[[-1440.5,0],[0.25,1e+20]],"screenIndex":-1,)"
              R"("screenSpecific":false}],"ruleOverrides":["00000000-0000-4000-8000-000000000002",)"
              R"({"enabled":false},"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C",{"enabled":true,)"
              R"("stateFilters":)" +
                  kAllOn + "}]}]}");
}

TEST(ConfigWriting, RefusesAFrameJsonCannotHold) {
    AppConfig app{.bundleID = "b", .displayName = "B"};
    app.savedLocations.push_back({.frame = {0, 0, std::numeric_limits<double>::infinity(), 1}});
    EXPECT_THROW(configText(RootConfig{{}, {app}}), std::domain_error);
}

// ---------------------------------------------------------------------------------------------
// Every action case: its exact JSON, and back to the same value.

struct ActionCase {
    const char* name;
    Action action;
    const char* json;
};

void PrintTo(const ActionCase& c, std::ostream* out) {
    *out << c.name;
}

class ActionRoundTrip : public ::testing::TestWithParam<ActionCase> {};

TEST_P(ActionRoundTrip, WritesItsJsonAndReadsBackTheSameValue) {
    HotkeyRule rule{.id = uuid(kId1), .chord = {}, .action = GetParam().action};
    std::string text = document(R"({"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C",)"
                                R"("chord":{"keyCode":0,"modifiers":0},"action":)" +
                                    std::string(GetParam().json) + R"(,"swallow":true})",
                                "");
    EXPECT_EQ(configText(RootConfig{{rule}, {}}), text);
    DecodedConfig decoded = decode(text);
    EXPECT_TRUE(decoded.readWhole());
    ASSERT_EQ(decoded.config.globalRules.size(), 1u);
    EXPECT_EQ(decoded.config.globalRules[0].action, GetParam().action);
}

using Dir = Action::MoveDirection;
using Pos = Action::MousePosition;
using Target = Action::MouseTarget;

INSTANTIATE_TEST_SUITE_P(
    EveryCase, ActionRoundTrip,
    ::testing::Values(
        ActionCase{
            "MoveLeft", {Action::MoveWindow{Dir::left}}, R"({"moveWindow":{"direction":"left"}})"},
        ActionCase{"MoveRight",
                   {Action::MoveWindow{Dir::right}},
                   R"({"moveWindow":{"direction":"right"}})"},
        ActionCase{"MoveUp", {Action::MoveWindow{Dir::up}}, R"({"moveWindow":{"direction":"up"}})"},
        ActionCase{
            "MoveDown", {Action::MoveWindow{Dir::down}}, R"({"moveWindow":{"direction":"down"}})"},
        ActionCase{"Maximize",
                   {Action::MoveWindow{Dir::maximize}},
                   R"({"moveWindow":{"direction":"maximize"}})"},
        ActionCase{"Keystrokes",
                   {Action::SendKeystrokeSequence{"{cmd}c{tab}"}},
                   R"({"sendKeystrokeSequence":{"sequence":"{cmd}c{tab}"}})"},
        ActionCase{"EmptyKeystrokes",
                   {Action::SendKeystrokeSequence{""}},
                   R"({"sendKeystrokeSequence":{"sequence":""}})"},
        ActionCase{"MouseToAppCorner",
                   {Action::MoveMouse{Target{Target::App{}}, Pos::upperCorner}},
                   R"({"moveMouse":{"target":{"app":{}},"position":"Upper Corner"}})"},
        ActionCase{"MouseToAppCenter",
                   {Action::MoveMouse{Target{Target::App{}}, Pos::center}},
                   R"({"moveMouse":{"target":{"app":{}},"position":"Center"}})"},
        ActionCase{"MouseToSecondScreen",
                   {Action::MoveMouse{Target{Target::Screen{1}}, Pos::center}},
                   R"({"moveMouse":{"target":{"screen":{"index":1}},"position":"Center"}})"},
        ActionCase{
            "MouseToLastScreen",
            {Action::MoveMouse{Target{Target::Screen{-1}}, Pos::upperCorner}},
            R"({"moveMouse":{"target":{"screen":{"index":-1}},"position":"Upper Corner"}})"}),
    [](const auto& info) { return std::string(info.param.name); });

// ---------------------------------------------------------------------------------------------
// Reading the layouts a file may have

TEST(ConfigReading, OneRuleAndOneAppReadWhole) {
    DecodedConfig decoded = decode(document(
        R"({"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C","chord":{"keyCode":124,"modifiers":6},)"
        R"("action":{"moveWindow":{"direction":"right"}},"swallow":true,"stateFilters":)"
        R"({"fullWidthOnPrimary":true,"fullWidthOnSecondary":false,"alignRightOnPrimary":true,)"
        R"("alignRightOnSecondary":true,"alignLeftOnPrimary":true,"alignLeftOnSecondary":true}})",
        R"({"bundleID":"org.demo.editor","displayName":"Editor","savedLocations":[{"frame":)"
        R"([[100,50],[900,700]],"screenIndex":0,"screenSpecific":true}],"ruleOverrides":)"
        R"(["3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C",{"enabled":false}]})"));
    EXPECT_TRUE(decoded.readWhole());
    ASSERT_EQ(decoded.config.globalRules.size(), 1u);
    const HotkeyRule& rule = decoded.config.globalRules[0];
    EXPECT_EQ(rule.id.text(), kId1);
    EXPECT_EQ(rule.chord, (KeyChord{124, {6}}));
    EXPECT_EQ(rule.action, Action{Action::MoveWindow{Dir::right}});
    EXPECT_TRUE(rule.swallow);
    EXPECT_EQ(rule.stateFilters, StateFilters{.fullWidthOnSecondary = false});
    EXPECT_EQ(rule.overrideTarn, std::nullopt);
    ASSERT_EQ(decoded.config.appConfigs.size(), 1u);
    const AppConfig& app = decoded.config.appConfigs[0];
    EXPECT_EQ(app.bundleID, "org.demo.editor");
    EXPECT_EQ(app.displayName, "Editor");
    EXPECT_EQ(app.savedLocations,
              (std::vector<SavedWindowLocation>{{{100, 50, 900, 700}, 0, true}}));
    EXPECT_EQ(app.ruleOverrides, (std::map<Uuid, RuleOverride>{{uuid(kId1), {false, {}}}}));
}

// A document read whole and written again: the text written.
struct LayoutCase {
    const char* name;
    std::string input;
    std::string written;
};

void PrintTo(const LayoutCase& c, std::ostream* out) {
    *out << c.name;
}

class ConfigLayouts : public ::testing::TestWithParam<LayoutCase> {};

TEST_P(ConfigLayouts, ReadsWholeAndWritesTheCurrentLayout) {
    DecodedConfig decoded = decode(GetParam().input);
    EXPECT_TRUE(decoded.readWhole()) << decoded.issues.front().where;
    EXPECT_EQ(configText(decoded.config), GetParam().written);
}

INSTANTIATE_TEST_SUITE_P(
    Accepted, ConfigLayouts,
    ::testing::Values(
        LayoutCase{"EmptyObject", "{}", document("", "")},
        LayoutCase{
            "MembersInAnyOrder",
            R"({"appConfigs":[{"ruleOverrides":[],"savedLocations":[],"displayName":"Editor",)"
            R"("bundleID":"org.demo.editor"}],"globalRules":[{"swallow":true,"action":)"
            R"({"moveWindow":{"direction":"right"}},"chord":{"modifiers":6,"keyCode":124},)"
            R"("id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C"}]})",
            document(kRule1, kApp1)},
        LayoutCase{"NullMembersCountAsAbsent",
                   R"({"globalRules":[{"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C","chord":)"
                   R"({"keyCode":124,"modifiers":6},"action":{"moveWindow":{"direction":"right"}},)"
                   R"("swallow":null,"stateFilters":null,"overrideTarn":null}],"appConfigs":null})",
                   document(kRule1, "")},
        LayoutCase{"NoSwallowSwallows",
                   document(R"({"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C","chord":)"
                            R"({"keyCode":124,"modifiers":6},"action":{"moveWindow":)"
                            R"({"direction":"right"}}})",
                            ""),
                   document(kRule1, "")},
        LayoutCase{"LowerCaseIdsAndWholeNumbersWithFractions",
                   document(R"({"id":"3c0e2f9a-7b1d-4e55-9a6c-1f2d3e4a5b6c","chord":)"
                            R"({"keyCode":124.0,"modifiers":6},"action":{"moveWindow":)"
                            R"({"direction":"right"}},"swallow":true})",
                            R"({"bundleID":"a","displayName":"A","ruleOverrides":)"
                            R"(["3c0e2f9a-7b1d-4e55-9a6c-1f2d3e4a5b6c",{}]})"),
                   document(kRule1, R"({"bundleID":"a","displayName":"A","savedLocations":[],)"
                                    R"("ruleOverrides":["3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C",)"
                                    R"({"enabled":true}]})")},
        LayoutCase{"AppWithoutListsHasNone", document("", R"({"bundleID":"a","displayName":"A"})"),
                   document("", R"({"bundleID":"a","displayName":"A","savedLocations":[],)"
                                R"("ruleOverrides":[]})")},
        LayoutCase{
            "EarlierSingleSavedLocation",
            document("", R"({"bundleID":"a","displayName":"A","savedLocation":)"
                         R"({"frame":[[1,2],[3,4]],"screenIndex":2}})"),
            document("", R"({"bundleID":"a","displayName":"A","savedLocations":)"
                         R"([{"frame":[[1,2],[3,4]],"screenIndex":2,"screenSpecific":true}],)"
                         R"("ruleOverrides":[]})")},
        LayoutCase{
            "SameBundleTwiceKeepsBoth",
            document("",
                     R"({"bundleID":"a","displayName":"A"},{"bundleID":"a","displayName":"B"})"),
            document("", R"({"bundleID":"a","displayName":"A","savedLocations":[],)"
                         R"("ruleOverrides":[]},{"bundleID":"a","displayName":"B",)"
                         R"("savedLocations":[],"ruleOverrides":[]})")},
        LayoutCase{
            "OverrideTarnAndFilters",
            document(R"({"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C","chord":{"keyCode":124,)"
                     R"("modifiers":6},"action":{"moveWindow":{"direction":"right"}},)"
                     R"("swallow":false,"stateFilters":)" +
                         kAllOn + R"(,"overrideTarn":"left"})",
                     ""),
            document(R"({"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C","chord":{"keyCode":124,)"
                     R"("modifiers":6},"action":{"moveWindow":{"direction":"right"}},)"
                     R"("swallow":false,"stateFilters":)" +
                         kAllOn + R"(,"overrideTarn":"left"})",
                     "")}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ConfigReading, ARuleWithoutIdGetsANewOneOnEveryRead) {
    std::string text = document(R"({"chord":{"keyCode":1,"modifiers":0},"action":{"moveWindow":)"
                                R"({"direction":"up"}}})",
                                "");
    DecodedConfig first = decode(text);
    DecodedConfig second = decode(text);
    EXPECT_TRUE(first.readWhole());
    ASSERT_EQ(first.config.globalRules.size(), 1u);
    ASSERT_EQ(second.config.globalRules.size(), 1u);
    EXPECT_NE(first.config.globalRules[0].id, second.config.globalRules[0].id);
}

TEST(ConfigReading, AnIdThatIsNoUuidIsReplacedAndReported) {
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

TEST(ConfigReading, DocumentsThatAreNoObjectFailWhole) {
    for (const char* text : {"", "not json", "[]", R"("globalRules")", "null", "{\"a\":"}) {
        EXPECT_EQ(decodeConfigText(text), std::nullopt) << text;
    }
}

// ---------------------------------------------------------------------------------------------
// Members that cannot be read: what is emptied, what survives (as written again), and where
// the reader says the loss is.

struct MalformedCase {
    const char* name;
    std::string input;
    std::string written;
    std::string where;  // the first issue's path
};

void PrintTo(const MalformedCase& c, std::ostream* out) {
    *out << c.name;
}

class MalformedMembers : public ::testing::TestWithParam<MalformedCase> {};

TEST_P(MalformedMembers, LoseOnlyWhatTheirLevelHolds) {
    DecodedConfig decoded = decode(GetParam().input);
    EXPECT_EQ(configText(decoded.config), GetParam().written);
    ASSERT_FALSE(decoded.issues.empty());
    EXPECT_EQ(decoded.issues.front().where, GetParam().where);
}

// A rule (kRule1 with a different member) in a document beside kApp1.
std::string ruleWith(const std::string& members) {
    return document(R"({"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C",)" + members + "}", kApp1);
}
const std::string kChord = R"("chord":{"keyCode":124,"modifiers":6})";
const std::string kMoveRight = R"("action":{"moveWindow":{"direction":"right"}})";
// An application (kApp1's names) with the given lists, beside kRule1.
std::string appWith(const std::string& members) {
    return document(kRule1,
                    R"({"bundleID":"org.demo.editor","displayName":"Editor",)" + members + "}");
}
const std::string kOverride1 = R"("3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C")";

INSTANTIATE_TEST_SUITE_P(
    FailureTable, MalformedMembers,
    ::testing::Values(
        // A list element that fails empties its list; the other list survives.
        MalformedCase{"RuleWithoutChord",
                      document(kRule1 + R"(,{"id":"00000000-0000-4000-8000-000000000002",)" +
                                   kMoveRight + "}",
                               kApp1),
                      document("", kApp1), "globalRules[1].chord"},
        MalformedCase{"RuleWithoutAction", ruleWith(kChord), document("", kApp1),
                      "globalRules[0].action"},
        MalformedCase{"UnknownDirection",
                      ruleWith(kChord + R"(,"action":{"moveWindow":{"direction":"sideways"}})"),
                      document("", kApp1), "globalRules[0].action.moveWindow.direction"},
        MalformedCase{"ActionWithoutCase", ruleWith(kChord + R"(,"action":{"jump":{}})"),
                      document("", kApp1), "globalRules[0].action"},
        MalformedCase{
            "ActionWithTwoCases",
            ruleWith(kChord + R"(,"action":{"moveWindow":{"direction":"up"},)"
                              R"("moveMouse":{"target":{"app":{}},"position":"Center"}})"),
            document("", kApp1), "globalRules[0].action"},
        MalformedCase{"ActionWithoutPayload", ruleWith(kChord + R"(,"action":{"moveWindow":{}})"),
                      document("", kApp1), "globalRules[0].action.moveWindow.direction"},
        MalformedCase{"UnknownPosition",
                      ruleWith(kChord + R"(,"action":{"moveMouse":{"target":{"app":{}},)"
                                        R"("position":"Middle"}})"),
                      document("", kApp1), "globalRules[0].action.moveMouse.position"},
        MalformedCase{"TargetWithTwoCases",
                      ruleWith(kChord + R"(,"action":{"moveMouse":{"target":{"app":{},"screen":)"
                                        R"({"index":1}},"position":"Center"}})"),
                      document("", kApp1), "globalRules[0].action.moveMouse.target"},
        MalformedCase{"ScreenWithoutIndex",
                      ruleWith(kChord + R"(,"action":{"moveMouse":{"target":{"screen":{}},)"
                                        R"("position":"Center"}})"),
                      document("", kApp1), "globalRules[0].action.moveMouse.target.screen.index"},
        MalformedCase{"KeyCodeAsText",
                      ruleWith(R"("chord":{"keyCode":"124","modifiers":6},)" + kMoveRight),
                      document("", kApp1), "globalRules[0].chord.keyCode"},
        MalformedCase{"KeyCodeWithAFraction",
                      ruleWith(R"("chord":{"keyCode":12.5,"modifiers":6},)" + kMoveRight),
                      document("", kApp1), "globalRules[0].chord.keyCode"},
        MalformedCase{"ChordWithoutModifiers", ruleWith(R"("chord":{"keyCode":124},)" + kMoveRight),
                      document("", kApp1), "globalRules[0].chord.modifiers"},
        MalformedCase{"RulesNotAList", R"({"globalRules":{},"appConfigs":[)" + kApp1 + "]}",
                      document("", kApp1), "globalRules"},
        // Optional members that fail lose only themselves.
        MalformedCase{
            "ActionWithAnUnknownMember",
            ruleWith(kChord + R"(,"action":{"moveWindow":{"direction":"right"},"jump":1})"),
            document(kRule1, kApp1), "globalRules[0].action.jump"},
        MalformedCase{"SwallowNotABoolean",
                      ruleWith(kChord + "," + kMoveRight + R"(,"swallow":"no")"),
                      document(kRule1, kApp1), "globalRules[0].swallow"},
        MalformedCase{
            "FiltersMissingAFlag",
            ruleWith(kChord + "," + kMoveRight +
                     R"(,"stateFilters":{"fullWidthOnPrimary":false,"fullWidthOnSecondary":)"
                     R"(false,"alignRightOnPrimary":false,"alignRightOnSecondary":false,)"
                     R"("alignLeftOnPrimary":false})"),
            document(kRule1, kApp1), "globalRules[0].stateFilters.alignLeftOnSecondary"},
        MalformedCase{"UnknownOverrideTarn",
                      ruleWith(kChord + "," + kMoveRight + R"(,"overrideTarn":"sideways")"),
                      document(kRule1, kApp1), "globalRules[0].overrideTarn"},
        MalformedCase{"OverrideTarnNotText",
                      ruleWith(kChord + "," + kMoveRight + R"(,"overrideTarn":true)"),
                      document(kRule1, kApp1), "globalRules[0].overrideTarn"},
        MalformedCase{"UnknownRootMember", R"({"version":2,)" + document(kRule1, kApp1).substr(1),
                      document(kRule1, kApp1), "version"},
        // An application member that fails fails the application list; the rules survive.
        MalformedCase{"AppWithoutDisplayName", document(kRule1, kApp1 + R"(,{"bundleID":"x"})"),
                      document(kRule1, ""), "appConfigs[1].displayName"},
        MalformedCase{"OverridesOddLength", appWith(R"("ruleOverrides":[)" + kOverride1 + "]"),
                      document(kRule1, ""), "appConfigs[0].ruleOverrides"},
        MalformedCase{"OverrideKeyNotAUuid", appWith(R"("ruleOverrides":["right",{}])"),
                      document(kRule1, ""), "appConfigs[0].ruleOverrides[0]"},
        MalformedCase{"OverrideValueNotAnObject",
                      appWith(R"("ruleOverrides":[)" + kOverride1 + ",false]"),
                      document(kRule1, ""), "appConfigs[0].ruleOverrides[1]"},
        MalformedCase{"OverridesAsAnObject", appWith(R"("ruleOverrides":{})"), document(kRule1, ""),
                      "appConfigs[0].ruleOverrides"},
        // Within an application, optional members again lose only themselves.
        MalformedCase{"OverrideEnabledNotABoolean",
                      appWith(R"("ruleOverrides":[)" + kOverride1 + R"(,{"enabled":0}])"),
                      appWith(R"("savedLocations":[],"ruleOverrides":[)" + kOverride1 +
                              R"(,{"enabled":true}])"),
                      "appConfigs[0].ruleOverrides[1].enabled"},
        MalformedCase{"OverrideFiltersIncomplete",
                      appWith(R"("ruleOverrides":[)" + kOverride1 +
                              R"(,{"enabled":false,"stateFilters":{}}])"),
                      appWith(R"("savedLocations":[],"ruleOverrides":[)" + kOverride1 +
                              R"(,{"enabled":false}])"),
                      "appConfigs[0].ruleOverrides[1].stateFilters.fullWidthOnPrimary"},
        MalformedCase{"SecondOverrideOfARuleWins",
                      appWith(R"("ruleOverrides":[)" + kOverride1 + R"(,{"enabled":false},)" +
                              kOverride1 + R"(,{"enabled":true}])"),
                      appWith(R"("savedLocations":[],"ruleOverrides":[)" + kOverride1 +
                              R"(,{"enabled":true}])"),
                      "appConfigs[0].ruleOverrides[2]"},
        MalformedCase{"LocationFrameMissing",
                      appWith(R"("savedLocations":[{"frame":[[1,2],[3,4]],"screenIndex":0},)"
                              R"({"screenIndex":0}])"),
                      document(kRule1, kApp1), "appConfigs[0].savedLocations[1].frame"},
        MalformedCase{"LocationFramePairTooLong",
                      appWith(R"("savedLocations":[{"frame":[[1,2],[3,4,5]],"screenIndex":0}])"),
                      document(kRule1, kApp1), "appConfigs[0].savedLocations[0].frame[1]"},
        MalformedCase{"LocationWithoutScreenIndex",
                      appWith(R"("savedLocations":[{"frame":[[1,2],[3,4]]}])"),
                      document(kRule1, kApp1), "appConfigs[0].savedLocations[0].screenIndex"},
        MalformedCase{"ScreenSpecificNotABoolean",
                      appWith(R"("savedLocations":[{"frame":[[1,2],[3,4]],"screenIndex":0,)"
                              R"("screenSpecific":"yes"}])"),
                      appWith(R"("savedLocations":[{"frame":[[1,2],[3,4]],"screenIndex":0,)"
                              R"("screenSpecific":true}],"ruleOverrides":[])"),
                      "appConfigs[0].savedLocations[0].screenSpecific"},
        MalformedCase{"UnreadableListFallsBackToSingleLocation",
                      appWith(R"("savedLocations":7,"savedLocation":{"frame":[[1,2],[3,4]],)"
                              R"("screenIndex":1,"screenSpecific":false})"),
                      appWith(R"("savedLocations":[{"frame":[[1,2],[3,4]],"screenIndex":1,)"
                              R"("screenSpecific":false}],"ruleOverrides":[])"),
                      "appConfigs[0].savedLocations"},
        MalformedCase{"SingleLocationBesideAList",
                      appWith(R"("savedLocations":[],"savedLocation":{"frame":[[1,2],[3,4]],)"
                              R"("screenIndex":1})"),
                      document(kRule1, kApp1), "appConfigs[0].savedLocation"},
        MalformedCase{"EarlierLayoutMembers", appWith(R"("rules":[{"x":1}],"stateFilters":{})"),
                      document(kRule1, kApp1), "appConfigs[0].rules"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ConfigReading, TheOneCaseMessageNamesTheProblem) {
    DecodedConfig decoded = decode(ruleWith(kChord + R"(,"action":{})"));
    ASSERT_EQ(decoded.issues.size(), 1u);
    EXPECT_EQ(decoded.issues[0].message,
              "Invalid number of keys found, expected one.; the whole list was left empty");
}

TEST(ConfigReading, IssuesInsideAnEmptiedListAreReplacedByItsFailure) {
    // The first rule's unknown member no longer matters once the whole list is gone.
    DecodedConfig decoded =
        decode(document(R"({"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C","x":1,)" + kChord + "," +
                            kMoveRight + R"(},{"chord":{}})",
                        ""));
    ASSERT_EQ(decoded.issues.size(), 1u);
    EXPECT_EQ(decoded.issues[0].where, "globalRules[1].chord.keyCode");
}

}  // namespace
}  // namespace tarn::agent
