#include "core/keys/executor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/fake_desktop.h"

namespace tarn::keys {
namespace {

using platform::KeyEvent;
using Actions = std::vector<KeyAction>;
using Sleeps = std::vector<std::uint32_t>;

constexpr KeyFlags kShift = 0x20000;
constexpr KeyFlags kCommand = 0x100000;

std::vector<KeyEvent> press(KeyCode code, KeyFlags flags = 0,
                            std::optional<std::int64_t> marker = std::nullopt) {
    return {KeyEvent{code, true, flags, marker}, KeyEvent{code, false, flags, marker}};
}

std::vector<KeyEvent> presses(std::initializer_list<std::vector<KeyEvent>> groups) {
    std::vector<KeyEvent> all;
    for (const auto& group : groups) all.insert(all.end(), group.begin(), group.end());
    return all;
}

class ExecuteKeysActionsTest : public ::testing::Test {
  protected:
    KeysRunResult execute(const Actions& actions, std::optional<std::int64_t> marker = {}) {
        return executeKeysActions(actions, marker, context, buffer);
    }

    testing::FakeDesktop desktop;
    std::ostringstream out, err;
    commands::CommandContext context{out, err, desktop};
    std::string buffer;
};

TEST_F(ExecuteKeysActionsTest, EachKeyIsDownPauseUpPauseWithExactlyItsFlags) {
    EXPECT_EQ(execute({TypeKey{0, kShift}, TypeKey{11, 0}, TypeKey{8, kCommand | kShift}}),
              KeysRunResult::completed);
    EXPECT_EQ(desktop.keyEvents,
              presses({press(0, kShift), press(11), press(8, kCommand | kShift)}));
    EXPECT_EQ(desktop.sleeps, (Sleeps{1000, 10000, 1000, 10000, 1000, 10000}));
    EXPECT_EQ(err.str(), "");
}

TEST_F(ExecuteKeysActionsTest, MarkerTagsEveryEventWhenGiven) {
    execute({TypeKey{0, 0}}, 42);
    EXPECT_EQ(desktop.keyEvents, press(0, 0, 42));
}

TEST_F(ExecuteKeysActionsTest, KeyWithoutAnEventIsSkippedWhole) {
    desktop.unpostable = {11};
    execute({TypeKey{11, 0}, TypeKey{0, 0}});
    EXPECT_EQ(desktop.keyEvents, press(0));
    EXPECT_EQ(desktop.sleeps, (Sleeps{1000, 10000}));
}

TEST_F(ExecuteKeysActionsTest, PausesSleepTheirMilliseconds) {
    execute({Pause{250}, Pause{0}, Pause{kMaxPauseMilliseconds}});
    EXPECT_EQ(desktop.sleeps, (Sleeps{250000, 0, 4294967000u}));
}

TEST_F(ExecuteKeysActionsTest, PausesBeyondTheSleepAreHeldToItsRange) {
    execute({Pause{-5}, Pause{std::numeric_limits<std::int64_t>::max()}});
    EXPECT_EQ(desktop.sleeps, (Sleeps{0, 4294967000u}));
}

struct BufferCase {
    const char* name;
    std::string before;
    Actions actions;
    std::string after;
};

class BufferTest : public ExecuteKeysActionsTest,
                   public ::testing::WithParamInterface<BufferCase> {};

TEST_P(BufferTest, EditsTheBuffer) {
    buffer = GetParam().before;
    execute(GetParam().actions);
    EXPECT_EQ(buffer, GetParam().after);
    EXPECT_TRUE(desktop.keyEvents.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Edits, BufferTest,
    ::testing::Values(
        BufferCase{"TrimAfterQuestionMark", "x?y=1", {TrimAfter{"?"}}, "x"},
        BufferCase{"TrimBeforeQuestionMark", "x?y=1", {TrimBefore{"?"}}, "y=1"},
        BufferCase{"TrimAfterMissing", "x?y=1", {TrimAfter{"#"}}, "x?y=1"},
        BufferCase{"TrimBeforeMissing", "x?y=1", {TrimBefore{"z"}}, "x?y=1"},
        BufferCase{"EmptyTrimTextsChangeNothing", "abc", {TrimBefore{""}, TrimAfter{""}}, "abc"},
        BufferCase{"FirstOccurrenceOnly", "banana", {TrimBefore{"an"}}, "ana"},
        BufferCase{"TrimAfterFirstOccurrence", "banana", {TrimAfter{"an"}}, "b"},
        BufferCase{"TrimIsCaseSensitive", "Foo", {TrimBefore{"f"}, TrimAfter{"O"}}, "Foo"},
        BufferCase{"InsertBothSides", "b", {InsertBefore{"a"}, InsertAfter{"c"}}, "abc"},
        BufferCase{"InsertIntoEmpty", "", {InsertAfter{"x"}, InsertBefore{"w"}}, "wx"},
        BufferCase{"ArchiveExample",
                   "https://example.com/page?foo=bar",
                   {TrimAfter{"?"}, InsertBefore{"http://web.archive.org/"}},
                   "http://web.archive.org/https://example.com/page"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(ExecuteKeysActionsTest, GrabWaitsForTheCopyThenTakesTheClipboard) {
    desktop.clipboardText = "copied";
    execute({GrabClipboard{}});
    EXPECT_EQ(buffer, "copied");
    EXPECT_EQ(desktop.sleeps, (Sleeps{100000}));
}

TEST_F(ExecuteKeysActionsTest, GrabOfAnEmptyClipboardEmptiesTheBuffer) {
    buffer = "old";
    desktop.clipboardText.reset();
    execute({GrabClipboard{}});
    EXPECT_EQ(buffer, "");
}

TEST_F(ExecuteKeysActionsTest, GrabRepairsTextThatIsNotUtf8) {
    desktop.clipboardText = "a\xFF";
    execute({GrabClipboard{}});
    EXPECT_EQ(buffer, "a\uFFFD");
}

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
    EXPECT_EQ(desktop.keyEvents,
              presses({press(0, 0, 7), press(36, 0, 7), press(11, kShift, 7), press(48, 0, 7)}));
    EXPECT_EQ(buffer, "a\nB{tab}");
}

TEST_F(ExecuteKeysActionsTest, PastedBufferCanEditItself) {
    buffer = "x{insert after y}";
    execute({PasteBuffer{}});
    EXPECT_EQ(desktop.keyEvents, press(7));
    EXPECT_EQ(buffer, "x{insert after y}y");
}

struct PasteErrorCase {
    const char* name;
    std::string buffer;
    std::string line;
};

class PasteErrorTest : public ExecuteKeysActionsTest,
                       public ::testing::WithParamInterface<PasteErrorCase> {};

TEST_P(PasteErrorTest, IsReportedAndTheRunGoesOn) {
    buffer = GetParam().buffer;
    EXPECT_EQ(execute({PasteBuffer{}, TypeKey{0, 0}}), KeysRunResult::completed);
    EXPECT_EQ(err.str(), "Error parsing buffer for paste: " + GetParam().line + "\n");
    EXPECT_EQ(desktop.keyEvents, press(0));  // nothing of the buffer is typed
}

INSTANTIATE_TEST_SUITE_P(
    Buffers, PasteErrorTest,
    ::testing::Values(PasteErrorCase{"Unclosed", "abc{", "unclosedBrace"},
                      PasteErrorCase{"UnknownName", "x{Foo}", "unknownKeyName(\"foo\")"},
                      PasteErrorCase{"LineFeedInsideGroup", "{a\nb}",
                                     "unknownKeyName(\"a{enter}b\")"},
                      PasteErrorCase{"BadPause", "{pause soon}", "invalidPauseValue(\"soon\")"},
                      PasteErrorCase{"PauseOutOfRange", "{pause -1}", "invalidPauseValue(\"-1\")"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(ExecuteKeysActionsTest, PasteInsidePastedBuffersStopsEightDeep) {
    buffer = "x{paste}";
    EXPECT_EQ(execute({PasteBuffer{}, TypeKey{11, 0}}), KeysRunResult::completed);
    std::vector<KeyEvent> expected;
    for (int i = 0; i < 8; ++i)
        expected.push_back(KeyEvent{7, true, 0, {}}), expected.push_back(KeyEvent{7, false, 0, {}});
    expected.push_back(KeyEvent{11, true, 0, {}});
    expected.push_back(KeyEvent{11, false, 0, {}});
    EXPECT_EQ(desktop.keyEvents, expected);
    EXPECT_EQ(err.str(), "Error parsing buffer for paste: {paste} nested more than 8 deep\n");
}

TEST_F(ExecuteKeysActionsTest, WithoutPermissionNothingHappens) {
    desktop.trusted = false;
    buffer = "keep";
    EXPECT_EQ(execute({TypeKey{0, 0}, InsertAfter{"x"}, PutToClipboard{}}),
              KeysRunResult::permissionMissing);
    EXPECT_TRUE(desktop.keyEvents.empty());
    EXPECT_TRUE(desktop.clipboardWrites.empty());
    EXPECT_EQ(buffer, "keep");
    EXPECT_EQ(desktop.trustPrompts, 1);
    EXPECT_THAT(err.str(), ::testing::HasSubstr("Accessibility permission required!"));
}

TEST_F(ExecuteKeysActionsTest, EmptyListStillChecksThePermission) {
    desktop.trusted = false;
    EXPECT_EQ(execute({}), KeysRunResult::permissionMissing);
    desktop.trusted = true;
    EXPECT_EQ(execute({}), KeysRunResult::completed);
}

// Withdraws the permission once the first key is down, as a user could mid-run.
class WithdrawingKeyboard final : public platform::KeyboardOutput {
  public:
    explicit WithdrawingKeyboard(testing::FakeDesktop& desktop) : desktop_(desktop) {}
    bool canPost(std::uint16_t code) override { return desktop_.canPost(code); }
    void post(const KeyEvent& event) override {
        desktop_.post(event);
        desktop_.trusted = false;
    }

  private:
    testing::FakeDesktop& desktop_;
};

class WithdrawingDesktop final : public platform::Desktop {
  public:
    testing::FakeDesktop fake;
    WithdrawingKeyboard keys{fake};
    platform::WindowSystem& windowSystem() override { return fake; }
    platform::Displays& displays() override { return fake; }
    platform::KeyboardOutput& keyboard() override { return keys; }
    platform::Clipboard& clipboard() override { return fake; }
    platform::Pointer& pointer() override { return fake; }
    platform::Accessibility& accessibility() override { return fake; }
    platform::Sleeper& sleeper() override { return fake; }
    platform::BrowserServices& browsers() override { return fake; }
    platform::ScriptRunner& scripts() override { return fake; }
};

TEST(ExecuteKeysActionsPermissionTest, LossBeforeAPastedBufferEndsTheWholeRun) {
    WithdrawingDesktop desktop;
    std::ostringstream out, err;
    commands::CommandContext context(out, err, desktop);
    std::string buffer = "b";
    EXPECT_EQ(
        executeKeysActions({TypeKey{0, 0}, PasteBuffer{}, TypeKey{8, 0}}, {}, context, buffer),
        KeysRunResult::permissionMissing);
    EXPECT_EQ(desktop.fake.keyEvents, press(0));
}

TEST(KeysBufferTest, LastsFromOneRunToTheNext) {
    testing::FakeDesktop desktop;
    std::ostringstream out, err;
    commands::CommandContext context(out, err, desktop);
    keysBuffer().clear();
    executeKeysActions({InsertAfter{"one "}}, {}, context);
    executeKeysActions({InsertAfter{"two"}}, {}, context);
    EXPECT_EQ(keysBuffer(), "one two");
    keysBuffer().clear();
}

}  // namespace
}  // namespace tarn::keys
