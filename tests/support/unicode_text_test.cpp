#include "support/unicode_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarn::support {
namespace {

std::vector<std::string> characters(std::string_view text) {
    std::vector<std::string> out;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = characterEnd(text, at);
        out.emplace_back(text.substr(at, end - at));
        at = end;
    }
    return out;
}

TEST(CharacterEndTest, SplitsWhereAReaderSeesCharacters) {
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"ab{", {"a", "b", "{"}},
        {"a\r\nb\n\r", {"a", "\r\n", "b", "\n", "\r"}},
        {"e\u0301x", {"e\u0301", "x"}},
        {"{\u0301}", {"{\u0301", "}"}},
        {"1\uFE0F\u20E3!", {"1\uFE0F\u20E3", "!"}},
        {"\U0001F44D\U0001F3FDa", {"\U0001F44D\U0001F3FD", "a"}},
        {"\u0915\u093F", {"\u0915\u093F"}},
        {"\u0600{x", {"\u0600{", "x"}},
        {"\u0600\n", {"\u0600", "\n"}},
        {"\t\u0301", {"\t", "\u0301"}},
        {"a\xFF\u0301\xE2\x82", {"a", "\xFF", "\u0301", "\xE2\x82"}},
        {"\u00C4\u00E9", {"\u00C4", "\u00E9"}},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(characters(text), expected) << text;
}

TEST(ToLowerCaseTest, LowersEveryScalar) {
    const std::pair<std::string, std::string> cases[] = {
        {"CMD+Shift+A", "cmd+shift+a"},
        {"\u00C4BC", "\u00E4bc"},
        {"\u03A3\u039F\u03A3", "\u03C3\u03BF\u03C3"},
        {"\u0130", "i\u0307"},
        {"\u212A", "k"},
        {"\u0100\u0101\u0102", "\u0101\u0101\u0103"},
        {"\u0416\u0401", "\u0436\u0451"},
        {"\U00010400", "\U00010428"},
        {"\uFF21", "\uFF41"},
        {"\u01C5", "\u01C6"},
        {"a\xFF\xC3", "a\xFF\xC3"},
        {"1+{}", "1+{}"},
        {"", ""},
    };
    for (const auto& [text, lower] : cases) EXPECT_EQ(toLowerCase(text), lower) << text;
}

TEST(RepairUtf8Test, ReplacesEachMalformedSequenceOnce) {
    const std::pair<std::string, std::string> cases[] = {
        {"ok \u00E9 \U0001F600", "ok \u00E9 \U0001F600"},
        {"a\377b", "a\uFFFDb"},
        // A sequence cut short is one replacement, not one per byte.
        {"\342\202x", "\uFFFDx"},
        {"\xF0\x9F\x98", "\uFFFD"},
        // Overlong forms and surrogates are malformed byte by byte.
        {"\xC0\xAF", "\uFFFD\uFFFD"},
        {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},
        {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"\x80", "\uFFFD"},
    };
    for (const auto& [text, repaired] : cases) EXPECT_EQ(repairUtf8(text), repaired) << text;
}

}  // namespace
}  // namespace tarn::support
