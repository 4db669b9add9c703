#include "core/keys/parser.h"

#include <gtest/gtest.h>

#include <limits>

namespace tarn::keys {
namespace {

constexpr KeyFlags kShift = 0x20000;
constexpr KeyFlags kControl = 0x40000;
constexpr KeyFlags kOption = 0x80000;
constexpr KeyFlags kCommand = 0x100000;

using Actions = std::vector<KeyAction>;
using Kind = KeysParseError::Kind;

struct ParseCase {
    const char* name;
    std::string keys;
    Actions expected;
};

class ParseKeysStringTest : public ::testing::TestWithParam<ParseCase> {};

TEST_P(ParseKeysStringTest, GivesTheActions) {
    EXPECT_EQ(parseKeysString(GetParam().keys), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    PlainText, ParseKeysStringTest,
    ::testing::Values(
        ParseCase{"Empty", "", {}},
        ParseCase{"UpperCaseAndShiftedSymbol",
                  "Hi!",
                  {TypeKey{4, kShift}, TypeKey{34, 0}, TypeKey{18, kShift}}},
        ParseCase{"PeriodsAndEnter",
                  "cd ..{enter}",
                  {TypeKey{8, 0}, TypeKey{2, 0}, TypeKey{49, 0}, TypeKey{47, 0}, TypeKey{47, 0},
                   TypeKey{36, 0}}},
        ParseCase{"UnshiftedPunctuation",
                  "-=[];',/\\`",
                  {TypeKey{27, 0}, TypeKey{24, 0}, TypeKey{33, 0}, TypeKey{30, 0}, TypeKey{41, 0},
                   TypeKey{39, 0}, TypeKey{43, 0}, TypeKey{44, 0}, TypeKey{42, 0}, TypeKey{50, 0}}},
        ParseCase{"ShiftedPunctuation",
                  "_+|:\"<>?~",
                  {TypeKey{27, kShift}, TypeKey{24, kShift}, TypeKey{42, kShift},
                   TypeKey{41, kShift}, TypeKey{39, kShift}, TypeKey{43, kShift},
                   TypeKey{47, kShift}, TypeKey{44, kShift}, TypeKey{50, kShift}}},
        ParseCase{"LoneClosingBrace", "}", {TypeKey{30, kShift}}},
        ParseCase{"ControlCharactersSkipped",
                  "a\tb\nc\r\n",
                  {TypeKey{0, 0}, TypeKey{11, 0}, TypeKey{8, 0}}},
        ParseCase{"LettersBeyondAsciiSkipped", "\u00E9\u00DF\u4E2D", {}},
        ParseCase{"LetterWithMarkSkipped", "e\u0301x", {TypeKey{7, 0}}},
        ParseCase{"KeycapSkipped", "1\uFE0F\u20E32", {TypeKey{19, 0}}},
        ParseCase{"KelvinSignIsUpperK", "\u212A", {TypeKey{40, kShift}}},
        ParseCase{"NonAsciiSpaceSkipped", "\u00A0", {}},
        ParseCase{
            "MalformedBytesSkipped", "\xA7x\xE2\x82{enter}\xFF", {TypeKey{7, 0}, TypeKey{36, 0}}}),
    [](const auto& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Groups, ParseKeysStringTest,
    ::testing::Values(
        ParseCase{"Pause", "{pause 500}", {Pause{500}}},
        ParseCase{"PauseWithExtraSpaces", "{pause  500 }", {Pause{500}}},
        ParseCase{"PauseTrimsTabsAndNoBreakSpaces", "{pause \t7\u00A0\u3000}", {Pause{7}}},
        ParseCase{"NegativePause", "{pause -5}", {Pause{-5}}},
        ParseCase{"SignedPause", "{PAUSE +0}", {Pause{0}}},
        ParseCase{"LargestPause",
                  "{pause 9223372036854775807}",
                  {Pause{std::numeric_limits<std::int64_t>::max()}}},
        ParseCase{"SmallestPause",
                  "{pause -9223372036854775808}",
                  {Pause{std::numeric_limits<std::int64_t>::min()}}},
        ParseCase{"BufferCommands",
                  "{grab}{GRAB}{Put}{paste}",
                  {GrabClipboard{}, GrabClipboard{}, PutToClipboard{}, PasteBuffer{}}},
        ParseCase{"InsertExpandsNestedGroups",
                  "{insert before x:{slash}{slash}}",
                  {InsertBefore{"x://"}}},
        ParseCase{"InsertKeepsCase", "{insert after ABC}", {InsertAfter{"ABC"}}},
        ParseCase{"CommandWordIsCaseBlind",
                  "{INSERT Before Foo}{Trim AFTER Bar}",
                  {InsertBefore{"Foo"}, TrimAfter{"Bar"}}},
        ParseCase{"TrimBeforeKeepsSpaces", "{trim before  a b }", {TrimBefore{" a b "}}},
        ParseCase{"TrimAfterEscape", "{trim after {QUESTION}}", {TrimAfter{"?"}}},
        ParseCase{"EmptyTexts", "{insert after }{trim before }", {InsertAfter{""}, TrimBefore{""}}},
        ParseCase{"UnknownEscapeLowered", "{insert before a{Foo}b}", {InsertBefore{"a{foo}b"}}},
        ParseCase{"DeeplyNestedInsert", "{insert after {{{x}}}}", {InsertAfter{"{{{x}}}"}}},
        ParseCase{"ChordOfThree", "{ctrl+alt+delete}", {TypeKey{51, kControl | kOption}}},
        ParseCase{"LaterKeyReplacesEarlier", "{a+b}", {TypeKey{11, 0}}},
        ParseCase{"ShiftChord", "{shift+a}", {TypeKey{0, kShift}}},
        ParseCase{"EmptyPiecesDropped", "{cmd++c}", {TypeKey{8, kCommand}}},
        ParseCase{"TrailingPlus", "{c+cmd+}", {TypeKey{8, kCommand}}},
        ParseCase{"RepeatedModifier", "{cmd+shift+command+c}", {TypeKey{8, kCommand | kShift}}},
        ParseCase{"UpperCaseChord", "{CMD+V}{Enter}", {TypeKey{9, kCommand}, TypeKey{36, 0}}},
        ParseCase{"SingleNames",
                  "{f5}{keypadenter}{forwarddelete}",
                  {TypeKey{96, 0}, TypeKey{76, 0}, TypeKey{117, 0}}},
        ParseCase{"LiteralCharacterNamesAddShift",
                  "{leftbrace}{rightbrace}{cmd+doublequote}",
                  {TypeKey{33, kShift}, TypeKey{30, kShift}, TypeKey{39, kCommand | kShift}}},
        ParseCase{"BracketNamesDoNot", "{leftbracket}{quote}", {TypeKey{33, 0}, TypeKey{39, 0}}},
        ParseCase{"KelvinSignName", "{cmd+\u212A}", {TypeKey{40, kCommand}}},
        ParseCase{
            "MixedText",
            "A{cmd+a}a{pause 1}b",
            {TypeKey{0, kShift}, TypeKey{0, kCommand}, TypeKey{0, 0}, Pause{1}, TypeKey{11, 0}}}),
    [](const auto& info) { return std::string(info.param.name); });

struct ErrorCase {
    const char* name;
    std::string keys;
    Kind kind;
    std::string payload;
};

class ParseKeysStringErrorTest : public ::testing::TestWithParam<ErrorCase> {};

TEST_P(ParseKeysStringErrorTest, ThrowsTheFirstError) {
    try {
        auto actions = parseKeysString(GetParam().keys);
        ADD_FAILURE() << "parsed into " << actions.size() << " actions";
    } catch (const KeysParseError& error) {
        EXPECT_EQ(error.kind(), GetParam().kind);
        EXPECT_EQ(error.payload(), GetParam().payload);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Errors, ParseKeysStringErrorTest,
    ::testing::Values(
        ErrorCase{"UnknownName", "ab{foo}", Kind::unknownKeyName, "foo"},
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

TEST(KeysParseErrorTest, PrintsTheCaseNameAndQuotedPayload) {
    EXPECT_STREQ(KeysParseError(Kind::unclosedBrace).what(), "unclosedBrace");
    EXPECT_STREQ(KeysParseError(Kind::unknownKeyName, "cmd+foo").what(),
                 "unknownKeyName(\"cmd+foo\")");
    EXPECT_STREQ(KeysParseError(Kind::invalidPauseValue, "").what(), "invalidPauseValue(\"\")");
    EXPECT_STREQ(KeysParseError(Kind::unknownKeyName, "a\"b'c\\d\te\r\x01\u00E4").what(),
                 "unknownKeyName(\"a\\\"b\\'c\\\\d\\te\\r\\u{01}\u00E4\")");
}

TEST(DescribeTest, NamesTheCaseAndPayload) {
    EXPECT_EQ(describe(TypeKey{8, kCommand | kShift}), "typeKey(8, 0x120000)");
    EXPECT_EQ(describe(Pause{-5}), "pause(-5)");
    EXPECT_EQ(describe(TrimAfter{"?"}), "trimAfter(\"?\")");
    EXPECT_EQ(describe(PasteBuffer{}), "pasteBuffer");
}

struct RangeCase {
    std::string keys;
    bool accepted;
    std::string payload;
};

class ParseForExecutionTest : public ::testing::TestWithParam<RangeCase> {};

TEST_P(ParseForExecutionTest, RejectsPausesASleepCannotTake) {
    if (GetParam().accepted) {
        EXPECT_NO_THROW(parseKeysStringForExecution(GetParam().keys));
        return;
    }
    try {
        parseKeysStringForExecution(GetParam().keys);
        ADD_FAILURE() << GetParam().keys << " was accepted";
    } catch (const KeysParseError& error) {
        EXPECT_EQ(error.kind(), Kind::invalidPauseValue);
        EXPECT_EQ(error.payload(), GetParam().payload);
    }
}

INSTANTIATE_TEST_SUITE_P(Pauses, ParseForExecutionTest,
                         ::testing::Values(RangeCase{"{pause 0}", true, ""},
                                           RangeCase{"{pause 4294967}", true, ""},
                                           RangeCase{"a{pause 4294968}", false, "4294968"},
                                           RangeCase{"{pause -1}b", false, "-1"},
                                           RangeCase{"{pause 1}{pause -0009}", false, "-9"},
                                           RangeCase{"{pause x}{pause -1}", false, "x"}));

}  // namespace
}  // namespace tarn::keys
