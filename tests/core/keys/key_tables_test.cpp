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

// One or two names of every group, the shared codes, and the keys easiest to mix up.
TEST(KeyTablesTest, KeyMapGivesTheAnsiKeyCode) {
    // clang-format off
    const std::pair<const char*, KeyCode> cases[] = {
        {"a", 0}, {"q", 12}, {"z", 6}, {"0", 29}, {"5", 23}, {"6", 22}, {"9", 25}, {"f1", 122},
        {"f17", 64}, {"f20", 90}, {"return", 36}, {"enter", 36}, {"keypadenter", 76},
        {"delete", 51}, {"backspace", 51}, {"forwarddelete", 117}, {"esc", 53}, {"up", 126},
        {"pagedown", 121}, {"quote", 39}, {"singlequote", 39}, {"grave", 50}, {"leftbrace", 33},
        {"rightbrace", 30}, {"doublequote", 39}, {"keypad8", 91}, {"keypadequals", 81},
        {"mute", 74}, {"volumeup", 72}};
    // clang-format on
    for (const auto& [name, code] : cases) {
        auto found = keyMap().find(name);
        ASSERT_NE(found, keyMap().end()) << name;
        EXPECT_EQ(found->second, code) << name;
    }
}

TEST(KeyTablesTest, ModifierMapGivesTheEventFlags) {
    const std::pair<const char*, KeyFlags> expected[] = {
        {"cmd", 0x100000}, {"command", 0x100000}, {"ctrl", 0x40000}, {"control", 0x40000},
        {"alt", 0x80000},  {"option", 0x80000},   {"shift", 0x20000}};
    for (const auto& [name, flags] : expected) EXPECT_EQ(modifierMap().at(name), flags) << name;
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
