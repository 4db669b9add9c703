#include "core/window/cycle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "core/window/screens.h"
#include "tests/common/fake_desktop.h"
#include "tests/common/golden.h"
#include "tests/common/rect_assert.h"

namespace tarn::window {

void PrintTo(const WindowState::WindowStep& step, std::ostream* os) {
    *os << stepTypeName(step.type) << "@" << step.screenIndex << " sort=" << step.sortOrder;
    if (step.savedIndex) *os << " saved=" << *step.savedIndex;
    if (!step.enabled) *os << " disabled";
}

namespace {

using platform::Rect;
using testing::FakeDesktop;
using Frame = WindowState::WindowFrame;
using Saved = WindowState::SavedLocation;
using Step = WindowState::WindowStep;

// Every layout shares the primary (0, 0, 1440, 900), usable (0, 25, 1440, 875).
const Rect kPrimary{0, 0, 1440, 900};
const std::vector<Rect> kOneScreen{kPrimary};
const std::vector<Rect> kSideBySide{kPrimary, {1440, 0, 1440, 900}};  // usable y 25, h 875
// Twice as large at negative x: usable (-2880, 25, 2880, 1750).
const std::vector<Rect> kLeftOfPrimary{kPrimary, {-2880, 0, 2880, 1775}};
// Above at negative y, 1.5 times as wide, twice as high: usable (-360, -1750, 2160, 1750).
const std::vector<Rect> kStacked{kPrimary, {-360, -1775, 2160, 1775}};
// Half size, right of the primary and 100 lower: usable (1440, 125, 720, 437.5).
const std::vector<Rect> kSmallerRight{kPrimary, {1440, 100, 720, 462.5}};
const std::vector<Rect> kThreeScreens{kPrimary, {1440, 0, 2880, 1775}, {-720, 0, 720, 462.5}};
const std::vector<Rect> kNoScreens{};

// Home 800 x 500: primary steps are alignRight (640, y, 800, h), original (320, 212.5, 800,
// 500), fullWidth (0, y, 1440, h), alignLeft (0, y, 800, h).
const Frame kHome{100, 125, 800, 500, 0};

using enum StepType;

enum class Direction { left, right };
const auto L = Direction::left;
const auto R = Direction::right;

WindowState newState(const Frame& home, std::vector<Saved> saved = {}) {
    WindowState state;
    state.appName = "Editor";
    state.initialFrame = home;
    state.currentFrame = home;
    state.savedLocations = std::move(saved);
    return state;
}

Rect press(Direction direction, WindowState& state, const Rect& frame, std::int64_t screen,
           FakeDesktop& desktop, std::ostream& diagnostics) {
    auto handle = direction == L ? handleLeftDirection : handleRightDirection;
    return handle(state, frame, screen, screen == 0, {}, desktop, diagnostics);
}

struct Press {
    double x, y, width, height;
    std::int64_t screen;  // where the frame's origin lies
    std::int64_t horizontalState;
};

struct CycleCase {
    const char* name;
    std::vector<Rect> screens;
    std::vector<Saved> saved;
    std::vector<Press> presses;  // left, from the home frame, each from where the last ended
};

class CycleTest : public ::testing::TestWithParam<CycleCase> {};

TEST_P(CycleTest, EveryLeftPressLandsOnTheNextPlacement) {
    const CycleCase& c = GetParam();
    FakeDesktop desktop(c.screens);
    WindowState state = newState(kHome, c.saved);
    Rect frame = kHome.rect();
    std::int64_t screen = 0;
    std::ostringstream diagnostics;
    for (std::size_t i = 0; i < c.presses.size(); ++i) {
        SCOPED_TRACE("press " + std::to_string(i + 1));
        const Press& p = c.presses[i];
        frame = press(L, state, frame, screen, desktop, diagnostics);
        ASSERT_RECT(frame, (Rect{p.x, p.y, p.width, p.height}));
        EXPECT_EQ(state.horizontalState, p.horizontalState);
        screen = screenIndexForPoint(desktop, frame.origin());
        ASSERT_EQ(screen, p.screen);
    }
}

const std::vector<Saved> kSavedOnSecond{{{1600, 100, 900, 600, 1}, true}};
// Saved 0 on screen 0, 1 on screen 2, 2 on a screen not connected (no step).
const std::vector<Saved> kSavedThree{{{200, 300, 600, 400, 0}, true},
                                     {{-700, 100, 500, 300, 2}, false},
                                     {{5000, 0, 100, 100, 5}, true}};

// For every layout: once a lap has settled the frames, each lap of left presses repeats the
// last exactly (scaling to a screen and back loses nothing), and right retraces left.
TEST_P(CycleTest, LapsRepeatAndRightRetracesLeft) {
    FakeDesktop desktop(GetParam().screens);
    WindowState state = newState(kHome, GetParam().saved);
    Rect frame = kHome.rect();
    std::int64_t screen = 0;
    std::ostringstream diagnostics;
    struct Visit {
        Rect frame;
        std::int64_t hState, screen;
    };
    auto go = [&](Direction direction) {
        frame = press(direction, state, frame, screen, desktop, diagnostics);
        screen = screenIndexForPoint(desktop, frame.origin());
        return Visit{frame, state.horizontalState, screen};
    };
    go(L);
    const auto lap = static_cast<std::size_t>(std::count_if(
        state.steps.begin(), state.steps.end(), [](const Step& s) { return s.enabled; }));
    ASSERT_GT(lap, 3u);
    for (std::size_t i = 1; i < lap; ++i) go(L);
    std::vector<Visit> visits{{frame, state.horizontalState, screen}};
    for (std::size_t i = 1; i < lap; ++i) visits.push_back(go(L));
    for (std::size_t i = 0; i < lap; ++i) {
        SCOPED_TRACE("lap press " + std::to_string(i));
        Visit again = go(L);
        EXPECT_RECT(again.frame, visits[i].frame);
        EXPECT_EQ(again.hState, visits[i].hState);
    }
    // Right walks the lap backwards; frames come back too unless a saved location, whose
    // frame is its own, passed its y and height on to its neighbour.
    for (std::size_t i = lap - 1; i-- > 0;) {
        SCOPED_TRACE("back to " + std::to_string(i));
        Visit back = go(R);
        if (GetParam().saved.empty()) {
            EXPECT_RECT(back.frame, visits[i].frame);
        }
        EXPECT_EQ(back.hState, visits[i].hState);
        EXPECT_EQ(back.screen, visits[i].screen);
    }
}

// Each layout, with its hand-worked lap of left presses.
// clang-format off
INSTANTIATE_TEST_SUITE_P(Layouts, CycleTest, ::testing::Values(
    // The home frame is nearest to alignLeft, so every cycle starts there.
    CycleCase{"OneScreen", kOneScreen, {},  // wraps to alignRight, keeps y and height
        {{640, 125, 800, 500, 0, 2}, {320, 212.5, 800, 500, 0, 0}, {0, 212.5, 1440, 500, 0, 1},
         {0, 212.5, 800, 500, 0, 3}, {640, 212.5, 800, 500, 0, 2}}},
    // A saved location on screen 1 is a step of screen 1 only, after its alignLeft.
    CycleCase{"SideBySide", kSideBySide, kSavedOnSecond,
        {{2080, 125, 800, 500, 1, 2}, {1760, 212.5, 800, 500, 1, 0}, {1440, 212.5, 1440, 500, 1, 1},
         {1440, 212.5, 800, 500, 1, 3}, {1600, 100, 900, 600, 1, 4},  // the saved frame exactly
         {640, 100, 800, 600, 0, 2}, {320, 212.5, 800, 500, 0, 0}, {0, 212.5, 1440, 500, 0, 1},
         {0, 212.5, 800, 500, 0, 3}, {2080, 212.5, 800, 500, 1, 2}}},
    // Twice as large at negative x: widths 1600, y = 25 + (y0 - 25) * 2, heights 1000.
    CycleCase{"LeftOfPrimary", kLeftOfPrimary, {},
        {{-1600, 225, 1600, 1000, 1, 2}, {-2240, 400, 1600, 1000, 1, 0},
         {-2880, 400, 2880, 1000, 1, 1}, {-2880, 400, 1600, 1000, 1, 3},
         {640, 212.5, 800, 500, 0, 2}, {320, 212.5, 800, 500, 0, 0}, {0, 212.5, 1440, 500, 0, 1},
         {0, 212.5, 800, 500, 0, 3}, {-1600, 400, 1600, 1000, 1, 2}}},
    // Widths 1.5 (1200), heights 2: y = -1750 + (y0 - 25) * 2; right edge 1800.
    CycleCase{"Stacked", kStacked, {},
        {{600, -1550, 1200, 1000, 1, 2}, {120, -1375, 1200, 1000, 1, 0},
         {-360, -1375, 2160, 1000, 1, 1}, {-360, -1375, 1200, 1000, 1, 3},
         {640, 212.5, 800, 500, 0, 2}, {320, 212.5, 800, 500, 0, 0}, {0, 212.5, 1440, 500, 0, 1},
         {0, 212.5, 800, 500, 0, 3}, {600, -1375, 1200, 1000, 1, 2}}},
    // Half size, 100 lower: widths 400, y = 125 + (y0 - 25) / 2, heights 250.
    CycleCase{"SmallerRight", kSmallerRight, {},
        {{1760, 175, 400, 250, 1, 2}, {1600, 218.75, 400, 250, 1, 0},
         {1440, 218.75, 720, 250, 1, 1}, {1440, 218.75, 400, 250, 1, 3},
         {640, 212.5, 800, 500, 0, 2}, {320, 212.5, 800, 500, 0, 0}, {0, 212.5, 1440, 500, 0, 1},
         {0, 212.5, 800, 500, 0, 3}, {1760, 218.75, 400, 250, 1, 2}}},
    // Screen 1 scales by 2, screen 2 by 0.5; from screen 1 to screen 2 heights by 0.25.
    CycleCase{"ThreeScreens", kThreeScreens, kSavedThree,
        {{200, 300, 600, 400, 0, 4}, {2720, 575, 1600, 800, 1, 2},  // 25 + 275 * 2, 400 * 2
         {2080, 400, 1600, 1000, 1, 0}, {1440, 400, 2880, 1000, 1, 1},
         {1440, 400, 1600, 1000, 1, 3}, {-400, 118.75, 400, 250, 2, 2},  // 25 + 375 / 4, 1000 / 4
         {-560, 118.75, 400, 250, 2, 0}, {-720, 118.75, 720, 250, 2, 1},
         {-720, 118.75, 400, 250, 2, 3}, {-700, 100, 500, 300, 2, 5},
         {640, 175, 800, 600, 0, 2},  // 25 + 75 * 2, 300 * 2
         {320, 212.5, 800, 500, 0, 0}, {0, 212.5, 1440, 500, 0, 1}, {0, 212.5, 800, 500, 0, 3},
         {200, 300, 600, 400, 0, 4}}}),
    [](const auto& info) { return std::string(info.param.name); });
// clang-format on

// Side by side, no saved locations: steps 0-3 on screen 0, 4-7 (alignRight, original,
// fullWidth, alignLeft) on screen 1.
TEST(CurrentStepTest, NearestStepWithAPenaltyForOtherScreens) {
    FakeDesktop desktop(kSideBySide);
    WindowState state = newState(kHome);
    std::ostringstream diagnostics;
    state.buildStepList(desktop, {}, diagnostics);
    const std::tuple<Rect, std::int64_t, std::size_t> cases[] = {
        // Said to be on screen 1: screen 0's alignRight (140 off) costs 1140, screen 1's
        // alignLeft 940; exactly screen 0's alignLeft costs 1000, still less than 1440.
        {{500, 125, 800, 500}, 1, 7},
        {{0, 125, 800, 500}, 1, 3},
        // Own-screen alignRight 9360 off, screen 1's 7920 + 1000: the nearest however far.
        {{10000, 10000, 800, 500}, 0, 4},
        // alignRight and alignLeft both 320 off: the earlier wins.
        {{320, 600, 800, 200}, 0, 0},
    };
    for (const auto& [frame, screen, expected] : cases) {
        EXPECT_EQ(state.findCurrentStepIndex(desktop, frame, screen), expected) << frame.x;
    }
}

// Production lists have every step enabled; the search still wraps and skips.
TEST(NextStepTest, WrapsAndSkipsDisabledSteps) {
    const std::tuple<std::vector<bool>, int, std::optional<std::size_t>> cases[] = {
        {{true}, 1, 0},
        {{}, 1, std::nullopt},
        {{true, false, true}, 1, 2},
        {{false, false}, -1, std::nullopt}};
    for (const auto& [enabled, direction, expected] : cases) {
        WindowState state;
        for (bool on : enabled) state.steps.push_back({original, std::nullopt, 0, 1, on});
        EXPECT_EQ(state.findNextEnabledStep(0, direction), expected) << enabled.size();
    }
}

Step step(StepType type, std::int64_t screen, std::int64_t sortOrder,
          std::optional<std::int64_t> saved = std::nullopt) {
    return {type, saved, screen, sortOrder, true};
}

// Every step of both screens side by side. Saved location 0 lies on screen 1, saved location
// 1 on screen 0, saved location 2 on a screen that is not connected.
const std::vector<Step> kAllSteps{
    step(alignRight, 0, 0), step(original, 0, 1),    step(fullWidth, 0, 2), step(alignLeft, 0, 3),
    step(saved, 0, 5, 1),   step(alignRight, 1, 10), step(original, 1, 11), step(fullWidth, 1, 12),
    step(alignLeft, 1, 13), step(saved, 1, 14, 0)};

TEST(StepListTest, FiltersRemoveStepsPerKindOfScreen) {
    // clang-format off
    const std::tuple<const char*, std::vector<Rect>, StateFilters, std::vector<std::size_t>> cases[] = {
        {"AllOn", kSideBySide, {}, {}},
        {"FullWidthOffOnPrimary", kSideBySide, {false, true, true, true, true, true}, {2}},
        {"FullWidthOffOnSecondary", kSideBySide, {true, false, true, true, true, true}, {7}},
        {"AlignRightOffOnSecondary", kSideBySide, {true, true, true, false, true, true}, {5}},
        {"AlignLeftOffOnPrimary", kSideBySide, {true, true, true, true, false, true}, {3}},
        {"AlignLeftOffOnSecondary", kSideBySide, {true, true, true, true, true, false}, {8}},
        {"AllOff", kSideBySide, {false, false, false, false, false, false}, {0, 2, 3, 5, 7, 8}},
        {"OneScreenDropsOtherScreensSavedLocations", kOneScreen, {}, {5, 6, 7, 8, 9}},
        {"NoScreens", kNoScreens, {}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
    };
    // clang-format on
    for (const auto& [name, screens, filters, dropped] : cases) {
        FakeDesktop desktop(screens);
        WindowState state = newState(kHome, {{{1600, 100, 900, 600, 1}, true},
                                             {{200, 300, 600, 400, 0}, false},
                                             {{0, 0, 10, 10, 3}, false}});
        std::ostringstream diagnostics;
        state.buildStepList(desktop, filters, diagnostics);
        std::vector<Step> expected;
        for (std::size_t i = 0; i < kAllSteps.size(); ++i) {
            if (!std::ranges::count(dropped, i)) expected.push_back(kAllSteps[i]);
        }
        EXPECT_EQ(state.steps, expected) << name;
    }
}

// The placements the cycles above do not reach. A window 250 below the top of a 1000-high
// usable area, 500 high, on screen 0 (usable (0, 25, 1000, 1000)); screen 1 is twice as
// large (usable (1000, 25, 2000, 2000)).
TEST(StepFrameTest, FrameOfEachPlacement) {
    const std::vector<Rect> kDoubling{{0, 0, 1000, 1025}, {1000, 0, 2000, 2025}};
    const std::vector<Rect> kFlatFirst{{0, 0, 1000, 25}, {1000, 0, 2000, 2025}};
    const Frame kWindowHome{100, 275, 400, 500, 0};
    const std::vector<Saved> kTwoSaved{{{10, 20, 30, 40, 0}, true}, {{-50, 60, 70, 80, 1}, false}};
    // clang-format off
    const std::tuple<const char*, Step, Frame, std::vector<Rect>, Rect> cases[] = {
        // Home measured on the large screen: back on screen 0 it is half as wide.
        {"HomeOnOtherScreenScales", step(alignRight, 0, 0), {2000, 100, 400, 500, 1}, kDoubling, {800, 275, 200, 500}},
        // Home screen gone (7) or negative: scaled as if measured on the primary.
        {"HomeScreenGoneUsesPrimary", step(alignRight, 1, 10), {100, 275, 400, 500, 7}, kDoubling, {2200, 525, 800, 1000}},
        {"HomeScreenNegativeUsesPrimary", step(original, 1, 11), {100, 275, 400, 500, -1}, kDoubling, {1600, 525, 800, 1000}},
        // No screens: home size kept, centred in the (0, 25, 0, -25) non-area.
        {"OriginalWithoutScreens", step(original, 0, 1), kWindowHome, {}, {-200, -237.5, 400, 500}},
        // A screen no taller than the menu-bar band keeps the vertical placement (no divide by 0).
        {"FlatCurrentScreenKeepsVerticalPlacement", step(fullWidth, 1, 12), kWindowHome, kFlatFirst, {1000, 275, 2000, 500}},
        {"SavedIsExact", step(saved, 0, 5, 1), kWindowHome, kDoubling, {-50, 60, 70, 80}},
        {"SavedWithoutIndex", step(saved, 0, 4), kWindowHome, kDoubling, {}},
        {"SavedIndexPastTheList", step(saved, 0, 6, 2), kWindowHome, kDoubling, {}},
        {"SavedIndexNegative", step(saved, 0, 3, -1), kWindowHome, kDoubling, {}},
    };
    // clang-format on
    for (const auto& [name, placement, home, screens, expected] : cases) {
        FakeDesktop desktop(screens);
        SCOPED_TRACE(name);
        EXPECT_RECT(placement.computeFrame(desktop, home, kWindowHome.rect(), kTwoSaved), expected);
    }
}

// From each stored vertical state, one press up in the usable area (0, 25, 1440, 875).
TEST(UpTest, StepsFullHeightFullScreenHome) {
    const std::tuple<std::int64_t, std::int64_t, Rect> cases[] = {
        {0, 1, {640, 25, 800, 875}},
        {1, 2, {5, 30, 1430, 865}},  // also after "down" minimised
        {2, 0, kHome.rect()},
        {-1, 0, kHome.rect()},
        {-2, -1, {640, 212.5, 800, 500}},  // -1: no placement
        {7, 2, {5, 30, 1430, 865}},
        // INT64_MAX mod 3 is 1: the next value is 2, without overflowing.
        {std::numeric_limits<std::int64_t>::max(), 2, {5, 30, 1430, 865}},
    };
    for (const auto& [stored, next, expected] : cases) {
        WindowState state = newState(kHome);
        state.verticalState = stored;
        std::ostringstream diagnostics;
        const Rect frame{640, 212.5, 800, 500};
        EXPECT_RECT(handleUpDirection(state, frame, {0, 25, 1440, 875}, diagnostics), expected);
        EXPECT_EQ(state.verticalState, next) << stored;
    }
}

// The DEBUG lines of a left and a right press, of a step list with a saved step (rebuilt, not
// added to), of three up presses, and of presses that stay put: without screens, and with a
// home frame on a screen gone since and too wide to scale.
TEST(CycleDiagnosticsTest, TranscriptOfEveryKindOfPress) {
    std::ostringstream diagnostics;
    FakeDesktop one(kOneScreen);
    WindowState state = newState(kHome);
    Rect frame = handleLeftDirection(state, kHome.rect(), 0, true, {}, one, diagnostics);
    // The list is built already; isPrimary is only reported.
    handleRightDirection(state, frame, 0, false, {}, one, diagnostics);

    FakeDesktop two(kSideBySide);
    WindowState withSaved = newState(kHome, kSavedOnSecond);
    withSaved.steps = {step(StepType::original, 7, 0)};
    withSaved.buildStepList(two, {true, true, false, true, true, true}, diagnostics);
    EXPECT_EQ(withSaved.steps.size(), 8u);
    // Eight saved locations on screen 0 run past screen 1's numbers: sorted in, stably.
    WindowState many = newState(kHome, std::vector<Saved>(8, {{0, 0, 10, 10, 0}, true}));
    many.buildStepList(two, {}, diagnostics);

    WindowState up = newState({100, 212.5, 800, 500.25, 0});
    frame = up.initialFrame.rect();
    for (int i = 0; i < 3; ++i)
        frame = handleUpDirection(up, frame, {0, 25, 1440, 875}, diagnostics);

    FakeDesktop none(kNoScreens);
    FakeDesktop left(kLeftOfPrimary);
    const Frame huge{0, 125, 1e308, 500, 4};
    for (auto [direction, desktop, home] :
         {std::tuple{L, &none, kHome}, {R, &none, kHome}, {L, &left, huge}}) {
        WindowState still = newState(home);
        still.horizontalState = 3;
        EXPECT_EQ(press(direction, still, home.rect(), 0, *desktop, diagnostics), home.rect());
        EXPECT_EQ(still.horizontalState, 3);
    }
    EXPECT_EQ(diagnostics.str(), testing::golden("core/window/golden/cycle_transcript.txt"));
}

}  // namespace
}  // namespace tarn::window
