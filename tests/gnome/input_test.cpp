// `tarn keys` and `tarn move-mouse` on the private GNOME Shell of with-gnome.sh: keys arrive
// through Mutter's RemoteDesktop session and are read from the test client's log; the
// pointer and the clipboard are read by the test probe extension.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/gnome/harness.h"

namespace tarn::gnometest {
namespace {

using ::testing::ElementsAre;

std::vector<std::string> received(const TestApp& app, std::size_t count) {
    eventually([&] { return app.keys().size() >= count; });
    return app.keys();
}

// State bits as the client reports them: Shift 0x1, Control 0x4, Alt 0x8, Super 0x40.
TEST(InputOnGnome, KeysTypesTextSymbolsEnterAndChordsExactly) {
    tarn::testing::TempDir home;
    auto app = startApp(home, "Typist");
    auto result = runTarn({"keys", "Hi, Bo! A+b?{enter}{ctrl+alt+t}{cmd+shift+z}"}, home);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(
        received(app, 15),
        ElementsAre("key H 0x1", "key i 0x0", "key comma 0x0", "key space 0x0", "key B 0x1",
                    "key o 0x0", "key exclam 0x1", "key space 0x0", "key A 0x1", "key plus 0x1",
                    "key b 0x0", "key question 0x1", "key Return 0x0", "key t 0xc", "key Z 0x41"));
}

// {grab} reads what another program put on the clipboard, {paste} types it, {put} leaves the
// buffer on the clipboard after tarn has gone (the shell serves it).
TEST(InputOnGnome, GrabPasteAndPutGoThroughTheClipboard) {
    tarn::testing::TempDir home;
    auto app = startApp(home, "Paster");
    probe("SetClipboard", {"Got 42!"});
    auto result = runTarn({"keys", "{grab}{paste}{insert after  ok}{put}"}, home);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(received(app, 7),
                ElementsAre("key G 0x1", "key o 0x0", "key t 0x0", "key space 0x0", "key 4 0x0",
                            "key 2 0x0", "key exclam 0x1"));
    EXPECT_TRUE(eventually([] { return clipboard() == "Got 42! ok"; })) << clipboard();
}

struct PointerCase {
    std::vector<std::string> words;
    platform::Point expected;
};

// The window at 100,100 800x605: home is 10 right and down of a corner, center the middle
// (402.5 rounds to 403).
const PointerCase kPointerCases[] = {
    {{"screen", "1", "center"}, {2560, 512}},
    {{"screen", "0", "home"}, {10, 10}},
    {{"app", "home"}, {110, 110}},
    {{}, {500, 403}},
};

TEST(InputOnGnome, MoveMouseToScreensAndTheFocusedWindow) {
    tarn::testing::TempDir home;
    auto app = startApp(home, "Pointed");
    probe("Place", {"Pointed", "100", "100", "800", "605"});
    ASSERT_TRUE(settlesAt("Pointed", {100, 100, 800, 605}));
    for (const auto& c : kPointerCases) {
        std::vector<std::string> args{"move-mouse"};
        args.insert(args.end(), c.words.begin(), c.words.end());
        SCOPED_TRACE(::testing::PrintToString(args));
        auto result = runTarn(args, home);
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_TRUE(eventually([&] { return pointer() == c.expected; })) << probe("Pointer");
    }
}

}  // namespace
}  // namespace tarn::gnometest
