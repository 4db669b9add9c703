// The shared Wayland input layer (platform/wayland) on the private sway of with-sway.sh:
// keys typed into the test client and read back from its log, the pointer moved onto its
// windows and read back from the positions it logged, the clipboard checked with wl-paste and
// wl-copy. Nothing is read back through the code under test.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xkbcommon/xkbcommon.h>

#include <cstdio>
#include <sstream>

#include "platform/mac_keys.h"
#include "platform/wayland/wayland.h"
#include "tests/wayland/harness.h"

namespace tarn::waylandtest {
namespace {

using platform::KeyEvent;
using platform::Point;
using platform::Rect;
namespace keyflags = platform::keyflags;
namespace wl = platform::wayland;

std::shared_ptr<wl::Connection> connectToSway() {
    auto connected = wl::connect("");
    if (!connected.connection) throw std::runtime_error(connected.error);
    return connected.connection;
}

std::unique_ptr<platform::KeyboardOutput> keyboardOn(std::shared_ptr<wl::Connection> connection) {
    std::string error;
    auto keyboard = wl::makeKeyboard(std::move(connection), error);
    if (!keyboard) throw std::runtime_error(error);
    return keyboard;
}

struct Key {
    std::uint16_t code;
    std::uint64_t flags = 0;
};

// Each key down and up, as one run.
void type(platform::KeyboardOutput& keyboard, const std::vector<Key>& keys) {
    keyboard.beginTyping();
    for (const Key& key : keys) {
        keyboard.post({key.code, true, key.flags, std::nullopt});
        keyboard.post({key.code, false, key.flags, std::nullopt});
    }
    keyboard.endTyping();
}

// The key and modifier-key lines the client logged, in order, once it has logged that many.
std::vector<std::string> keysLogged(const TestClient& client, std::size_t count) {
    auto lines = [&] {
        std::vector<std::string> keys;
        std::istringstream in(client.logText());
        for (std::string line; std::getline(in, line);)
            if (line.starts_with("key ") || line.starts_with("mod ")) keys.push_back(line);
        return keys;
    };
    eventually([&] { return lines().size() >= count; });
    return lines();
}

// --- Keys ------------------------------------------------------------------------------------

struct Typing {
    const char* name;
    std::vector<Key> keys;
    std::vector<std::string> logged;
};

constexpr std::uint64_t kShift = keyflags::shift, kControl = keyflags::control,
                        kOption = keyflags::option, kCommand = keyflags::command;

const Typing kTypings[] = {
    {"plain characters",
     {{0}, {18}, {49}, {47}, {50}},
     {"key a 0x0", "key 1 0x0", "key space 0x0", "key period 0x0", "key grave 0x0"}},
    {"shifted characters",
     {{0, kShift}, {18, kShift}, {39, kShift}, {44, kShift}},
     {"key A 0x1", "key exclam 0x1", "key quotedbl 0x1", "key question 0x1"}},
    {"chords carry exactly their modifiers, and nothing stays held after them",
     {{124, kControl | kOption}, {6, kCommand | kShift}, {0, kControl}, {11}, {126, kCommand}},
     {"key Right 0xc", "key Z 0x41", "key a 0x4", "key b 0x0", "key Up 0x40"}},
    {"keypad digits without Num Lock",
     {{82}, {92}, {76}},
     {"key KP_0 0x0", "key KP_9 0x0", "key KP_Enter 0x0"}},
};

void PrintTo(const Typing& typing, std::ostream* out) {
    *out << typing.name;
}

class KeysOnSway : public ::testing::TestWithParam<Typing> {};

TEST_P(KeysOnSway, ArriveExactlyAsPosted) {
    tarn::testing::TempDir dir;
    auto client = startClient(dir, {"--app-id", "Typist"});
    auto keyboard = keyboardOn(connectToSway());
    type(*keyboard, GetParam().keys);
    EXPECT_THAT(keysLogged(client, GetParam().logged.size()),
                ::testing::ElementsAreArray(GetParam().logged));
}

INSTANTIATE_TEST_SUITE_P(Typings, KeysOnSway, ::testing::ValuesIn(kTypings),
                         [](const auto& info) { return "typing" + std::to_string(info.index); });

TEST(KeysOnSwayKeymap, EveryKeyTheMacTableNamesTypesItsOwnSymbol) {
    tarn::testing::TempDir dir;
    auto client = startClient(dir, {"--app-id", "Typist"});
    auto keyboard = keyboardOn(connectToSway());
    std::vector<Key> keys;
    std::vector<std::string> expected;
    for (std::uint16_t code = 0; code < 128; ++code) {
        std::uint32_t symbol = platform::keySymForMacKey(code);
        if (symbol == 0) continue;
        ASSERT_TRUE(keyboard->canPost(code)) << "mac key " << code;
        keys.push_back({code});
        char name[64];
        xkb_keysym_get_name(symbol, name, sizeof name);
        bool modifier = (symbol >= XKB_KEY_Shift_L && symbol <= XKB_KEY_Hyper_R);
        expected.push_back(std::string(modifier ? "mod " : "key ") + name + " 0x0");
    }
    type(*keyboard, keys);
    EXPECT_THAT(keysLogged(client, expected.size()), ::testing::ElementsAreArray(expected));
}

TEST(KeysOnSwayPause, AKeyIsOnTheScreenBeforeTheNextIsSent) {
    tarn::testing::TempDir dir;
    auto client = startClient(dir, {"--app-id", "Typist"});
    auto keyboard = keyboardOn(connectToSway());
    keyboard->beginTyping();
    keyboard->post({0, true, 0, std::nullopt});
    keyboard->post({0, false, 0, std::nullopt});
    // What a pause looks like from the far end: the first key has arrived while the second
    // is still to come.
    EXPECT_TRUE(eventually([&] { return client.keys().size() == 1; }));
    keyboard->post({11, true, 0, std::nullopt});
    keyboard->post({11, false, 0, std::nullopt});
    keyboard->endTyping();
    EXPECT_THAT(keysLogged(client, 2), ::testing::ElementsAre("key a 0x0", "key b 0x0"));
}

TEST(KeysOnSwaySeat, TheFirstKeysOnASeatWithoutAKeyboardArrive) {
    tarn::testing::TempDir dir;
    auto client = startClient(dir, {"--app-id", "Typist"});
    ::kill(standingKeyboardPid(), SIGTERM);
    ASSERT_TRUE(eventually([] {
        return swaymsg({"-r", "-t", "get_inputs"}).out.find("\"keyboard\"") == std::string::npos;
    }));
    auto keyboard = keyboardOn(connectToSway());
    type(*keyboard, {{0}, {11}, {8}});
    EXPECT_THAT(keysLogged(client, 3),
                ::testing::ElementsAre("key a 0x0", "key b 0x0", "key c 0x0"));
}

// --- Pointer -----------------------------------------------------------------------------------

// with-sway.sh's outputs: 1920x1080 at 0,0 and 1280x1024 at 1920,0.
const Rect kLayout{0, 0, 3200, 1080};

struct Place {
    const char* output;
    int x, y;  // where the window's outer frame goes
};

class PointerOnSway : public ::testing::TestWithParam<Place> {};

TEST_P(PointerOnSway, LandsOnThePixelAsked) {
    tarn::testing::TempDir dir;
    auto client = startClient(dir, {"--app-id", "Target", "--size", "400x300"});
    swaymsg({"[app_id=Target] floating enable, resize set 400 300, move absolute position " +
             std::to_string(GetParam().x) + " " + std::to_string(GetParam().y)});
    std::optional<support::Json> node;
    ASSERT_TRUE(eventually([&] {
        node = swayWindow("Target");
        return node && (*node)["rect"]["x"] == GetParam().x;
    }));
    const Point inside{(*node)["rect"]["x"].get<double>() + 37,
                       (*node)["rect"]["y"].get<double>() + 21};

    std::string error;
    auto pointer = wl::makePointer(
        connectToSway(), [] { return kLayout; }, nullptr, error);
    ASSERT_TRUE(pointer) << error;
    // The first move may come before the client has its pointer (the seat had none): move
    // until the client reports where the pointer is.
    EXPECT_TRUE(eventually([&] {
        pointer->warp(inside);
        auto lines = client.logLines("motion");
        auto entered = client.logLines("pointer");
        lines.insert(lines.end(), entered.begin(), entered.end());
        return std::find(lines.begin(), lines.end(), "motion 1 37 21") != lines.end() ||
               std::find(lines.begin(), lines.end(), "pointer 1 37 21") != lines.end();
    })) << client.logText();
}

INSTANTIATE_TEST_SUITE_P(Outputs, PointerOnSway,
                         ::testing::Values(Place{"HEADLESS-1", 200, 200},
                                           Place{"HEADLESS-2", 2400, 500}),
                         [](const auto& info) { return std::string(info.param.output).substr(9); });

// --- Clipboard ---------------------------------------------------------------------------------

std::unique_ptr<platform::Clipboard> clipboardOn(std::shared_ptr<wl::Connection> connection,
                                                 bool outlivesProcess) {
    std::string error;
    auto clipboard = wl::makeClipboard(std::move(connection), outlivesProcess, error);
    if (!clipboard) throw std::runtime_error(error);
    return clipboard;
}

struct Text {
    const char* name;
    std::string text;
};
void PrintTo(const Text& text, std::ostream* out) {
    *out << text.name;
}

const Text kTexts[] = {{"ascii", "plain words"},
                       {"unicode", "héllo € 😀\nsecond line\n"},
                       {"large", std::string(300000, 'x')}};

class ClipboardOnSway : public ::testing::TestWithParam<Text> {
  protected:
    const std::string& text() const { return GetParam().text; }
};

TEST_P(ClipboardOnSway, ReadsWhatAnotherProgramCopied) {
    copyText(text());
    EXPECT_EQ(clipboardOn(connectToSway(), true)->readText(), text());
}

TEST_P(ClipboardOnSway, TextWrittenStaysServedAfterTheWritingProcessExits) {
    pid_t writer = ::fork();
    if (writer == 0) {
        clipboardOn(connectToSway(), true)->writeText(text());
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(writer, &status, 0), writer);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(pastedText(), text());
    EXPECT_EQ(clipboardOn(connectToSway(), true)->readText(), text());
}

TEST_P(ClipboardOnSway, TheAgentServesItsTextItselfUntilAnotherProgramCopies) {
    auto clipboard = clipboardOn(connectToSway(), false);
    clipboard->writeText(text());
    EXPECT_EQ(pastedText(), text());
    EXPECT_EQ(clipboard->readText(), text());
    copyText("taken");
    EXPECT_EQ(clipboard->readText(), "taken");
    clipboard->writeText(text());
    EXPECT_EQ(pastedText(), text());
}

INSTANTIATE_TEST_SUITE_P(Texts, ClipboardOnSway, ::testing::ValuesIn(kTexts),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ClipboardOnSwayWithoutText, ReadsNothingWhenTheClipboardHoldsNoText) {
    auto clipboard = clipboardOn(connectToSway(), true);
    EXPECT_EQ(clipboard->readText(), std::nullopt);  // nothing copied yet
    run({"wl-copy", "--type", "image/png"}, "\x89PNG\r\n\x1a\n");
    ASSERT_TRUE(eventually([] { return run({"wl-paste", "--list-types"}).out == "image/png\n"; }));
    EXPECT_EQ(clipboard->readText(), std::nullopt);
}

}  // namespace
}  // namespace tarn::waylandtest
