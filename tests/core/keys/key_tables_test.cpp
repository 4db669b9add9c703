#include "core/keys/key_tables.h"

#include <gtest/gtest.h>

#include <cctype>

namespace tarn::keys {
namespace {

constexpr KeyFlags kShift = 0x20000;

TEST(KeyTablesTest, HoldEveryNameOnceInLowerCase) {
    EXPECT_EQ(keyMap().size(), 110u);
    EXPECT_EQ(modifierMap().size(), 7u);
    EXPECT_EQ(shiftedSymbolMap().size(), 21u);
    for (const auto& [name, code] : keyMap()) {
        for (char c : name) EXPECT_FALSE(std::isupper(static_cast<unsigned char>(c))) << name;
    }
    EXPECT_EQ(keyMap().count("A") + keyMap().count("Enter") + modifierMap().count("CMD"), 0u);
}

TEST(KeyTablesTest, PlainKeysMapTypableCharactersOnly) {
    // clang-format off
    const std::tuple<char, KeyCode, KeyFlags> typed[] = {
        {'a', 0, 0}, {'A', 0, kShift}, {'Z', 6, kShift}, {'7', 26, 0}, {' ', 49, 0},
        {'!', 18, kShift}, {')', 29, kShift}, {'}', 30, kShift}, {'|', 42, kShift},
        {'"', 39, kShift}, {'~', 50, kShift}, {'.', 47, 0}, {'-', 27, 0}, {'\\', 42, 0},
        {'\'', 39, 0}, {'`', 50, 0}, {'[', 33, 0}};
    // clang-format on
    for (const auto& [c, code, flags] : typed) {
        const auto& key = plainKeys()[static_cast<unsigned char>(c)];
        EXPECT_TRUE(key.typed) << c;
        EXPECT_EQ(key.code, code) << c;
        EXPECT_EQ(key.flags, flags) << c;
    }
    for (char c : {'{', '\t', '\n', '\x7F', '\0'}) {
        EXPECT_FALSE(plainKeys()[static_cast<unsigned char>(c)].typed) << int(c);
    }
}

TEST(KeyTablesTest, OnlyTheLiteralCharacterNamesImplyShift) {
    for (const char* name : {"leftbrace", "rightbrace", "doublequote"}) {
        EXPECT_EQ(impliedFlags(name), kShift) << name;
    }
    for (const char* name : {"leftbracket", "quote", "singlequote"}) {
        EXPECT_EQ(impliedFlags(name), 0u) << name;
    }
}

}  // namespace
}  // namespace tarn::keys
