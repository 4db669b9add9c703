#include "core/keys/parser.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "core/keys/key_tables.h"

namespace tarn::keys {
namespace {

constexpr KeyFlags kShift = 0x20000;
constexpr KeyFlags kControl = 0x40000;
constexpr KeyFlags kOption = 0x80000;
constexpr KeyFlags kCommand = 0x100000;

using Actions = std::vector<KeyAction>;
using Kind = KeysParseError::Kind;
using T = TypeKey;

struct ParseCase {
    const char* name;
    std::string keys;
    Actions expected;
};

class ParseKeysStringTest : public ::testing::TestWithParam<ParseCase> {};

TEST_P(ParseKeysStringTest, GivesTheActions) {
    EXPECT_EQ(parseKeysString(GetParam().keys), GetParam().expected);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    PlainText, ParseKeysStringTest,
    ::testing::Values(
        ParseCase{"Empty", "", {}},
        ParseCase{"UpperCaseAndShiftedSymbol", "HiZ!", {T{4, kShift}, T{34, 0}, T{6, kShift}, T{18, kShift}}},
        ParseCase{"PeriodsAndEnter", "cd ..{enter}",
                  {T{8, 0}, T{2, 0}, T{49, 0}, T{47, 0}, T{47, 0}, T{36, 0}}},
        ParseCase{"UnshiftedPunctuation", "-=[];',/\\`",
                  {T{27, 0}, T{24, 0}, T{33, 0}, T{30, 0}, T{41, 0}, T{39, 0}, T{43, 0}, T{44, 0},
                   T{42, 0}, T{50, 0}}},
        ParseCase{"ShiftedPunctuation", "_+|:\"<>?~",
                  {T{27, kShift}, T{24, kShift}, T{42, kShift}, T{41, kShift}, T{39, kShift},
                   T{43, kShift}, T{47, kShift}, T{44, kShift}, T{50, kShift}}},
        ParseCase{"LoneClosingBrace", "}", {T{30, kShift}}},
        ParseCase{"ControlCharactersSkipped", "a\tb\nc\r\n", {T{0, 0}, T{11, 0}, T{8, 0}}},
        ParseCase{"LettersBeyondAsciiSkipped", "\u00E9\u00DF\u4E2D", {}},
        ParseCase{"LetterWithMarkSkipped", "e\u0301x", {T{7, 0}}},
        ParseCase{"KeycapSkipped", "1\uFE0F\u20E32", {T{19, 0}}},
        ParseCase{"KelvinSignIsUpperK", "\u212A", {T{40, kShift}}},
        ParseCase{"NonAsciiSpaceSkipped", "\u00A0", {}},
        ParseCase{"MalformedBytesSkipped", "\x80\xA7x\xE2\x82{enter}\xFF", {T{7, 0}, T{36, 0}}}),
    [](const auto& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Groups, ParseKeysStringTest,
    ::testing::Values(
        ParseCase{"Pause", "{pause 500}", {Pause{500}}},
        ParseCase{"PauseWithExtraSpaces", "{pause  500 }", {Pause{500}}},
        ParseCase{"PauseTrimsTabsAndNoBreakSpaces", "{pause \t7\u00A0\u3000}", {Pause{7}}},
        ParseCase{"NegativePause", "{pause -5}", {Pause{-5}}},
        ParseCase{"SignedPause", "{PAUSE +0}", {Pause{0}}},
        ParseCase{"LargestPause", "{pause 9223372036854775807}", {Pause{INT64_MAX}}},
        ParseCase{"SmallestPause", "{pause -9223372036854775808}", {Pause{INT64_MIN}}},
        ParseCase{"BufferCommands", "{grab}{GRAB}{Put}{paste}",
                  {GrabClipboard{}, GrabClipboard{}, PutToClipboard{}, PasteBuffer{}}},
        ParseCase{"InsertExpandsNestedGroups", "{insert before x:{slash}{slash}}",
                  {InsertBefore{"x://"}}},
        ParseCase{"CommandWordIsCaseBlind", "{INSERT Before Foo}{Trim AFTER Bar}",
                  {InsertBefore{"Foo"}, TrimAfter{"Bar"}}},
        ParseCase{"TrimBeforeKeepsSpaces", "{trim before  a b }", {TrimBefore{" a b "}}},
        ParseCase{"TrimAfterEscape", "{trim after {QUESTION}}", {TrimAfter{"?"}}},
        ParseCase{"EmptyTexts", "{insert after }{trim before }", {InsertAfter{""}, TrimBefore{""}}},
        ParseCase{"UnknownEscapeLowered", "{insert before a{Foo}b}", {InsertBefore{"a{foo}b"}}},
        ParseCase{"DeeplyNestedInsert", "{insert after {{{x}}}}", {InsertAfter{"{{{x}}}"}}},
        ParseCase{"ChordOfThree", "{ctrl+alt+delete}", {T{51, kControl | kOption}}},
        ParseCase{"LaterKeyReplacesEarlier", "{a+b}", {T{11, 0}}},
        ParseCase{"EmptyPiecesDropped", "{cmd++c}", {T{8, kCommand}}},
        ParseCase{"TrailingPlus", "{c+cmd+}", {T{8, kCommand}}},
        ParseCase{"RepeatedModifier", "{cmd+shift+command+c}", {T{8, kCommand | kShift}}},
        ParseCase{"UpperCaseChord", "{CMD+V}{Enter}", {T{9, kCommand}, T{36, 0}}},
        ParseCase{"SingleNames", "{f5}{keypadenter}{forwarddelete}", {T{96, 0}, T{76, 0}, T{117, 0}}},
        ParseCase{"LiteralCharacterNamesAddShift", "{leftbrace}{rightbrace}{cmd+doublequote}",
                  {T{33, kShift}, T{30, kShift}, T{39, kCommand | kShift}}},
        ParseCase{"BracketNamesDoNot", "{leftbracket}{quote}", {T{33, 0}, T{39, 0}}},
        ParseCase{"KelvinSignName", "{cmd+\u212A}", {T{40, kCommand}}},
        ParseCase{"MixedText", "A{cmd+a}a{pause 1}b",
                  {T{0, kShift}, T{0, kCommand}, T{0, 0}, Pause{1}, T{11, 0}}}),
    [](const auto& info) { return std::string(info.param.name); });
// clang-format on

// The parser lowers what it reads, so every name in the table must be lower case to be
// reachable; each types its own key.
TEST(ParseKeysStringTest, EveryKeyNameIsReachable) {
    for (const auto& [name, code] : keyMap()) {
        auto actions = parseKeysString("{" + name + "}");
        ASSERT_EQ(actions.size(), 1u) << name;
        EXPECT_EQ(std::get<TypeKey>(actions[0]).code, code) << name;
    }
}

struct ErrorCase {
    const char* name;
    std::string keys;
    Kind kind;
    std::string payload;
};

// The first error in the string, as thrown; for execution pauses must also fit a sleep.
void expectError(const ErrorCase& c, bool forExecution) {
    try {
        auto actions = forExecution ? parseKeysStringForExecution(c.keys) : parseKeysString(c.keys);
        ADD_FAILURE() << c.keys << " parsed into " << actions.size() << " actions";
    } catch (const KeysParseError& error) {
        EXPECT_EQ(error.kind(), c.kind) << c.keys;
        EXPECT_EQ(error.payload(), c.payload) << c.keys;
    }
}

class ParseKeysStringErrorTest : public ::testing::TestWithParam<ErrorCase> {};

TEST_P(ParseKeysStringErrorTest, ThrowsTheFirstError) {
    expectError(GetParam(), false);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Errors, ParseKeysStringErrorTest,
    ::testing::Values(
        ErrorCase{"UnknownName", "ab{foo}", Kind::unknownKeyName, "foo"},
        ErrorCase{"NoCaseOfACommandDiffersInItsFirstLetter", "{xaste}", Kind::unknownKeyName,
                  "xaste"},
        ErrorCase{"WholeGroupIsReported", "{CMD+Foo}", Kind::unknownKeyName, "cmd+foo"},
        ErrorCase{"ModifierOnly", "{cmd}", Kind::unknownKeyName, "cmd"},
        ErrorCase{"ModifiersOnly", "{ctrl+shift}", Kind::unknownKeyName, "ctrl+shift"},
        ErrorCase{"EmptyGroup", "{}", Kind::unknownKeyName, ""},
        ErrorCase{"OnlyPlusSigns", "{+++}", Kind::unknownKeyName, "+++"},
        ErrorCase{"PiecesAreNotTrimmed", "{cmd + c}", Kind::unknownKeyName, "cmd + c"},
        ErrorCase{"PauseWithoutArgument", "{pause}", Kind::unknownKeyName, "pause"},
        ErrorCase{"PauseWithTab", "{pause\t9}", Kind::unknownKeyName, "pause\t9"},
        ErrorCase{"UpperCaseKeyInChord", "{Shift+\u00C4}", Kind::unknownKeyName, "shift+\u00E4"},
        ErrorCase{"NestedGroupAsChord", "{a{b}}", Kind::unknownKeyName, "a{b}"},
        ErrorCase{"PlusWithMarkIsNoSeparator", "{a+\u0301}", Kind::unknownKeyName, "a+\u0301"},
        ErrorCase{"PauseSpaceWithMark", "{pause \u03015}", Kind::unknownKeyName, "pause \u03015"},
        ErrorCase{"PauseNotANumber", "{pause x}", Kind::invalidPauseValue, "x"},
        ErrorCase{"PauseLowered", "{pause X1}", Kind::invalidPauseValue, "x1"},
        ErrorCase{"PauseOnlySpaces", "{pause }", Kind::invalidPauseValue, ""},
        ErrorCase{"PauseFraction", "{pause 1.5}", Kind::invalidPauseValue, "1.5"},
        ErrorCase{"PauseSignAlone", "{pause +}", Kind::invalidPauseValue, "+"},
        ErrorCase{"PauseInnerSpace", "{pause 1 2}", Kind::invalidPauseValue, "1 2"},
        ErrorCase{"PauseTooLarge", "{pause 9223372036854775808}", Kind::invalidPauseValue,
                  "9223372036854775808"},
        ErrorCase{"UnclosedAfterCommands", "{grab}x{paste", Kind::unclosedBrace, ""},
        ErrorCase{"LoneOpeningBrace", "{", Kind::unclosedBrace, ""},
        ErrorCase{"UnbalancedNesting", "{{a}", Kind::unclosedBrace, ""},
        ErrorCase{"UnclosedInsert", "abc{insert before {slash}", Kind::unclosedBrace, ""},
        ErrorCase{"CloseWithMarkClosesNothing", "{a}\u0301", Kind::unclosedBrace, ""},
        ErrorCase{"FirstErrorWins", "{foo}{pause x}{", Kind::unknownKeyName, "foo"}),
    [](const auto& info) { return std::string(info.param.name); });
// clang-format on

TEST(ParseForExecutionTest, RejectsPausesASleepCannotTake) {
    EXPECT_EQ(parseKeysStringForExecution("{pause 0}{pause 4294967}"),
              (Actions{Pause{0}, Pause{4294967}}));
    for (const auto& c : {ErrorCase{"", "a{pause 4294968}", Kind::invalidPauseValue, "4294968"},
                          ErrorCase{"", "{pause -1}b", Kind::invalidPauseValue, "-1"},
                          ErrorCase{"", "{pause 1}{pause -0009}", Kind::invalidPauseValue, "-9"},
                          ErrorCase{"", "{pause x}{pause -1}", Kind::invalidPauseValue, "x"}}) {
        expectError(c, true);
    }
}

TEST(KeysParseErrorTest, PrintsTheCaseNameAndQuotedPayload) {
    EXPECT_STREQ(KeysParseError(Kind::unclosedBrace).what(), "unclosedBrace");
    EXPECT_STREQ(KeysParseError(Kind::invalidPauseValue, "").what(), "invalidPauseValue(\"\")");
    EXPECT_STREQ(KeysParseError(Kind::unknownKeyName, "a\"b'c\\d\te\r\x01\u00E4").what(),
                 "unknownKeyName(\"a\\\"b\\'c\\\\d\\te\\r\\u{01}\u00E4\")");
    EXPECT_STREQ(KeysParseError(Kind::unknownKeyName, std::string(1, '\0')).what(),
                 "unknownKeyName(\"\\0\")");
}

TEST(DescribeTest, NamesTheCaseAndPayload) {
    EXPECT_EQ(describe(TypeKey{8, kCommand | kShift}), "typeKey(8, 0x120000)");
    EXPECT_EQ(describe(Pause{-5}), "pause(-5)");
    EXPECT_EQ(describe(TrimAfter{"?"}), "trimAfter(\"?\")");
    EXPECT_EQ(describe(PasteBuffer{}), "pasteBuffer");
}

}  // namespace
}  // namespace tarn::keys
