// `tarn keys` and `tarn move-mouse` as a user runs them, on the private server of with-x11.sh
// (LEFT 1920x1080 at 0,0 primary, RIGHT 1920x1080 at 1920,0, openbox). What arrived is read
// from the test client's log, the pointer and clipboard with xdotool and xclip, and the
// keyboard with XQueryKeymap.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/common/command_runner.h"
#include "tests/x11/harness.h"

namespace tarn::x11test {
namespace {

using tarn::testing::CommandResult;
using tarn::testing::runTarn;
using tarn::testing::TempDir;
using ::testing::ElementsAre;

class InputCommandsOnX11 : public ::testing::Test {
  protected:
    CommandResult tarn(const std::vector<std::string>& args) {
        return runTarn(args, home_.path(), std::nullopt, {"DISPLAY=" + display()});
    }

    static std::vector<std::string> received(const TestApp& app, std::size_t count) {
        eventually([&] { return app.keys().size() >= count; });
        return app.keys();
    }

    TempDir home_;
};

// State bits as X reports them: Shift 0x1, Control 0x4, Alt (Mod1) 0x8, Super (Mod4) 0x40.
TEST_F(InputCommandsOnX11, KeysTypesTextSymbolsEnterAndChordsExactly) {
    auto app = startApp(home_, {});
    auto result = tarn({"keys", "Hi, Bo! A+b?{enter}{ctrl+alt+t}{cmd+shift+z}"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");

    EXPECT_THAT(
        received(app, 15),
        ElementsAre("key H 0x1", "key i 0x0", "key comma 0x0", "key space 0x0", "key B 0x1",
                    "key o 0x0", "key exclam 0x1", "key space 0x0", "key A 0x1", "key plus 0x1",
                    "key b 0x0", "key question 0x1", "key Return 0x0", "key t 0xc", "key Z 0x41"));
    EXPECT_THAT(keysDown(), ElementsAre());
}

// A hotkey program that runs tarn while its chord's Control is still down: the keys go out
// without it, and tarn leaves up the Control it lifted, which no keyboard holds.
TEST_F(InputCommandsOnX11, KeysTypedWhileAnotherProgramHoldsControlCarryNoControl) {
    auto app = startApp(home_, {});
    ASSERT_EQ(run({"xdotool", "keydown", "ctrl"}).status, 0);
    auto result = tarn({"keys", "abc"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(received(app, 3), ElementsAre("key a 0x0", "key b 0x0", "key c 0x0"));
    EXPECT_THAT(keysDown(), ElementsAre());
    ASSERT_EQ(run({"xdotool", "keyup", "ctrl"}).status, 0);
}

// {grab} reads what another client put, {paste} types it (a line feed as Enter), {put} leaves
// a process of tarn's serving the buffer after tarn has exited, until someone else takes the
// clipboard.
TEST_F(InputCommandsOnX11, GrabPasteAndPutGoThroughTheClipboard) {
    auto app = startApp(home_, {});
    putOnClipboard("Got 42\n!");
    ASSERT_EQ(clipboardText(), "Got 42\n!");
    const std::string tag = "tag-" + std::to_string(::getpid());

    auto result = tarn({"keys", "{grab}{paste}{insert after  \u2713 " + tag + "}{put}"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(received(app, 8),
                ElementsAre("key G 0x1", "key o 0x0", "key t 0x0", "key space 0x0", "key 4 0x0",
                            "key 2 0x0", "key Return 0x0", "key exclam 0x1"));
    EXPECT_THAT(keysDown(), ElementsAre());
    EXPECT_EQ(clipboardText(), "Got 42\n! \u2713 " + tag);
    EXPECT_EQ(processesWith(tag), 1);

    putOnClipboard("someone else's");
    EXPECT_TRUE(eventually([&] { return processesWith(tag) == 0; }));
    EXPECT_EQ(clipboardText(), "someone else's");
}

struct PointerCase {
    std::vector<std::string> words;
    platform::Point expected;
};

// The numbering of screens is proven on the fake desktop; here each kind of target once, on
// the real monitors and the real outer frame: 100,100 800x606 (client 798x581 plus openbox's
// 1,1,20,5). Home is 10 right and down of the corner; center the middle.
const PointerCase kPointerCases[] = {
    {{"screen", "1", "center"}, {2880, 540}},
    {{"screen", "0", "home"}, {10, 10}},
    {{"app", "home"}, {110, 110}},
    {{}, {500, 403}},
};

TEST_F(InputCommandsOnX11, MoveMouseToScreensAndTheFocusedWindow) {
    auto app = startApp(home_, {"--geometry", "798x581+100+100"});
    ASSERT_TRUE(settlesAt(app.window(), {100, 100, 800, 606}));
    for (const auto& c : kPointerCases) {
        std::vector<std::string> args{"move-mouse"};
        args.insert(args.end(), c.words.begin(), c.words.end());
        SCOPED_TRACE(::testing::PrintToString(args));
        ASSERT_EQ(run({"xdotool", "mousemove", "1234", "567"}).status, 0);
        ASSERT_TRUE(eventually([] { return pointerLocation() == platform::Point{1234, 567}; }));

        auto result = tarn(args);
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(pointerLocation(), c.expected);
    }
}

}  // namespace
}  // namespace tarn::x11test
