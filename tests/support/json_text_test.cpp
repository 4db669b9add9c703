#include "support/json_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

namespace tarn::support {
namespace {

struct WriteCase {
    const char* name;
    const char* json;
    JsonStyle style;
    const char* text;
};

class WriteJsonTest : public ::testing::TestWithParam<WriteCase> {};

TEST_P(WriteJsonTest, MatchesThePlatformEncoderByteForByte) {
    EXPECT_EQ(writeJson(Json::parse(GetParam().json), GetParam().style), GetParam().text);
}

constexpr JsonStyle kCompact{};
constexpr JsonStyle kPretty{.pretty = true, .sortKeys = true};

INSTANTIATE_TEST_SUITE_P(
    Shapes, WriteJsonTest,
    ::testing::Values(
        WriteCase{"CompactKeepsOrder", R"({"b":1,"a":[true,null]})", kCompact,
                  R"({"b":1,"a":[true,null]})"},
        WriteCase{"PrettySortsByBytes", R"({"b":1,"B":2,"a":3})", kPretty,
                  "{\n  \"B\" : 2,\n  \"a\" : 3,\n  \"b\" : 1\n}"},
        WriteCase{"PrettyNested", R"({"v":{"x":[1,2]}})", kPretty,
                  "{\n  \"v\" : {\n    \"x\" : [\n      1,\n      2\n    ]\n  }\n}"},
        WriteCase{"EmptyObjectsStayOpen", R"({"values":{}})", kPretty,
                  "{\n  \"values\" : {\n\n  }\n}"},
        WriteCase{"EmptyArraysStayOpen", R"({"a":[]})", kPretty, "{\n  \"a\" : [\n\n  ]\n}"},
        WriteCase{"TopLevelEmpty", R"({})", kPretty, "{\n\n}"},
        WriteCase{"SlashIsEscaped", R"({"u":"http://x/y"})", kCompact, R"({"u":"http:\/\/x\/y"})"},
        WriteCase{"ControlCharacters", R"(["a\nb\t\u0001\"\\"])", kCompact,
                  R"(["a\nb\t\u0001\"\\"])"},
        WriteCase{"NonAsciiAsUtf8", R"(["é€"])", kCompact, "[\"é€\"]"},
        WriteCase{"WholeDoublesWithoutFraction", R"([2.0,2.5,-0.0,1e-7])", kCompact,
                  "[2,2.5,-0,1e-07]"},
        WriteCase{"LargeIntegersExact", R"([9223372036854775807,-9223372036854775808])", kCompact,
                  "[9223372036854775807,-9223372036854775808]"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(WriteJsonTest, RefusesNumbersJsonCannotHold) {
    for (double bad : {std::numeric_limits<double>::infinity(), std::nan("")}) {
        Json value = Json::object();
        value["x"] = bad;
        EXPECT_THROW(writeJson(value), std::domain_error);
    }
}

TEST(ParseJsonTest, AbsentForAnythingButOneJsonText) {
    EXPECT_TRUE(parseJson(R"({"a": [1, 2.5, "x"]})"));
    for (const char* bad : {"", "{", "{} {}", "[1,]", "nul", "{'a': 1}"}) {
        EXPECT_FALSE(parseJson(bad)) << bad;
    }
}

// The library's parser looks every member's name up by scanning the object, so reading a
// settings file took time in the square of its key count; this one appends and merges
// repeated names once an object is complete, building what the library builds.
TEST(ParseJsonTest, BuildsWhatTheLibraryBuildsWithoutScanningForEachName) {
    std::string large = "{";
    for (int i = 2999; i >= 0; --i)
        large += "\"k" + std::to_string(i % 2000) + "\":" + std::to_string(i) + ",";
    large.back() = '}';
    for (const std::string& text :
         {std::string(R"({"b":1,"a":{"x":[1,{"y":2,"y":3}],"x":null},"b":[true],"c":"d","a":0})"),
          std::string(R"([{"k":1,"k":2,"k":3},[],{}])"), large}) {
        auto parsed = parseJson(text);
        ASSERT_TRUE(parsed) << text;
        EXPECT_EQ(writeJson(*parsed), writeJson(Json::parse(text))) << text.substr(0, 80);
    }
}

}  // namespace
}  // namespace tarn::support
