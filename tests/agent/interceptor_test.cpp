#include "agent/keystroke_interceptor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agent/agent_fakes.h"

namespace tarn::agent {
namespace {

using platform::KeyVerdict;
using platform::keyflags::command;
using platform::keyflags::control;
using platform::keyflags::option;
using ::testing::Contains;
using ::testing::ElementsAre;
using testing::ruleId;
using Dir = Action::MoveDirection;

constexpr std::int64_t kRight = 124;
constexpr std::int64_t kK = 40;
constexpr std::uint64_t kCtlOpt = control | option;

HotkeyRule moveRule(int n, std::int64_t key, std::int64_t mods, Dir direction,
                    bool swallow = true) {
    return {.id = ruleId(n),
            .chord = {key, {mods}},
            .action = {Action::MoveWindow{direction}},
            .swallow = swallow};
}

// What the move-app engine was asked.
struct MoveCall {
    window::MoveAppRequest request;
    std::optional<window::FrontmostWindow> frontmost;
};

class InterceptorTest : public ::testing::Test, public testing::FakeAgent<> {
  protected:
    InterceptorTest() {
        testing::FakeApp& app = desktop.addApp(7, "org.app", "App");
        app.addWindow(70, {100, 200, 800, 600});
        app.focused = 70;
        desktop.frontmost = 7;
        host.desktopLost = [this] { ++desktopsLost; };
        host.beforeAction = [this] { ++actionsStarted; };
        host.afterAction = [this] { ++actionsFinished; };
        host.moveApp = [this](const window::MoveAppRequest& request,
                              const std::optional<window::FrontmostWindow>& frontmost,
                              CommandContext&) {
            moveCalls.push_back({request, frontmost});
            if (movesToFail-- > 0)
                throw platform::DesktopError("lost the connection to the X server");
            return 0;
        };
    }

    void configure(RootConfig config) {
        engine.rebuildIndex(config);
        store.setConfig(std::move(config));
    }

    bool start() { return interceptor.start({}, error); }

    std::string error;
    std::vector<MoveCall> moveCalls;
    int movesToFail = 0, desktopsLost = 0, actionsStarted = 0, actionsFinished = 0;
    KeystrokeInterceptor interceptor{engine, observer, source, host, log};
};

TEST_F(InterceptorTest, EachPressIsMatchedAndSwallowedOrPassed) {
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
        std::optional<Dir> moves;
    };
    using enum KeyVerdict;
    const auto none = std::nullopt;
    const Case cases[] = {
        {"bound chord", kRight, kCtlOpt, none, "org.app", swallow, Dir::right},
        {"caps lock and keypad bits", kRight, kCtlOpt | 0x10000 | 0x200000, none, "org.app",
         swallow, Dir::right},
        {"the agent's own key", kRight, kCtlOpt, 0x43414C56, "org.app", pass, none},
        {"another program's marker", kRight, kCtlOpt, 0x43414C57, none, swallow, Dir::right},
        {"an extra modifier", kRight, kCtlOpt | command, none, "org.app", pass, none},
        {"swallow off", kK, command, none, "org.app", pass, Dir::up},
        {"disabled for the application", kRight, kCtlOpt, none, "org.off", pass, none},
    };
    ASSERT_TRUE(start());
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        events.frontmost =
            platform::AppInfo{.pid = 7, .bundleID = c.frontmost, .localizedName = {}};
        observer.updateFrontmost();
        moveCalls.clear();
        EXPECT_EQ(source.press(c.keyCode, c.flags, c.marker), c.verdict);
        interceptor.workQueue().drain();
        EXPECT_EQ(moveCalls.empty() ? std::nullopt : std::optional(moveCalls[0].request.direction),
                  c.moves);
    }
}

TEST_F(InterceptorTest, RestartsReplaceTheSourceActionsRunInOrderAndAFailureCostsOnlyItsPress) {
    configure({.globalRules = {moveRule(1, kRight, 6, Dir::right), moveRule(2, kK, 6, Dir::down)}});
    ASSERT_TRUE(start());
    ASSERT_TRUE(start());
    EXPECT_EQ(source.starts, 2);
    EXPECT_EQ(source.stops, 1);
    EXPECT_TRUE(source.running());
    movesToFail = 1;
    for (std::int64_t key : {kRight, kK, kRight}) source.press(key, kCtlOpt);
    interceptor.workQueue().drain();
    std::vector<Dir> directions;
    for (const MoveCall& call : moveCalls) directions.push_back(call.request.direction);
    EXPECT_THAT(directions, ElementsAre(Dir::right, Dir::down, Dir::right));
    EXPECT_EQ(desktopsLost, 1);
    EXPECT_EQ(actionsStarted, 3);   // each action starts from a fresh look at the desktop
    EXPECT_EQ(actionsFinished, 3);  // and ends its operation on it, the failed one too
    EXPECT_THAT(lines(LogCategory::keystrokeInterceptor),
                Contains("Action failed, the desktop went away: lost the connection to the X "
                         "server"));
    interceptor.stop();
    EXPECT_FALSE(interceptor.running());
    source.refuseStart = true;
    EXPECT_FALSE(start());
    EXPECT_EQ(error, "no keyboard here");
    EXPECT_FALSE(interceptor.running());
}

TEST(ChordSet, EveryRuleChordOnceWithoutUnpressableModifiers) {
    RootConfig config{
        .globalRules = {moveRule(1, kRight, 6, Dir::right), moveRule(2, kRight, 6, Dir::left),
                        moveRule(3, kK, 8 | 16, Dir::up), moveRule(4, kK, 15, Dir::up)}};
    EXPECT_THAT(chordsOf(config), ElementsAre(platform::Chord{kK, 15}, platform::Chord{124, 6}));
}

// A move is asked for the window found once for the press, with the effective filters and
// that window's application's saved locations, each on the screen it was recorded on.
TEST_F(InterceptorTest, MovesTakeTheEffectiveFiltersAndTheApplicationsSavedLocations) {
    configure({.appConfigs = {{.bundleID = "org.app",
                               .savedLocations = {{{0, 25, 960, 1055}, 0, true},
                                                  {{960, 25, 960.5, 1055}, 0, false},
                                                  {{1920, 0, 1920, 1080}, 1, true}}}}});
    const std::vector<window::MoveAppLocation> three{{{0, 25, 960, 1055}, true, 0},
                                                     {{960, 25, 960.5, 1055}, false, 0},
                                                     {{1920, 0, 1920, 1080}, true, 1}};
    const RuleOverride withFilters{
        .stateFilters = StateFilters{.alignRightOnPrimary = false, .alignLeftOnSecondary = false}};
    const StateFilters ofOverride = *withFilters.stateFilters, allOn;
    const StateFilters ofRule{.fullWidthOnPrimary = false};
    struct Case {
        Dir direction;
        std::optional<RuleOverride> override;
        window::MoveAppRequest expected;
        bool otherApp = false;  // another application is frontmost, and the rule has no filters
    };
    const Case cases[] = {
        {Dir::maximize, withFilters, {Dir::maximize, {}, allOn}},  // up and down take no filters
        {Dir::down, {}, {Dir::down, {}, allOn}},
        {Dir::left, withFilters, {Dir::left, three, ofOverride}},
        {Dir::right, RuleOverride{}, {Dir::right, three, ofRule}},  // keeps the rule's filters
        {Dir::right, {}, {Dir::right, {}, allOn}, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(directionName(c.direction));
        moveCalls.clear();
        desktop.apps.front().info.bundleID = c.otherApp ? "org.other" : "org.app";
        HotkeyRule rule = moveRule(1, kRight, 6, c.direction);
        if (!c.otherApp) rule.stateFilters = ofRule;
        interceptor.execute(rule, c.override);
        ASSERT_EQ(moveCalls.size(), 1u);
        EXPECT_EQ(moveCalls[0].request, c.expected);
        ASSERT_TRUE(moveCalls[0].frontmost);
        EXPECT_EQ(moveCalls[0].frontmost->window, 70u);
    }
}

TEST_F(InterceptorTest, ThePointerGoesInsideTheTargetOrStaysAndTypedKeysCarryTheMarker) {
    desktop.screens = {{0, 0, 1440, 900}, {1440, -200, 1920, 1080}};
    using Screen = Action::MouseTarget::Screen;
    using App = Action::MouseTarget::App;
    const auto corner = Action::MousePosition::upperCorner;
    const auto center = Action::MousePosition::center;
    enum Broken { nothing, focusedWindow, frame, frontmost };  // what a row takes away first
    struct Case {
        Action::MoveMouse action;
        std::vector<platform::Point> warps;
        std::string name;
        Broken broken = nothing;
    };
    const Case cases[] = {
        {{{Screen{2}}, corner}, {}, "Screen index 2 out of bounds"},
        {{{Screen{-1}}, center}, {}, "Screen index -1 out of bounds"},
        {{{Screen{0}}, corner}, {{10, 10}}, "Moving mouse to: (10.000000, 10.000000)"},
        {{{Screen{0}}, center}, {{720, 450}}, "Moving mouse to: (720.000000, 450.000000)"},
        {{{Screen{1}}, corner}, {{1450, -190}}, "Moving mouse to: (1450.000000, -190.000000)"},
        {{{App{}}, center}, {{500, 500}}, "Moving mouse to: (500.000000, 500.000000)"},
        {{{App{}}, corner}, {{110, 210}}, "Moving mouse to: (110.000000, 210.000000)"},
        {{{App{}}, center}, {}, "Could not get frontmost window", focusedWindow},
        {{{App{}}, center}, {}, "Could not get window frame", frame},
        {{{App{}}, center}, {}, "No frontmost application", frontmost},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        desktop.warps.clear();
        desktop.apps.front().focusedWindowError =
            c.broken == focusedWindow ? -25204 : platform::ax::success;
        desktop.apps.front().windows.front().frameReadable = c.broken != frame;
        if (c.broken == frontmost) desktop.frontmost.reset();
        interceptor.execute({.id = ruleId(1), .action = {c.action}}, {});
        EXPECT_EQ(desktop.warps, c.warps);
    }

    for (const char* sequence : {"a{insert after kept}", "{insert after !}", "{unclosed"})
        interceptor.execute({.action = {Action::SendKeystrokeSequence{sequence}}}, {});
    ASSERT_FALSE(desktop.keyEvents.empty());
    for (const auto& event : desktop.keyEvents) EXPECT_EQ(event.marker, 0x43414C56);
    EXPECT_EQ(keysBuffer, "kept!");
    EXPECT_THAT(lines(LogCategory::keystrokeInterceptor),  // for the third sequence only
                AllOf(Contains("Keystroke sequence failed with status 2"),
                      Contains(::testing::StartsWith("Keystroke")).Times(1)));
}

}  // namespace
}  // namespace tarn::agent
