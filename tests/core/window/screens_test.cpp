#include "core/window/screens.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/common/fake_desktop.h"
#include "tests/common/rect_assert.h"

namespace tarn::window {
namespace {

using platform::Point;
using platform::Rect;

const std::vector<Rect> kSideBySide{{0, 0, 1440, 900}, {1440, 0, 1440, 900}};
const std::vector<Rect> kLeftOfPrimary{{0, 0, 1440, 900}, {-2880, 0, 2880, 1775}};
const std::vector<Rect> kStacked{{0, 0, 1440, 900}, {-360, -1775, 2160, 1775}};
// A mirrored display listed after the primary: the first in the list owns shared points.
const std::vector<Rect> kMirrored{{0, 0, 1440, 900}, {0, 0, 1440, 900}};

struct PointCase {
    const char* name;
    std::vector<Rect> screens;
    Point point;
    std::int64_t expected;
};

class ScreenIndexForPointTest : public ::testing::TestWithParam<PointCase> {};

TEST_P(ScreenIndexForPointTest, FirstDisplayContainingThePoint) {
    testing::FakeDesktop desktop;
    desktop.screens = GetParam().screens;
    EXPECT_EQ(screenIndexForPoint(desktop, GetParam().point), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, ScreenIndexForPointTest,
    ::testing::Values(PointCase{"JustLeftOfTheSharedEdge", kSideBySide, {1439.5, 899.5}, 0},
                      PointCase{"SharedVerticalEdgeBelongsToTheNext", kSideBySide, {1440, 0}, 1},
                      PointCase{"RightEdgeOfTheLastIsOutside", kSideBySide, {2880, 10}, 0},
                      PointCase{"BottomEdgeIsOutside", kSideBySide, {1500, 900}, 0},
                      PointCase{"NegativeXScreen", kLeftOfPrimary, {-1, 0}, 1},
                      PointCase{"LeftEdgeOfNegativeScreen", kLeftOfPrimary, {-2880, 1774}, 1},
                      PointCase{"PastTheLeftEdge", kLeftOfPrimary, {-2880.5, 10}, 0},
                      PointCase{"SharedHorizontalEdgeBelongsToTheLower", kStacked, {0, 0}, 0},
                      PointCase{"JustAboveThePrimary", kStacked, {0, -0.5}, 1},
                      PointCase{"TopEdgeOfTheUpperScreen", kStacked, {1799, -1775}, 1},
                      PointCase{"AboveEverything", kStacked, {0, -1776}, 0},
                      PointCase{"MirroredTakesTheFirst", kMirrored, {700, 400}, 0},
                      PointCase{"NoDisplays", {}, {100, 100}, 0}),
    [](const auto& info) { return std::string(info.param.name); });

struct RectCase {
    const char* name;
    std::vector<Rect> screens;
    std::int64_t index;
    Rect bounds;
    Rect usable;
};

class ScreenRectTest : public ::testing::TestWithParam<RectCase> {};

TEST_P(ScreenRectTest, BoundsAndUsableArea) {
    testing::FakeDesktop desktop;
    desktop.screens = GetParam().screens;
    EXPECT_RECT(displayBounds(desktop, GetParam().index), GetParam().bounds);
    EXPECT_RECT(usableScreenRect(desktop, GetParam().index), GetParam().usable);
}

INSTANTIATE_TEST_SUITE_P(
    Indexes, ScreenRectTest,
    ::testing::Values(
        RectCase{"Primary", kSideBySide, 0, {0, 0, 1440, 900}, {0, 25, 1440, 875}},
        // The menu-bar band is taken from every screen, not only the primary.
        RectCase{"Secondary", kSideBySide, 1, {1440, 0, 1440, 900}, {1440, 25, 1440, 875}},
        RectCase{
            "AboveThePrimary", kStacked, 1, {-360, -1775, 2160, 1775}, {-360, -1750, 2160, 1750}},
        RectCase{"PastTheList", kSideBySide, 2, {}, {0, 25, 0, -25}},
        RectCase{"Negative", kSideBySide, -1, {}, {0, 25, 0, -25}},
        RectCase{"NoDisplays", {}, 0, {}, {0, 25, 0, -25}}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tarn::window
