#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <ostream>

#include "platform/geometry.h"

namespace tarn::platform {

inline void PrintTo(const Rect& rect, std::ostream* os) {
    *os << "(" << rect.x << ", " << rect.y << ", " << rect.width << ", " << rect.height << ")";
}

}  // namespace tarn::platform

namespace tarn::testing {

// Geometry worked out by hand is exact; the code's divisions and products may land a few
// ulps away (800 / 1440 * 1440), which this tolerance absorbs and no real fault hides in.
inline constexpr double kRectTolerance = 1e-6;

inline ::testing::AssertionResult rectNear(const char* actualText, const char* expectedText,
                                           const platform::Rect& actual,
                                           const platform::Rect& expected) {
    auto near = [](double a, double b) { return std::abs(a - b) <= kRectTolerance; };
    if (near(actual.x, expected.x) && near(actual.y, expected.y) &&
        near(actual.width, expected.width) && near(actual.height, expected.height)) {
        return ::testing::AssertionSuccess();
    }
    auto failure = ::testing::AssertionFailure();
    failure << actualText << " is " << ::testing::PrintToString(actual) << ", expected "
            << expectedText << " = " << ::testing::PrintToString(expected);
    return failure;
}

}  // namespace tarn::testing

#define EXPECT_RECT(actual, expected) \
    EXPECT_PRED_FORMAT2(::tarn::testing::rectNear, actual, expected)
#define ASSERT_RECT(actual, expected) \
    ASSERT_PRED_FORMAT2(::tarn::testing::rectNear, actual, expected)
