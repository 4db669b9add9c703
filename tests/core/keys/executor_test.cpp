#include "core/keys/executor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "tests/common/fake_desktop.h"

namespace tarn::keys {
namespace {

using platform::KeyEvent;
using Actions = std::vector<KeyAction>;
using Events = std::vector<KeyEvent>;
using Sleeps = std::vector<std::uint32_t>;

constexpr KeyFlags kShift = 0x20000;
constexpr KeyFlags kCommand = 0x100000;

// Down then up of each key, all with the same flags and marker.
Events press(std::initializer_list<KeyCode> codes, KeyFlags flags = 0,
             std::optional<std::int64_t> marker = std::nullopt) {
    Events all;
    for (KeyCode code : codes) {
        all.push_back(KeyEvent{code, true, flags, marker});
        all.push_back(KeyEvent{code, false, flags, marker});
    }
    return all;
}

Events operator+(Events a, const Events& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

class ExecuteKeysActionsTest : public ::testing::Test {
  protected:
    KeysRunResult execute(const Actions& actions, std::optional<std::int64_t> marker = {}) {
        return executeKeysActions(actions, marker, context, buffer);
    }

    testing::FakeDesktop desktop;
    std::ostringstream out, err;
    CommandContext context{out, err, desktop};
    std::string buffer;
};

TEST_F(ExecuteKeysActionsTest, EachKeyIsDownPauseUpPauseWithItsFlagsAndTheMarker) {
    EXPECT_EQ(execute({TypeKey{0, kShift}, TypeKey{11, 0}, TypeKey{8, kCommand | kShift}}, 42),
              KeysRunResult::completed);
    EXPECT_EQ(desktop.keyEvents,
              press({0}, kShift, 42) + press({11}, 0, 42) + press({8}, kCommand | kShift, 42));
    EXPECT_EQ(desktop.sleeps, (Sleeps{1000, 10000, 1000, 10000, 1000, 10000}));
    EXPECT_EQ(err.str(), "");
}

TEST_F(ExecuteKeysActionsTest, KeyWithoutAnEventIsSkippedWhole) {
    desktop.unpostable = {11};
    execute({TypeKey{11, 0}, TypeKey{0, 0}});
    EXPECT_EQ(desktop.keyEvents, press({0}));
    EXPECT_EQ(desktop.sleeps, (Sleeps{1000, 10000}));
}

TEST_F(ExecuteKeysActionsTest, KeysInARowAreOneTypingRunThatOtherActionsEnd) {
    execute({TypeKey{0, 0}, TypeKey{11, kShift}, Pause{1}, InsertAfter{"x"}, TypeKey{8, 0}});
    using Runs = std::vector<std::pair<std::size_t, std::size_t>>;
    EXPECT_EQ(desktop.typingRuns, (Runs{{0, 4}, {4, 6}}));
}

TEST_F(ExecuteKeysActionsTest, PausesSleepTheirMillisecondsHeldToTheSleepsRange) {
    execute({Pause{250}, Pause{0}, Pause{kMaxPauseMilliseconds}, Pause{-5},
             Pause{std::numeric_limits<std::int64_t>::max()}});
    EXPECT_EQ(desktop.sleeps, (Sleeps{250000, 0, 4294967000u, 0, 4294967000u}));
}

struct BufferCase {
    const char* name;
    std::optional<std::string> clipboard;
    std::string before;
    Actions actions;
    std::string after;
};

class BufferTest : public ExecuteKeysActionsTest,
                   public ::testing::WithParamInterface<BufferCase> {};

// Each grab first waits 100 ms for the copy; edits neither sleep nor type.
TEST_P(BufferTest, EditsTheBuffer) {
    desktop.clipboardText = GetParam().clipboard;
    buffer = GetParam().before;
    execute(GetParam().actions);
    EXPECT_EQ(buffer, GetParam().after);
    EXPECT_TRUE(desktop.keyEvents.empty());
    auto grabs =
        std::count_if(GetParam().actions.begin(), GetParam().actions.end(),
                      [](const auto& a) { return std::holds_alternative<GrabClipboard>(a); });
    EXPECT_EQ(desktop.sleeps, Sleeps(grabs, 100000));
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Edits, BufferTest,
    ::testing::Values(
        BufferCase{"TrimMissing", {}, "x?y=1", {TrimAfter{"#"}, TrimBefore{"z"}}, "x?y=1"},
        BufferCase{"EmptyTrimTextsChangeNothing", {}, "abc", {TrimBefore{""}, TrimAfter{""}}, "abc"},
        BufferCase{"FirstOccurrenceOnly", {}, "banana", {TrimBefore{"an"}}, "ana"},
        BufferCase{"TrimAfterFirstOccurrence", {}, "banana", {TrimAfter{"an"}}, "b"},
        BufferCase{"InsertBothSides", {}, "b", {InsertBefore{"a"}, InsertAfter{"c"}}, "abc"},
        BufferCase{"GrabTakesTheClipboard", "copied", "old", {GrabClipboard{}}, "copied"},
        BufferCase{"GrabOfAnEmptyClipboardEmpties", std::nullopt, "old", {GrabClipboard{}}, ""},
        BufferCase{"GrabRepairsTextThatIsNotUtf8", "a\xFF", "", {GrabClipboard{}}, "a\uFFFD"}),
    [](const auto& info) { return std::string(info.param.name); });
// clang-format on

TEST_F(ExecuteKeysActionsTest, PutReplacesTheClipboardWithTheBuffer) {
    desktop.clipboardText = "before";
    buffer = "after";
    execute({PutToClipboard{}});
    EXPECT_EQ(desktop.clipboardWrites, std::vector<std::string>{"after"});
    EXPECT_EQ(desktop.clipboardText, "after");
    EXPECT_TRUE(desktop.sleeps.empty());
}

TEST_F(ExecuteKeysActionsTest, PasteTypesTheBufferAsKeysTextWithEnterBetweenLines) {
    buffer = "a\nB{tab}";
    execute({PasteBuffer{}}, 7);
    EXPECT_EQ(desktop.keyEvents, press({0, 36}, 0, 7) + press({11}, kShift, 7) + press({48}, 0, 7));
    EXPECT_EQ(buffer, "a\nB{tab}");
}

TEST_F(ExecuteKeysActionsTest, PastedBufferCanEditItself) {
    buffer = "x{insert after y}";
    execute({PasteBuffer{}});
    EXPECT_EQ(desktop.keyEvents, press({7}));
    EXPECT_EQ(buffer, "x{insert after y}y");
}

TEST_F(ExecuteKeysActionsTest, PasteErrorsAreReportedAndTheRunGoesOn) {
    const std::tuple<const char*, const char*, Events> cases[] = {
        {"abc{", "unclosedBrace", press({0})},
        {"x{Foo}", "unknownKeyName(\"foo\")", press({0})},
        {"{a\nb}", "unknownKeyName(\"a{enter}b\")", press({0})},
        {"{pause -1}", "invalidPauseValue(\"-1\")", press({0})},  // held to what a sleep takes
        // A buffer pasting itself is typed eight times, then the nesting is an error.
        {"x{paste}", "{paste} nested more than 8 deep", press({7, 7, 7, 7, 7, 7, 7, 7, 0})},
    };
    for (const auto& [text, line, typed] : cases) {
        desktop.keyEvents.clear();
        err.str("");
        buffer = text;
        EXPECT_EQ(execute({PasteBuffer{}, TypeKey{0, 0}}), KeysRunResult::completed);
        EXPECT_EQ(err.str(), "Error parsing buffer for paste: " + std::string(line) + "\n");
        EXPECT_EQ(desktop.keyEvents, typed) << text;
    }
}

TEST_F(ExecuteKeysActionsTest, WithoutPermissionNothingHappens) {
    desktop.trusted = false;
    buffer = "keep";
    EXPECT_EQ(execute({TypeKey{0, 0}, InsertAfter{"x"}, PutToClipboard{}}),
              KeysRunResult::permissionMissing);
    EXPECT_EQ(execute({}), KeysRunResult::permissionMissing);
    EXPECT_TRUE(desktop.keyEvents.empty());
    EXPECT_TRUE(desktop.clipboardWrites.empty());
    EXPECT_EQ(buffer, "keep");
    EXPECT_EQ(desktop.trustPrompts, 2);
    EXPECT_THAT(err.str(), ::testing::HasSubstr("Accessibility permission required!"));
}

// The permission is withdrawn once the first key is down, as a user could mid-run.
TEST_F(ExecuteKeysActionsTest, LossBeforeAPastedBufferEndsTheWholeRun) {
    desktop.revokeTrustOnPost = true;
    buffer = "b";
    EXPECT_EQ(execute({TypeKey{0, 0}, PasteBuffer{}, TypeKey{8, 0}}),
              KeysRunResult::permissionMissing);
    EXPECT_EQ(desktop.keyEvents, press({0}));
}

}  // namespace
}  // namespace tarn::keys
