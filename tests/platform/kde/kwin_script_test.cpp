// The KWin script text for each scripting API, and the version that picks the API. The
// Plasma 5 text runs in the KDE tier's KWin 5.27; nothing here runs KWin 6, so this is what
// checks that its text names only Plasma 6 calls.
#include <gtest/gtest.h>

#include "platform/kde/kwin_script.h"
#include "platform/kde/shortcut_keys.h"

namespace tarn::platform::kde {
namespace {

TEST(KWinVersion, IsReadFromTheSupportInformation) {
    struct Case {
        const char* text;
        std::optional<KWinVersion> version;
    };
    const Case cases[] = {
        {"Version\n=======\nKWin version: 5.27.5\nQt Version: 5.15.8\n", KWinVersion{5, 27}},
        {"KWin version: 6.1.90\n", KWinVersion{6, 1}},
        {"KWin version: 6\n", std::nullopt},
        {"Qt Version: 5.15.8\n", std::nullopt},
    };
    for (const Case& c : cases) EXPECT_EQ(parseKWinVersion(c.text), c.version) << c.text;
    EXPECT_EQ(scriptApiFor({5, 27}), ScriptApi::plasma5);
    EXPECT_EQ(scriptApiFor({6, 0}), ScriptApi::plasma6);
}

TEST(WindowScript, NamesTheCallsOfItsApiOnly) {
    struct Case {
        ScriptApi api;
        std::vector<std::string> named;
        std::vector<std::string> notNamed;
    };
    const Case cases[] = {
        {ScriptApi::plasma5,
         {"workspace.clientList()", "workspace.activeClient = w", "workspace.numScreens",
          "KWin.MaximizeArea, i, workspace.currentDesktop"},
         {"windowList", "activeWindow", "workspace.screens"}},
        {ScriptApi::plasma6,
         {"workspace.windowList()", "workspace.activeWindow = w", "workspace.screens",
          "screens[i].geometry", "KWin.MaximizeArea, screens[i], workspace.currentDesktop"},
         {"clientList", "activeClient", "numScreens"}},
    };
    const CallBack callBack{":1.42", "/org/tarn/KWin", "org.tarn.KWin"};
    for (const Case& c : cases) {
        const std::string text = windowScript(c.api, callBack);
        for (const auto& name : c.named) EXPECT_NE(text.find(name), std::string::npos) << name;
        for (const auto& name : c.notNamed) EXPECT_EQ(text.find(name), std::string::npos) << name;
        EXPECT_EQ(text.find('@'), std::string::npos) << "a placeholder is left";
        EXPECT_NE(
            text.find(R"({"bus":":1.42","path":"\/org\/tarn\/KWin","iface":"org.tarn.KWin"})"),
            std::string::npos);
    }
}

// A chord as KWin registers it (key sequence text) and as kglobalaccel files it (Qt's key
// number with modifier bits), which is how a shortcut KWin already holds is found.
TEST(ShortcutKeys, ChordsAreNamedAsKeySequencesAndNumberedAsQtKeys) {
    struct Case {
        Chord chord;
        std::optional<ShortcutKey> key;
    };
    const Case cases[] = {
        {{124, 6}, ShortcutKey{"Ctrl+Alt+Right", 0x0C000014 | 0x01000000}},
        {{53, 10}, ShortcutKey{"Meta+Ctrl+Esc", 0x15000000}},  // KWin's Kill Window
        {{0, 9}, ShortcutKey{"Meta+Shift+A", 0x12000041}},
        {{49, 8}, ShortcutKey{"Meta+Space", 0x10000020}},
        {{27, 2}, ShortcutKey{"Ctrl+-", 0x0400002d}},
        {{111, 0}, ShortcutKey{"F12", 0x0100003b}},
        {{82, 2}, std::nullopt},  // the keypad's 0 has no name of its own in a sequence
        {{-1, 2}, std::nullopt},
    };
    for (const Case& c : cases)
        EXPECT_EQ(shortcutKeyFor(c.chord), c.key) << c.chord.keyCode << " " << c.chord.modifiers;
}

}  // namespace
}  // namespace tarn::platform::kde
