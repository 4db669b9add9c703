#include "support/number_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tarn::support {
namespace {

TEST(DoubleTextTest, ShortestRoundTripForm) {
    const std::tuple<double, const char*, const char*> cases[] = {
        {1440, "1440.0", "1440"},
        {0.5, "0.5", "0.5"},
        {-0.25, "-0.25", "-0.25"},
        {0, "0.0", "0"},
        {0.1 + 0.2, "0.30000000000000004", "0.30000000000000004"},
        {1e-4, "0.0001", "0.0001"},
        {1e-5, "1e-05", "1e-05"},
        {9007199254740991.0, "9007199254740991.0", "9007199254740991"},
        {9007199254740992.0, "9.007199254740992e+15", "9.007199254740992e+15"},
        {1e16, "1e+16", "1e+16"},
        {-1.5e300, "-1.5e+300", "-1.5e+300"},
    };
    for (const auto& [value, text, json] : cases) {
        EXPECT_EQ(doubleText(value), text);
        EXPECT_EQ(jsonDoubleText(value), json);
    }
    EXPECT_EQ(doubleText(std::numeric_limits<double>::infinity()), "inf");
    EXPECT_EQ(doubleText(-std::numeric_limits<double>::infinity()), "-inf");
    EXPECT_EQ(doubleText(std::nan("")), "nan");
}

TEST(ParseInt64Test, AcceptsOnlySignedDigitsInRange) {
    const std::pair<const char*, std::optional<std::int64_t>> cases[] = {
        {"0", 0},
        {"007", 7},
        {"+12", 12},
        {"-3", -3},
        {"9223372036854775807", INT64_MAX},
        {"-9223372036854775808", INT64_MIN},
        {"9223372036854775808", std::nullopt},
        {"-9223372036854775809", std::nullopt},
        {"", std::nullopt},
        {"+", std::nullopt},
        {"-", std::nullopt},
        {" 1", std::nullopt},
        {"1 ", std::nullopt},
        {"1.0", std::nullopt},
        {"0x10", std::nullopt},
        {"+-1", std::nullopt},
        {"１", std::nullopt},  // a full-width digit is not a digit here
    };
    for (const auto& [text, value] : cases)
        EXPECT_EQ(parseInt64(text), value) << '"' << text << '"';
}

TEST(ParseDoubleTest, TakesTheWholeTextByCRules) {
    const std::pair<const char*, std::optional<double>> cases[] = {
        {"1.5", 1.5},           {"1e3", 1000},        {".5", 0.5},
        {"-0.0", -0.0},         {"0x1p3", 8},         {"1.", 1},
        {"", std::nullopt},     {" 1", std::nullopt}, {"1 ", std::nullopt},
        {"1.5x", std::nullopt}, {"e3", std::nullopt}, {"abc", std::nullopt},
    };
    for (const auto& [text, value] : cases)
        EXPECT_EQ(parseDouble(text), value) << '"' << text << '"';
    EXPECT_TRUE(std::isinf(parseDouble("inf").value()));
    EXPECT_TRUE(std::isinf(parseDouble("1e400").value()));
    EXPECT_TRUE(std::isnan(parseDouble("nan").value()));
}

// Five readers once held five copies of this rule with three bounds (9e15, 9.2e18, 2^63).
TEST(ExactInt64Test, WholeDoublesFromMinusTwoToThe63UpToTwoToThe63AreIntegers) {
    const std::pair<double, std::optional<std::int64_t>> cases[] = {
        {-0x1p63, INT64_MIN},
        {0x1p63, std::nullopt},
        {0x1p63 - 1024, 0x7ffffffffffffc00},  // the largest double below 2^63
        {9.21e18, 9210000000000000000},       // beyond the old 9.2e18 bound
        {9.1e15, 9100000000000000},           // beyond the old 9e15 bound
        {-3.0, -3},
        {0.5, std::nullopt},
        {-0x1p64, std::nullopt},
        {std::numeric_limits<double>::infinity(), std::nullopt},
        {std::numeric_limits<double>::quiet_NaN(), std::nullopt},
    };
    for (const auto& [value, whole] : cases) EXPECT_EQ(exactInt64(value), whole) << value;
}

}  // namespace
}  // namespace tarn::support
