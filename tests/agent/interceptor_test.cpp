#include "agent/keystroke_interceptor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/agent/agent_fakes.h"
#include "tests/agent/manual_scheduler.h"
#include "tests/common/fake_desktop.h"

namespace tarn::agent {
namespace {

using platform::KeyVerdict;
using platform::keyflags::command;
using platform::keyflags::control;
using platform::keyflags::option;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using testing::ruleId;
using Dir = Action::MoveDirection;

constexpr std::int64_t kRight = 124;
constexpr std::int64_t kK = 40;
constexpr std::uint64_t kCtlOpt = control | option;

// What the move-app engine was asked, in order.
struct MoveCall {
    std::string direction;
    std::vector<window::MoveAppLocation> locations;
    window::StateFilters filters;
    bool fromUserRule = false;
    friend bool operator==(const MoveCall&, const MoveCall&) = default;
};
std::vector<MoveCall> moveCalls;
int movesToFail = 0;

int recordMove(const std::string& direction, const std::vector<window::MoveAppLocation>& locations,
               const window::StateFilters& filters, bool fromUserRule, CommandContext&) {
    moveCalls.push_back({direction, locations, filters, fromUserRule});
    if (movesToFail-- > 0) throw platform::DesktopError("lost the connection to the X server");
    return 0;
}

HotkeyRule moveRule(int n, std::int64_t key, std::int64_t mods, Dir direction,
                    bool swallow = true) {
    return {.id = ruleId(n),
            .chord = {key, {mods}},
            .action = {Action::MoveWindow{direction}},
            .swallow = swallow};
}

class InterceptorTest : public ::testing::Test {
  protected:
    InterceptorTest() {
        moveCalls.clear();
        movesToFail = 0;
        testing::FakeApp& app = desktop.addApp(7, "org.app", "App");
        app.addWindow(70, {100, 200, 800, 600});
        app.focused = 70;
        desktop.frontmost = 7;
        WindowActions::configStore = &store;
        host.desktopLost = [this] { ++desktopsLost; };
        host.beforeAction = [this] { ++actionsStarted; };
    }
    ~InterceptorTest() override { WindowActions::configStore = nullptr; }

    void configure(RootConfig config) {
        engine.rebuildIndex(config);
        store.setConfig(std::move(config));
    }
    std::vector<std::string> lines(LogCategory category) {
        std::vector<std::string> found;
        for (const auto& entry : log.entries()) {
            if (entry.category == category) found.push_back(entry.message);
        }
        return found;
    }

    MemoryLog log;
    DiscardLog quiet;
    RuleEngine engine{Logger(quiet, LogCategory::ruleEngine)};
    testing::ManualScheduler scheduler;
    ConfigStore store{scheduler, Logger(quiet, LogCategory::appDelegate),
                      [] { return std::filesystem::path("/nonexistent/wendle-config.json"); }};
    testing::FakeAppEvents events;
    AppObserver observer{events, scheduler};
    testing::FakeKeySource source;
    testing::FakeDesktop desktop;
    std::ostringstream out;
    CommandContext context{out, out, desktop};
    std::string keysBuffer;
    int desktopsLost = 0;
    int actionsStarted = 0;
    ActionHost host{context, keysBuffer, log, &recordMove};
    KeystrokeInterceptor interceptor{engine, observer, source, host, log};
};

TEST_F(InterceptorTest, EachPressIsLoggedMatchedAndSwallowedOrPassed) {
    configure(
        {.globalRules = {moveRule(1, kRight, 6, Dir::right), moveRule(2, kK, 8, Dir::up, false)},
         .appConfigs = {
             {.bundleID = "org.off", .ruleOverrides = {{ruleId(1), {.enabled = false}}}}}});
    struct Case {
        const char* name;
        std::int64_t keyCode;
        std::uint64_t flags;
        std::optional<std::int64_t> marker;
        std::optional<std::string> frontmost;
        KeyVerdict verdict;
        const char* keyDown;  // the chord as logged; null: nothing logged
        int rule;             // the rule whose action runs; 0: none
    };
    using enum KeyVerdict;
    const auto none = std::nullopt;
    const char* kBound = "⌃⌥→ (mod=6, keyCode=124, rawFlags=786432)";
    const Case cases[] = {
        {"bound chord", kRight, kCtlOpt, none, "org.app", swallow, kBound, 1},
        {"caps lock and keypad bits", kRight, kCtlOpt | 0x10000 | 0x200000, none, "org.app",
         swallow, "⌃⌥→ (mod=6, keyCode=124, rawFlags=2949120)", 1},
        {"the agent's own key", kRight, kCtlOpt, 0x43414C56, "org.app", pass, nullptr, 0},
        {"another program's marker", kRight, kCtlOpt, 0x43414C57, none, swallow, kBound, 1},
        {"an extra modifier", kRight, kCtlOpt | command, none, "org.app", pass,
         "⌃⌥⌘→ (mod=14, keyCode=124, rawFlags=1835008)", 0},
        {"swallow off", kK, command, none, "org.app", pass,
         "⌘K (mod=8, keyCode=40, rawFlags=1048576)", 2},
        {"disabled for the application", kRight, kCtlOpt, none, "org.off", pass, kBound, 0},
    };
    const std::vector<std::string> ran[] = {
        {},
        {"✓ Matched rule: moveWindow(right), swallow: true",
         "execute() called for rule: " + ruleId(1).text(), "  Action: moveWindow(right)"},
        {"✓ Matched rule: moveWindow(up), swallow: false",
         "execute() called for rule: " + ruleId(2).text(), "  Action: moveWindow(up)"},
    };
    std::string error;
    ASSERT_TRUE(interceptor.start({}, error));
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        events.frontmost =
            platform::AppInfo{.pid = 7, .bundleID = c.frontmost, .localizedName = {}};
        observer.updateFrontmost();
        log.takeMessages();
        EXPECT_EQ(source.press(c.keyCode, c.flags, c.marker), c.verdict);
        interceptor.workQueue().drain();
        std::vector<std::string> expected = ran[c.rule];
        if (c.keyDown) expected.insert(expected.begin(), std::string("KeyDown: ") + c.keyDown);
        EXPECT_THAT(lines(LogCategory::keystrokeInterceptor), ElementsAreArray(expected));
    }
}

TEST_F(InterceptorTest, ActionsRunInPressOrderAndAFailureCostsOnlyItsOwnPress) {
    configure({.globalRules = {moveRule(1, kRight, 6, Dir::right), moveRule(2, kK, 6, Dir::down)}});
    std::string error;
    ASSERT_TRUE(interceptor.start({}, error));
    movesToFail = 1;
    for (std::int64_t key : {kRight, kK, kRight}) source.press(key, kCtlOpt);
    interceptor.workQueue().drain();
    std::vector<std::string> directions;
    for (const MoveCall& call : moveCalls) directions.push_back(call.direction);
    EXPECT_THAT(directions, ElementsAre("right", "down", "right"));
    EXPECT_EQ(desktopsLost, 1);
    EXPECT_EQ(actionsStarted, 3);  // each action starts from a fresh look at the desktop
    EXPECT_THAT(lines(LogCategory::keystrokeInterceptor),
                Contains("Action failed, the desktop went away: lost the connection to the X "
                         "server"));
}

TEST_F(InterceptorTest, StartingAgainReplacesTheRunningSource) {
    std::string error;
    ASSERT_TRUE(interceptor.start({}, error));
    ASSERT_TRUE(interceptor.start({}, error));
    EXPECT_EQ(source.starts, 2);
    EXPECT_EQ(source.stops, 1);
    EXPECT_TRUE(source.running());
    interceptor.stop();
    EXPECT_FALSE(interceptor.running());
    source.refuseStart = true;
    EXPECT_FALSE(interceptor.start({}, error));
    EXPECT_EQ(error, "no keyboard here");
    EXPECT_FALSE(interceptor.running());
}

TEST(ChordSet, EveryRuleChordOnceWithoutUnpressableModifiers) {
    RootConfig config{
        .globalRules = {moveRule(1, kRight, 6, Dir::right), moveRule(2, kRight, 6, Dir::left),
                        moveRule(3, kK, 8 | 16, Dir::up), moveRule(4, kK, 15, Dir::up)}};
    EXPECT_THAT(chordsOf(config), ElementsAre(platform::Chord{kK, 15}, platform::Chord{124, 6}));
}

TEST_F(InterceptorTest, MovesTakeTheEffectiveFiltersAndTheApplicationsSavedLocations) {
    configure({.appConfigs = {{.bundleID = "org.app",
                               .savedLocations = {{{0, 25, 960, 1055}, 0, true},
                                                  {{960, 25, 960.5, 1055}, 0, false},
                                                  {{1920, 0, 1920, 1080}, 1, true}}}}});
    const std::vector<window::MoveAppLocation> three{
        {{0, 25, 960, 1055}, true}, {{960, 25, 960.5, 1055}, false}, {{1920, 0, 1920, 1080}, true}};
    const std::vector<std::string> listed{
        "Found 3 saved location(s)",
        "  [0]: frame=(0.000000,25.000000,960.000000,1055.000000) screen=0 screenSpecific=true",
        "  [1]: frame=(960.000000,25.000000,960.500000,1055.000000) screen=0 screenSpecific=false",
        "  [2]: frame=(1920.000000,0.000000,1920.000000,1080.000000) screen=1 screenSpecific=true",
        "Using provided state filters for rule"};
    const RuleOverride withFilters{
        .stateFilters = StateFilters{.alignRightOnPrimary = false, .alignLeftOnSecondary = false}};
    window::StateFilters ofOverride, ofRule, allOn;
    ofOverride.alignRightOnPrimary = ofOverride.alignLeftOnSecondary = false;
    ofRule.fullWidthOnPrimary = false;
    struct Case {
        Dir direction;
        std::optional<RuleOverride> override;
        MoveCall expected;
    };
    const Case cases[] = {
        {Dir::maximize, withFilters, {"up", {}, allOn, true}},  // up and down take no filters
        {Dir::up, withFilters, {"up", {}, allOn, true}},
        {Dir::down, {}, {"down", {}, allOn, true}},
        {Dir::left, withFilters, {"left", three, ofOverride, true}},
        {Dir::right, RuleOverride{}, {"right", three, ofRule, true}},  // keeps the rule's filters
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(directionName(c.direction));
        moveCalls.clear();
        log.takeMessages();
        HotkeyRule rule = moveRule(1, kRight, 6, c.direction);
        rule.stateFilters = StateFilters{.fullWidthOnPrimary = false};
        interceptor.execute(rule, c.override, "org.app");
        EXPECT_THAT(moveCalls, ElementsAre(c.expected));
        std::vector<std::string> expected{"performMove called: direction=" +
                                          std::string(directionName(c.direction))};
        if (!c.expected.locations.empty())
            expected.insert(expected.end(), listed.begin(), listed.end());
        expected.push_back("Calling handleMoveApp: direction=" + c.expected.direction);
        EXPECT_THAT(lines(LogCategory::windowActions), ElementsAreArray(expected));
    }
}

TEST_F(InterceptorTest, AnApplicationWithoutSavedLocationsMovesWithDefaults) {
    desktop.apps.front().info.bundleID = "org.other";
    configure(
        {.appConfigs = {{.bundleID = "org.app", .savedLocations = {{{0, 0, 9, 9}, 0, true}}}}});
    interceptor.execute(moveRule(1, kRight, 6, Dir::right), {}, "org.app");
    EXPECT_THAT(moveCalls, ElementsAre(MoveCall{"right", {}, {}, true}));
    EXPECT_THAT(lines(LogCategory::windowActions),
                ElementsAre("performMove called: direction=right",
                            "No saved locations found for frontmost app",
                            "Using default state filters (all enabled)",
                            "Calling handleMoveApp: direction=right"));
}

TEST_F(InterceptorTest, ThePointerGoesInsideTheTargetOrStays) {
    desktop.screens = {{0, 0, 1440, 900}, {1440, -200, 1920, 1080}};
    using Screen = Action::MouseTarget::Screen;
    using App = Action::MouseTarget::App;
    const auto corner = Action::MousePosition::upperCorner;
    const auto center = Action::MousePosition::center;
    struct Case {
        Action::MoveMouse action;
        std::vector<platform::Point> warps;
        std::string lastLine;
    };
    const Case cases[] = {
        {{{Screen{2}}, corner}, {}, "Screen index 2 out of bounds"},
        {{{Screen{-1}}, center}, {}, "Screen index -1 out of bounds"},
        {{{Screen{0}}, corner}, {{10, 10}}, "Moving mouse to: (10.000000, 10.000000)"},
        {{{Screen{0}}, center}, {{720, 450}}, "Moving mouse to: (720.000000, 450.000000)"},
        {{{Screen{1}}, corner}, {{1450, -190}}, "Moving mouse to: (1450.000000, -190.000000)"},
        {{{App{}}, center}, {{500, 500}}, "Moving mouse to: (500.000000, 500.000000)"},
        {{{App{}}, corner}, {{110, 210}}, "Moving mouse to: (110.000000, 210.000000)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.lastLine);
        desktop.warps.clear();
        log.takeMessages();
        interceptor.execute({.id = ruleId(1), .action = {c.action}}, {}, "org.app");
        EXPECT_EQ(desktop.warps, c.warps);
        EXPECT_EQ(lines(LogCategory::windowActions).back(), c.lastLine);
    }
}

TEST_F(InterceptorTest, NoWindowToAimAtLeavesThePointer) {
    const HotkeyRule toWindow{
        .action = {Action::MoveMouse{{Action::MouseTarget::App{}}, Action::MousePosition::center}}};
    desktop.apps.front().focusedWindowError = -25204;
    interceptor.execute(toWindow, {}, {});
    desktop.apps.front().focusedWindowError = platform::ax::success;
    desktop.apps.front().windows.front().frameReadable = false;
    interceptor.execute(toWindow, {}, {});
    desktop.frontmost.reset();
    interceptor.execute(toWindow, {}, {});
    EXPECT_TRUE(desktop.warps.empty());
    EXPECT_THAT(
        lines(LogCategory::windowActions),
        ::testing::IsSupersetOf({"Could not get frontmost window", "Could not get window frame",
                                 "No frontmost application"}));
}

TEST_F(InterceptorTest, TypedKeysCarryTheMarkerAndKeepTheSessionsBuffer) {
    for (const char* sequence : {"a{insert after kept}", "{insert after !}", "{unclosed"}) {
        interceptor.execute({.action = {Action::SendKeystrokeSequence{sequence}}}, {}, {});
    }
    ASSERT_FALSE(desktop.keyEvents.empty());
    for (const auto& event : desktop.keyEvents) EXPECT_EQ(event.marker, 0x43414C56);
    EXPECT_EQ(keysBuffer, "kept!");
    EXPECT_THAT(lines(LogCategory::keystrokeInterceptor),
                Contains("Keystroke sequence failed with status 2"));
}

}  // namespace
}  // namespace tarn::agent
