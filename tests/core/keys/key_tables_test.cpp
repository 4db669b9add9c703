#include "core/keys/key_tables.h"

#include <gtest/gtest.h>

#include <cctype>

namespace tarn::keys {
namespace {

constexpr KeyFlags kShift = 0x20000;

TEST(KeyTablesTest, HoldEveryNameOnce) {
    EXPECT_EQ(keyMap().size(), 110u);
    EXPECT_EQ(modifierMap().size(), 7u);
    EXPECT_EQ(shiftedSymbolMap().size(), 21u);
}

TEST(KeyTablesTest, NamesAreLowerCaseAndLookupsAreCaseSensitive) {
    for (const auto& [name, code] : keyMap()) {
        for (char c : name) EXPECT_FALSE(std::isupper(static_cast<unsigned char>(c))) << name;
    }
    EXPECT_EQ(keyMap().count("A"), 0u);
    EXPECT_EQ(keyMap().count("Enter"), 0u);
    EXPECT_EQ(modifierMap().count("CMD"), 0u);
}

struct NamedCode {
    const char* name;
    KeyCode code;
};

class KeyMapTest : public ::testing::TestWithParam<NamedCode> {};

TEST_P(KeyMapTest, GivesTheAnsiKeyCode) {
    auto found = keyMap().find(GetParam().name);
    ASSERT_NE(found, keyMap().end()) << GetParam().name;
    EXPECT_EQ(found->second, GetParam().code) << GetParam().name;
}

// One or two names of every group, the shared codes, and the keys easiest to mix up.
INSTANTIATE_TEST_SUITE_P(
    Names, KeyMapTest,
    ::testing::Values(
        NamedCode{"a", 0}, NamedCode{"q", 12}, NamedCode{"z", 6}, NamedCode{"0", 29},
        NamedCode{"5", 23}, NamedCode{"6", 22}, NamedCode{"9", 25}, NamedCode{"f1", 122},
        NamedCode{"f17", 64}, NamedCode{"f20", 90}, NamedCode{"return", 36}, NamedCode{"enter", 36},
        NamedCode{"keypadenter", 76}, NamedCode{"delete", 51}, NamedCode{"backspace", 51},
        NamedCode{"forwarddelete", 117}, NamedCode{"esc", 53}, NamedCode{"up", 126},
        NamedCode{"pagedown", 121}, NamedCode{"quote", 39}, NamedCode{"singlequote", 39},
        NamedCode{"grave", 50}, NamedCode{"leftbrace", 33}, NamedCode{"rightbrace", 30},
        NamedCode{"doublequote", 39}, NamedCode{"keypad8", 91}, NamedCode{"keypadequals", 81},
        NamedCode{"mute", 74}, NamedCode{"volumeup", 72}));

TEST(ModifierMapTest, GivesTheEventFlags) {
    const std::pair<const char*, KeyFlags> expected[] = {
        {"cmd", 0x100000}, {"command", 0x100000}, {"ctrl", 0x40000}, {"control", 0x40000},
        {"alt", 0x80000},  {"option", 0x80000},   {"shift", 0x20000}};
    for (const auto& [name, flags] : expected) EXPECT_EQ(modifierMap().at(name), flags) << name;
}

struct PlainCase {
    char character;
    bool typed;
    KeyCode code;
    KeyFlags flags;
};

class PlainKeysTest : public ::testing::TestWithParam<PlainCase> {};

TEST_P(PlainKeysTest, MapsTheCharacterToItsKey) {
    const auto& key = plainKeys()[static_cast<unsigned char>(GetParam().character)];
    EXPECT_EQ(key.typed, GetParam().typed);
    if (!GetParam().typed) return;
    EXPECT_EQ(key.code, GetParam().code);
    EXPECT_EQ(key.flags, GetParam().flags);
}

INSTANTIATE_TEST_SUITE_P(
    Characters, PlainKeysTest,
    ::testing::Values(PlainCase{'a', true, 0, 0}, PlainCase{'A', true, 0, kShift},
                      PlainCase{'Z', true, 6, kShift}, PlainCase{'7', true, 26, 0},
                      PlainCase{' ', true, 49, 0}, PlainCase{'!', true, 18, kShift},
                      PlainCase{')', true, 29, kShift}, PlainCase{'}', true, 30, kShift},
                      PlainCase{'|', true, 42, kShift}, PlainCase{'"', true, 39, kShift},
                      PlainCase{'~', true, 50, kShift}, PlainCase{'.', true, 47, 0},
                      PlainCase{'-', true, 27, 0}, PlainCase{'\\', true, 42, 0},
                      PlainCase{'\'', true, 39, 0}, PlainCase{'`', true, 50, 0},
                      PlainCase{'[', true, 33, 0}, PlainCase{'{', false, 0, 0},
                      PlainCase{'\t', false, 0, 0}, PlainCase{'\n', false, 0, 0},
                      PlainCase{'\x7F', false, 0, 0}, PlainCase{'\0', false, 0, 0}));

TEST(ImpliedFlagsTest, OnlyTheLiteralCharacterNamesAddShift) {
    EXPECT_EQ(impliedFlags("leftbrace"), kShift);
    EXPECT_EQ(impliedFlags("rightbrace"), kShift);
    EXPECT_EQ(impliedFlags("doublequote"), kShift);
    EXPECT_EQ(impliedFlags("leftbracket"), 0u);
    EXPECT_EQ(impliedFlags("quote"), 0u);
    EXPECT_EQ(impliedFlags("singlequote"), 0u);
}

}  // namespace
}  // namespace tarn::keys
