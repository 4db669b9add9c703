#include "support/text.h"

#include <gtest/gtest.h>

namespace tarn::support {
namespace {

TEST(AsciiLowercaseTest, FoldsOnlyAsciiCapitals) {
    EXPECT_EQ(asciiLowercase("Orion RC"), "orion rc");
    EXPECT_EQ(asciiLowercase("X-Scheme-Handler/HTTPS"), "x-scheme-handler/https");
    // "@" and "[" sit just outside A-Z; UTF-8 bytes are left alone.
    EXPECT_EQ(asciiLowercase("@AZ[\xC3\x89"), "@az[\xC3\x89");
    EXPECT_EQ(asciiLowercase(""), "");
}

TEST(SplitTextTest, KeepsEmptyPiecesAndReadsLeftToRight) {
    using Pieces = std::vector<std::string_view>;
    EXPECT_EQ(splitText("", "||"), Pieces{""});
    EXPECT_EQ(splitText("a", "||"), Pieces{"a"});
    EXPECT_EQ(splitText("a||||b||", "||"), (Pieces{"a", "", "b", ""}));
    EXPECT_EQ(splitText("|||x|", "||"), (Pieces{"", "|x|"}));
    EXPECT_EQ(splitText(":/usr/share:", ":"), (Pieces{"", "/usr/share", ""}));
}

}  // namespace
}  // namespace tarn::support
