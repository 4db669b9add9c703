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
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

constexpr std::uint64_t kCapsLock = 0x10000;
constexpr std::uint64_t kNumericPad = 0x200000;
constexpr std::int64_t kRightArrow = 124;
constexpr std::int64_t kK = 40;

Uuid id(int n) {
    Uuid::Bytes bytes{};
    bytes[15] = static_cast<std::uint8_t>(n);
    return Uuid(bytes);
}

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
    if (movesToFail > 0) {
        --movesToFail;
        throw platform::DesktopError("lost the connection to the X server on display :9");
    }
    return 0;
}

const StateFilters kRuleFilters{.fullWidthOnPrimary = false};
const StateFilters kOverrideFilters{.alignRightOnPrimary = false, .alignLeftOnSecondary = false};
const window::StateFilters kAllOn{};

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
    }
    ~InterceptorTest() override { WindowActions::configStore = nullptr; }

    void configure(RootConfig config) {
        engine.rebuildIndex(config);
        store.setConfig(std::move(config));
    }
    void frontmostIs(std::optional<std::string> bundleID) {
        events.frontmost =
            platform::AppInfo{.pid = 7, .bundleID = std::move(bundleID), .localizedName = {}};
        observer.updateFrontmost();
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
    std::ostringstream err;
    CommandContext context{out, err, desktop};
    std::string keysBuffer;
    int desktopsLost = 0;
    int actionsStarted = 0;
    ActionHost host{context,
                    keysBuffer,
                    log,
                    &recordMove,
                    [this] { ++desktopsLost; },
                    [this] { ++actionsStarted; }};
    KeystrokeInterceptor interceptor{engine, observer, source, host, log};
};

HotkeyRule moveRule(int n, std::int64_t key, std::int64_t mods, Action::MoveDirection direction,
                    bool swallow = true) {
    return {.id = id(n),
            .chord = {key, {mods}},
            .action = {Action::MoveWindow{direction}},
            .swallow = swallow};
}

// --- The key source's callback ------------------------------------------------------------

struct PressCase {
    const char* name;
    std::int64_t keyCode;
    std::uint64_t flags;
    std::optional<std::int64_t> marker;
    std::optional<std::string> frontmost;
    KeyVerdict verdict;
    std::vector<std::string> lines;  // the interceptor's log, actions included
};

TEST_F(InterceptorTest, EachPressIsLoggedMatchedAndSwallowedOrPassed) {
    RootConfig config;
    config.globalRules = {moveRule(1, kRightArrow, 6, Action::MoveDirection::right),
                          moveRule(2, kK, 8, Action::MoveDirection::up, /*swallow=*/false)};
    config.appConfigs = {{.bundleID = "org.off", .ruleOverrides = {{id(1), {.enabled = false}}}}};
    configure(config);
    std::string ruleOne = "execute() called for rule: " + id(1).text();
    std::string ruleTwo = "execute() called for rule: " + id(2).text();
    const std::vector<PressCase> cases{
        {"bound chord",
         kRightArrow,
         control | option,
         {},
         "org.app",
         KeyVerdict::swallow,
         {"KeyDown: ⌃⌥→ (mod=6, keyCode=124, rawFlags=786432)",
          "✓ Matched rule: moveWindow(right), swallow: true", ruleOne,
          "  Action: moveWindow(right)"}},
        {"caps lock and keypad bits",
         kRightArrow,
         control | option | kCapsLock | kNumericPad,
         {},
         "org.app",
         KeyVerdict::swallow,
         {"KeyDown: ⌃⌥→ (mod=6, keyCode=124, rawFlags=2949120)",
          "✓ Matched rule: moveWindow(right), swallow: true", ruleOne,
          "  Action: moveWindow(right)"}},
        {"the agent's own key",
         kRightArrow,
         control | option,
         0x43414C56,
         "org.app",
         KeyVerdict::pass,
         {}},
        {"another program's marker",
         kRightArrow,
         control | option,
         0x43414C57,
         std::nullopt,
         KeyVerdict::swallow,
         {"KeyDown: ⌃⌥→ (mod=6, keyCode=124, rawFlags=786432)",
          "✓ Matched rule: moveWindow(right), swallow: true", ruleOne,
          "  Action: moveWindow(right)"}},
        {"an extra modifier",
         kRightArrow,
         control | option | command,
         {},
         "org.app",
         KeyVerdict::pass,
         {"KeyDown: ⌃⌥⌘→ (mod=14, keyCode=124, rawFlags=1835008)"}},
        {"swallow off",
         kK,
         command,
         {},
         "org.app",
         KeyVerdict::pass,
         {"KeyDown: ⌘K (mod=8, keyCode=40, rawFlags=1048576)",
          "✓ Matched rule: moveWindow(up), swallow: false", ruleTwo, "  Action: moveWindow(up)"}},
        {"disabled for the application",
         kRightArrow,
         control | option,
         {},
         "org.off",
         KeyVerdict::pass,
         {"KeyDown: ⌃⌥→ (mod=6, keyCode=124, rawFlags=786432)"}},
    };
    std::string error;
    ASSERT_TRUE(interceptor.start({}, error));
    for (const PressCase& c : cases) {
        SCOPED_TRACE(c.name);
        frontmostIs(c.frontmost);
        log.takeMessages();
        EXPECT_EQ(source.press(c.keyCode, c.flags, c.marker), c.verdict);
        interceptor.workQueue().drain();
        EXPECT_THAT(lines(LogCategory::keystrokeInterceptor), ElementsAreArray(c.lines));
    }
}

TEST_F(InterceptorTest, ActionsRunInPressOrderAndAFailureCostsOnlyItsOwnPress) {
    configure({.globalRules = {moveRule(1, kRightArrow, 6, Action::MoveDirection::right),
                               moveRule(2, kK, 6, Action::MoveDirection::down)}});
    std::string error;
    ASSERT_TRUE(interceptor.start({}, error));
    movesToFail = 1;
    source.press(kRightArrow, control | option);
    source.press(kK, control | option);
    source.press(kRightArrow, control | option);
    interceptor.workQueue().drain();
    ASSERT_EQ(moveCalls.size(), 3u);
    EXPECT_EQ(moveCalls[0].direction, "right");
    EXPECT_EQ(moveCalls[1].direction, "down");
    EXPECT_EQ(desktopsLost, 1);
    EXPECT_EQ(actionsStarted, 3);  // each action starts from a fresh look at the desktop
    EXPECT_THAT(lines(LogCategory::keystrokeInterceptor),
                ::testing::Contains("Action failed, the desktop went away: lost the connection "
                                    "to the X server on display :9"));
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
    RootConfig config;
    config.globalRules = {moveRule(1, kRightArrow, 6, Action::MoveDirection::right),
                          moveRule(2, kRightArrow, 6, Action::MoveDirection::left),
                          moveRule(3, kK, 8 | 16, Action::MoveDirection::up),
                          moveRule(4, kK, 15, Action::MoveDirection::up)};
    EXPECT_THAT(chordsOf(config), ElementsAre(platform::Chord{kK, 15}, platform::Chord{124, 6}));
}

// --- Moving the window --------------------------------------------------------------------

struct MoveCase {
    const char* name;
    Action::MoveDirection direction;
    std::optional<StateFilters> ruleFilters;
    std::optional<RuleOverride> override;
    MoveCall expected;
    std::vector<std::string> lines;  // WindowActions' log
};

TEST_F(InterceptorTest, MovesTakeTheEffectiveFiltersAndTheApplicationsSavedLocations) {
    RootConfig config;
    config.appConfigs = {{.bundleID = "org.app",
                          .savedLocations = {{{0, 25, 960, 1055}, 0, true},
                                             {{960, 25, 960.5, 1055}, 0, false},
                                             {{1920, 0, 1920, 1080}, 1, true}}}};
    configure(config);
    const std::vector<window::MoveAppLocation> three{
        {{0, 25, 960, 1055}, true}, {{960, 25, 960.5, 1055}, false}, {{1920, 0, 1920, 1080}, true}};
    window::StateFilters overrideFilters;
    overrideFilters.alignLeftOnSecondary = false;
    overrideFilters.alignRightOnPrimary = false;
    window::StateFilters ruleFilters;
    ruleFilters.fullWidthOnPrimary = false;
    const std::vector<std::string> locationLines{
        "Found 3 saved location(s)",
        "  [0]: frame=(0.000000,25.000000,960.000000,1055.000000) screen=0 screenSpecific=true",
        "  [1]: frame=(960.000000,25.000000,960.500000,1055.000000) screen=0 "
        "screenSpecific=false",
        "  [2]: frame=(1920.000000,0.000000,1920.000000,1080.000000) screen=1 "
        "screenSpecific=true"};
    auto with = [](std::vector<std::string> head, const std::vector<std::string>& middle,
                   std::vector<std::string> tail) {
        head.insert(head.end(), middle.begin(), middle.end());
        head.insert(head.end(), tail.begin(), tail.end());
        return head;
    };
    const std::vector<MoveCase> cases{
        {"maximize is up, bare",
         Action::MoveDirection::maximize,
         kRuleFilters,
         {},
         {"up", {}, kAllOn, true},
         {"performMove called: direction=maximize", "Calling handleMoveApp: direction=up"}},
        {"left with the override's filters",
         Action::MoveDirection::left,
         kRuleFilters,
         RuleOverride{.stateFilters = kOverrideFilters},
         {"left", three, overrideFilters, true},
         with({"performMove called: direction=left"}, locationLines,
              {"Using provided state filters for rule", "Calling handleMoveApp: direction=left"})},
        {"an override without filters keeps the rule's",
         Action::MoveDirection::right,
         kRuleFilters,
         RuleOverride{},
         {"right", three, ruleFilters, true},
         with({"performMove called: direction=right"}, locationLines,
              {"Using provided state filters for rule", "Calling handleMoveApp: direction=right"})},
        {"up ignores filters",
         Action::MoveDirection::up,
         kRuleFilters,
         RuleOverride{.stateFilters = kOverrideFilters},
         {"up", {}, kAllOn, true},
         {"performMove called: direction=up", "Calling handleMoveApp: direction=up"}},
        {"down",
         Action::MoveDirection::down,
         {},
         {},
         {"down", {}, kAllOn, true},
         {"performMove called: direction=down", "Calling handleMoveApp: direction=down"}},
    };
    for (const MoveCase& c : cases) {
        SCOPED_TRACE(c.name);
        moveCalls.clear();
        log.takeMessages();
        HotkeyRule rule = moveRule(1, kRightArrow, 6, c.direction);
        rule.stateFilters = c.ruleFilters;
        interceptor.execute(rule, c.override, "org.app");
        EXPECT_THAT(moveCalls, ElementsAre(c.expected));
        EXPECT_THAT(lines(LogCategory::windowActions), ElementsAreArray(c.lines));
    }
}

TEST_F(InterceptorTest, AnApplicationWithoutSavedLocationsMovesWithDefaults) {
    desktop.apps.front().info.bundleID = "org.other";
    configure(
        {.appConfigs = {{.bundleID = "org.app", .savedLocations = {{{0, 0, 9, 9}, 0, true}}}}});
    interceptor.execute(moveRule(1, kRightArrow, 6, Action::MoveDirection::right), {}, "org.app");
    EXPECT_THAT(moveCalls, ElementsAre(MoveCall{"right", {}, kAllOn, true}));
    EXPECT_THAT(lines(LogCategory::windowActions),
                ElementsAre("performMove called: direction=right",
                            "No saved locations found for frontmost app",
                            "Using default state filters (all enabled)",
                            "Calling handleMoveApp: direction=right"));
}

// --- Moving the pointer -------------------------------------------------------------------

struct MouseCase {
    const char* name;
    Action::MoveMouse action;
    std::vector<platform::Point> warps;
    std::string lastLine;
};

TEST_F(InterceptorTest, ThePointerGoesInsideTheTargetOrStays) {
    desktop.screens = {{0, 0, 1440, 900}, {1440, -200, 1920, 1080}};
    using Screen = Action::MouseTarget::Screen;
    using App = Action::MouseTarget::App;
    const auto corner = Action::MousePosition::upperCorner;
    const auto center = Action::MousePosition::center;
    const std::vector<MouseCase> cases{
        {"index past the end", {{Screen{2}}, corner}, {}, "Screen index 2 out of bounds"},
        {"negative index", {{Screen{-1}}, center}, {}, "Screen index -1 out of bounds"},
        {"primary corner",
         {{Screen{0}}, corner},
         {{10, 10}},
         "Moving mouse to: (10.000000, 10.000000)"},
        {"primary center",
         {{Screen{0}}, center},
         {{720, 450}},
         "Moving mouse to: (720.000000, 450.000000)"},
        {"second screen corner",
         {{Screen{1}}, corner},
         {{1450, -190}},
         "Moving mouse to: (1450.000000, -190.000000)"},
        {"window center",
         {{App{}}, center},
         {{500, 500}},
         "Moving mouse to: (500.000000, 500.000000)"},
        {"window corner",
         {{App{}}, corner},
         {{110, 210}},
         "Moving mouse to: (110.000000, 210.000000)"},
    };
    for (const MouseCase& c : cases) {
        SCOPED_TRACE(c.name);
        desktop.warps.clear();
        log.takeMessages();
        interceptor.execute({.id = id(1), .action = {c.action}}, {}, "org.app");
        EXPECT_EQ(desktop.warps, c.warps);
        auto written = lines(LogCategory::windowActions);
        ASSERT_FALSE(written.empty());
        EXPECT_EQ(written.back(), c.lastLine);
    }
}

TEST_F(InterceptorTest, NoWindowToAimAtLeavesThePointer) {
    const Action::MoveMouse toWindow{{Action::MouseTarget::App{}}, Action::MousePosition::center};
    desktop.apps.front().focusedWindowError = -25204;
    interceptor.execute({.id = id(1), .action = {toWindow}}, {}, {});
    desktop.apps.front().focusedWindowError = platform::ax::success;
    desktop.apps.front().windows.front().frameReadable = false;
    interceptor.execute({.id = id(1), .action = {toWindow}}, {}, {});
    desktop.frontmost.reset();
    interceptor.execute({.id = id(1), .action = {toWindow}}, {}, {});
    EXPECT_THAT(desktop.warps, IsEmpty());
    auto written = lines(LogCategory::windowActions);
    EXPECT_THAT(written, ::testing::IsSupersetOf({"Could not get frontmost window",
                                                  "Could not get window frame",
                                                  "No frontmost application"}));
}

// --- Typing -------------------------------------------------------------------------------

TEST_F(InterceptorTest, TypedKeysCarryTheMarkerAndKeepTheSessionsBuffer) {
    auto type = [&](const char* sequence) {
        interceptor.execute({.id = id(1), .action = {Action::SendKeystrokeSequence{sequence}}}, {},
                            {});
    };
    type("a{insert after kept}");
    type("{insert after !}");
    ASSERT_FALSE(desktop.keyEvents.empty());
    for (const auto& event : desktop.keyEvents) EXPECT_EQ(event.marker, 0x43414C56);
    EXPECT_EQ(keysBuffer, "kept!");
    type("{unclosed");
    EXPECT_THAT(lines(LogCategory::keystrokeInterceptor),
                ::testing::Contains("Keystroke sequence failed with status 2"));
}

}  // namespace
}  // namespace tarn::agent
