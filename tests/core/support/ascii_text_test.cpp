#include "core/support/ascii_text.h"

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

}  // namespace
}  // namespace tarn::support
