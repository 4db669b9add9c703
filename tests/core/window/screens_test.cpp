#include "core/window/screens.h"

#include <gtest/gtest.h>

#include <tuple>
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

// The first display containing the point, else the primary.
TEST(ScreenIndexForPointTest, FirstDisplayContainingThePoint) {
    const std::tuple<const char*, std::vector<Rect>, Point, std::int64_t> cases[] = {
        {"JustLeftOfTheSharedEdge", kSideBySide, {1439.5, 899.5}, 0},
        {"SharedVerticalEdgeBelongsToTheNext", kSideBySide, {1440, 0}, 1},
        {"RightEdgeOfTheLastIsOutside", kSideBySide, {2880, 10}, 0},
        {"BottomEdgeIsOutside", kSideBySide, {1500, 900}, 0},
        {"NegativeXScreen", kLeftOfPrimary, {-1, 0}, 1},
        {"LeftEdgeOfNegativeScreen", kLeftOfPrimary, {-2880, 1774}, 1},
        {"PastTheLeftEdge", kLeftOfPrimary, {-2880.5, 10}, 0},
        {"SharedHorizontalEdgeBelongsToTheLower", kStacked, {0, 0}, 0},
        {"JustAboveThePrimary", kStacked, {0, -0.5}, 1},
        {"TopEdgeOfTheUpperScreen", kStacked, {1799, -1775}, 1},
        {"AboveEverything", kStacked, {0, -1776}, 0},
        {"MirroredTakesTheFirst", kMirrored, {700, 400}, 0},
        {"NoDisplays", {}, {100, 100}, 0},
    };
    for (const auto& [name, screens, point, expected] : cases) {
        testing::FakeDesktop desktop(screens);
        EXPECT_EQ(screenIndexForPoint(desktop, point), expected) << name;
    }
}

// The menu-bar band is taken from every screen, not only the primary; an index with no
// screen has empty bounds.
TEST(ScreenRectTest, BoundsAndUsableArea) {
    const std::tuple<std::vector<Rect>, std::int64_t, Rect, Rect> cases[] = {
        {kSideBySide, 0, {0, 0, 1440, 900}, {0, 25, 1440, 875}},
        {kSideBySide, 1, {1440, 0, 1440, 900}, {1440, 25, 1440, 875}},
        {kStacked, 1, {-360, -1775, 2160, 1775}, {-360, -1750, 2160, 1750}},
        {kSideBySide, 2, {}, {0, 25, 0, -25}},
        {kSideBySide, -1, {}, {0, 25, 0, -25}},
        {{}, 0, {}, {0, 25, 0, -25}},
    };
    for (const auto& [screens, index, bounds, usable] : cases) {
        testing::FakeDesktop desktop(screens);
        EXPECT_RECT(displayBounds(desktop, index), bounds);
        EXPECT_RECT(usableScreenRect(desktop, index), usable);
    }
}

}  // namespace
}  // namespace tarn::window
