#include "support/json_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

namespace tarn::support {
namespace {

TEST(WriteJsonTest, MatchesThePlatformEncoderByteForByte) {
    constexpr JsonStyle kCompact{};
    constexpr JsonStyle kPretty{.pretty = true, .sortKeys = true};
    const std::tuple<const char*, JsonStyle, const char*> cases[] = {
        // clang-format off
        {R"({"b":1,"a":[true,null]})", kCompact, R"({"b":1,"a":[true,null]})"},
        {R"({"b":1,"B":2,"a":3})", kPretty, "{\n  \"B\" : 2,\n  \"a\" : 3,\n  \"b\" : 1\n}"},
        {R"({"v":{"x":[1,2]}})", kPretty, "{\n  \"v\" : {\n    \"x\" : [\n      1,\n      2\n    ]\n  }\n}"},
        {R"({"values":{}})", kPretty, "{\n  \"values\" : {\n\n  }\n}"},
        {R"({"a":[]})", kPretty, "{\n  \"a\" : [\n\n  ]\n}"},
        {R"({})", kPretty, "{\n\n}"},
        {R"({"u":"http://x/y"})", kCompact, R"({"u":"http:\/\/x\/y"})"},
        {R"(["a\nb\t\u0001\"\\"])", kCompact, R"(["a\nb\t\u0001\"\\"])"},
        {R"(["é€"])", kCompact, "[\"é€\"]"},
        {R"([2.0,2.5,-0.0,1e-7])", kCompact, "[2,2.5,-0,1e-07]"},
        {R"([9223372036854775807,-9223372036854775808])", kCompact, "[9223372036854775807,-9223372036854775808]"},
        // clang-format on
    };
    for (const auto& [json, style, text] : cases) {
        EXPECT_EQ(writeJson(Json::parse(json), style), text) << json;
    }
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
    // The library's parser looks every member's name up by scanning the object, so reading a
    // settings file took time in the square of its key count; this one appends and merges
    // repeated names once an object is complete, building what the library builds.
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

// `depth` arrays (or objects with one member "a") nested in each other.
std::string nestedText(int depth, bool objects = false) {
    std::string text;
    text.reserve(static_cast<std::size_t>(depth) * 6);
    for (int i = 0; i < depth; ++i) text += objects ? "{\"a\":" : "[";
    text += "1";
    for (int i = 0; i < depth; ++i) text += objects ? "}" : "]";
    return text;
}

// A 200,000-level value in the simulated desktop's file crashed tarn (its stack exhausted by
// the recursive writer). Rows: the text, whether it is read, why not.
TEST(ParseJsonTest, RefusesNestingDeeperThanTheLimitWithoutRecursing) {
    const std::tuple<std::string, bool, std::string> cases[] = {
        {nestedText(kMaxJsonDepth), true, ""},
        {nestedText(kMaxJsonDepth + 1, true), false, "it is nested more than 512 levels deep"},
        {nestedText(kMaxJsonDepth + 1), false, "it is nested more than 512 levels deep"},
        {nestedText(200000), false, "it is nested more than 512 levels deep"},
        {"[[1]", false, "it is not JSON"},
        {"[\"\xff\"]", false, "it is not JSON"},
    };
    for (const auto& [text, read, problem] : cases) {
        auto parsed = parseJsonText(text);
        EXPECT_EQ(parsed.value.has_value(), read) << text.substr(0, 20);
        EXPECT_EQ(parsed.problem, problem) << text.substr(0, 20);
    }
    // What is read is written back, at the limit too.
    auto deepest = parseJson(nestedText(kMaxJsonDepth));
    ASSERT_TRUE(deepest);
    EXPECT_EQ(writeJson(*deepest), nestedText(kMaxJsonDepth));
}

// "tarn settings bad $'\xff\xfe'" wrote a file its reader refused, and the next set started
// from an empty store. The writer now writes only what the reader reads back.
TEST(WriteJsonTest, RefusesWhatTheReaderWouldRefuse) {
    Json deep = 1;
    for (int i = 0; i <= kMaxJsonDepth; ++i) {
        Json outer = Json::array();
        outer.push_back(std::move(deep));
        deep = std::move(outer);
    }
    EXPECT_THROW(writeJson(deep), std::domain_error);
    for (const char* text :
         {"\xff\xfe", "a\xc0\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe2\x82"}) {
        EXPECT_THROW(writeJson(Json(text)), std::domain_error) << text;
        Json object = Json::object();
        object[text] = 1;
        EXPECT_THROW(writeJson(object), std::domain_error) << text;
    }
    for (const char* text : {"caf\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80", ""}) {
        auto written = writeJson(Json(text));
        EXPECT_EQ(parseJson(written), Json(text)) << text;
    }
}

}  // namespace
}  // namespace tarn::support
