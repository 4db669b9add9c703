// Keys and the pointer through KWin's fake input, as `tarn keys` and `tarn move-mouse` make
// them: what the application received (its own log) and where KWin put the pointer (the
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

// The pressed keys an application saw, as "unicode modifiers" (the key's character code
// and the xkb modifier mask: 0x1 Shift, 0x4 Control, 0x8 Alt, 0x40 Super); modifier keys
// themselves left out.
std::vector<std::string> pressed(const TestApp& app) {
    std::vector<std::string> keys;
    for (const std::string& key : app.keys()) {
        if (!key.starts_with("pressed ")) continue;
        auto code = std::stoul(key.substr(8, key.find(' ', 8) - 8));
        if (code >= 0xffe1 && code <= 0xffee) continue;  // Shift_L .. Hyper_R
        keys.push_back(key.substr(8));
    }
    return keys;
}

std::string keyOf(char c, const char* modifiers) {
    return std::to_string(static_cast<unsigned char>(c)) + " " + modifiers;
}

struct Typed {
    const char* keys;
    std::vector<std::string> seen;
};

TEST(KeysOnKWin, EveryKeyAndChordArrivesWithExactlyItsModifiers) {
    TempDir home;
    auto app = startApp(home);
    // Every character of a US keyboard, unshifted and shifted, then chords that carry
    // exactly their own modifiers (and none of the Shift that the capital before them held).
    const std::string text = "azAZ09`-=[]\\;',./~!@#$%^&*()_+{}|:\"<>? ";
    std::string typed;
    std::vector<std::string> seen;
    for (char c : text) {
        if (c == '{') typed += "{leftbrace}";
        else if (c == '}') typed += "{rightbrace}";
        else typed += c;
        const bool shifted = std::string("AZ~!@#$%^&*()_+{}|:\"<>?").find(c) != std::string::npos;
        seen.push_back(keyOf(c, shifted ? "0x1" : "0x0"));
    }
    typed += "X{ctrl+a}{option+b}{cmd+shift+c}{enter}";
    for (auto key : {keyOf('X', "0x1"), keyOf('a', "0x4"), keyOf('b', "0x8"),
                     keyOf('C', "0x41"), std::string("65293 0x0")})
        seen.push_back(key);

    auto result = runTarn({"keys", typed}, home.path(), std::nullopt, desktopEnvironment());
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(eventually([&] { return pressed(app).size() >= seen.size(); }));
    EXPECT_THAT(pressed(app), ElementsAreArray(seen));
    // Every key that went down came up.
    EXPECT_TRUE(eventually([&] {
        auto keys = app.keys();
        return std::count_if(keys.begin(), keys.end(),
                             [](auto& k) { return k.starts_with("pressed"); }) ==
               std::count_if(keys.begin(), keys.end(),
                             [](auto& k) { return k.starts_with("released"); });
    }));
}

TEST(MoveMouseOnKWin, ThePointerLandsWhereAsked) {
    TempDir home;
    auto app = startApp(home);
    auto window = kwinWindowOf(app.pid());
    ASSERT_TRUE(window);
    kwinPlace(window->uuid, {100, 100, 800, 605});
    ASSERT_TRUE(settlesAt(app.pid(), {100, 100, 800, 605}));
    // Screen 1 is the right-hand output, whose centre is in KWin's second output.
    for (auto [screen, centre] : {std::pair{"1", platform::Point{2880, 540}},
                                  std::pair{"0", platform::Point{960, 540}}}) {
        auto result = runTarn({"move-mouse", "screen", screen, "center"}, home.path(),
                              std::nullopt, desktopEnvironment());
        ASSERT_EQ(result.status, 0) << result.err;
            EXPECT_TRUE(eventually([&] { return kwinCursor() == centre; })) << "screen " << screen;
    }
    auto result = runTarn({"move-mouse", "app", "home"}, home.path(), std::nullopt,
                          desktopEnvironment());
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(eventually([&] { return kwinCursor() == platform::Point{110, 110}; }));
}

}  // namespace
}  // namespace tarn::kdetest
