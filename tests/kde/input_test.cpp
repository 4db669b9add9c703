// Keys and the pointer through KWin's fake input, as `tarn keys` and `tarn move-mouse` make
// them: what the test client received (its own log) and where KWin put the pointer (the
// tests' own script).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/common/command_runner.h"
#include "tests/kde/harness.h"

namespace tarn::kdetest {
namespace {

using tarn::testing::runTarn;
using tarn::testing::TempDir;
using ::testing::ElementsAreArray;

std::string typedText(const waylandtest::TestClient& client) {
    std::string text;
    for (const std::string& line : client.logLines("text")) text += line.substr(5);
    return text;
}

TEST(KeysOnKWin, EveryKeyAndChordArrivesWithExactlyItsModifiers) {
    TempDir home;
    auto client = startApp(home);
    // Every character of a US keyboard, unshifted and shifted; the braces are key names in
    // the keys language.
    const std::string text = "azAZ09`-=[]\\;',./~!@#$%^&*()_+{}|:\"<>? ";
    std::string keys;
    for (char c : text) {
        if (c == '{')
            keys += "{leftbrace}";
        else if (c == '}')
            keys += "{rightbrace}";
        else
            keys += c;
    }
    // Chords carry exactly their own modifiers, none of the Shift that the capital before
    // them held (state bits as X11 numbers them: Shift 0x1, Control 0x4, Mod1 0x8, Mod4 0x40).
    keys += "X{ctrl+a}{option+b}{cmd+shift+c}{enter}";
    const std::vector<std::string> chords{"key X 0x1", "key a 0x4", "key b 0x8", "key C 0x41",
                                          "key Return 0x0"};

    auto result = runTarn({"keys", keys}, home.path(), std::nullopt, desktopEnvironment());
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(eventually([&] { return client.logged("key Return"); }));
    EXPECT_EQ(typedText(client).substr(0, text.size()), text);
    auto pressed = client.keys();
    ASSERT_GE(pressed.size(), chords.size());
    EXPECT_THAT(std::vector(pressed.end() - chords.size(), pressed.end()),
                ElementsAreArray(chords));
}

// {grab} reads what another client put, {paste} types it, {put} leaves the buffer on the
// clipboard after tarn has gone: read with wl-paste and written with wl-copy.
TEST(ClipboardOnKWin, GrabPasteAndPutGoThroughTheClipboard) {
    TempDir home;
    auto client = startApp(home);
    waylandtest::copyText("Got 42");
    auto result = runTarn({"keys", "{grab}{paste}{insert after  \u2713}{put}"}, home.path(),
                          std::nullopt, desktopEnvironment());
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(eventually([&] { return typedText(client) == "Got 42"; }))
        << client.logText() << result.err;
    EXPECT_TRUE(eventually([] { return waylandtest::pastedText() == "Got 42 \u2713"; }));
}

TEST(MoveMouseOnKWin, ThePointerLandsWhereAsked) {
    TempDir home;
    auto client = startApp(home, {"--size", "800x605"});
    auto window = kwinWindowOf(client.pid());
    ASSERT_TRUE(window);
    kwinPlace(window->uuid, {100, 100, 800, 605});
    ASSERT_TRUE(settlesAt(client.pid(), {100, 100, 800, 605}));
    // Screen 1 is the right-hand output.
    for (auto [words, at] :
         {std::pair{std::vector<std::string>{"screen", "1", "center"}, platform::Point{2880, 540}},
          std::pair{std::vector<std::string>{"screen", "0", "home"}, platform::Point{10, 10}},
          std::pair{std::vector<std::string>{"app", "home"}, platform::Point{110, 110}}}) {
        std::vector<std::string> args{"move-mouse"};
        args.insert(args.end(), words.begin(), words.end());
        SCOPED_TRACE(::testing::PrintToString(args));
        auto result = runTarn(args, home.path(), std::nullopt, desktopEnvironment());
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_TRUE(eventually([&] { return kwinCursor() == at; }));
    }
}

}  // namespace
}  // namespace tarn::kdetest
