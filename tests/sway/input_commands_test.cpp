// `tarn keys` and `tarn move-mouse` as a user runs them on the private sway. What arrived is
// read from the test client's log (keys with the X11 state bits: Shift 0x1, Control 0x4,
// Alt 0x8, Super 0x40; pointer positions inside its window), the clipboard with wl-paste.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <sstream>

#include "tests/common/command_runner.h"
#include "tests/sway/harness.h"

namespace tarn::swaytest {
namespace {

using tarn::testing::CommandResult;
using tarn::testing::runTarn;
using ::testing::ElementsAre;

class InputCommandsOnSway : public ::testing::Test {
  protected:
    CommandResult tarn(const std::vector<std::string>& args) {
        return runTarn(args, home_.path(), std::nullopt, swayEnvironment());
    }
    static std::vector<std::string> received(const TestClient& client, std::size_t count) {
        eventually([&] { return client.keys().size() >= count; });
        return client.keys();
    }

    TempDir home_;
};

TEST_F(InputCommandsOnSway, KeysTypesTextSymbolsEnterChordsAndPausesExactly) {
    auto client = startClient(home_, "Typing", "640x480");
    auto result = tarn({"keys", "Hi, Bo! A+b?{enter}{ctrl+alt+t}{pause 150}{cmd+shift+z}"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(
        received(client, 15),
        ElementsAre("key H 0x1", "key i 0x0", "key comma 0x0", "key space 0x0", "key B 0x1",
                    "key o 0x0", "key exclam 0x1", "key space 0x0", "key A 0x1", "key plus 0x1",
                    "key b 0x0", "key question 0x1", "key Return 0x0", "key t 0xc", "key Z 0x41"));
}

// {grab} reads what another client put, {paste} types it (a line feed as Enter), {put}
// leaves the buffer served after tarn has exited.
TEST_F(InputCommandsOnSway, GrabPasteAndPutGoThroughTheClipboard) {
    auto client = startClient(home_, "Pasting", "640x480");
    ASSERT_EQ(run({"wl-copy", "Got 42\n!"}).status, 0);
    ASSERT_TRUE(eventually([] { return run({"wl-paste", "-n"}).out == "Got 42\n!"; }));
    const std::string tag = "tag-" + std::to_string(::getpid());

    auto result = tarn({"keys", "{grab}{paste}{insert after  \u2713 " + tag + "}{put}"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(received(client, 8),
                ElementsAre("key G 0x1", "key o 0x0", "key t 0x0", "key space 0x0", "key 4 0x0",
                            "key 2 0x0", "key Return 0x0", "key exclam 0x1"));
    EXPECT_EQ(run({"wl-paste", "-n"}).out, "Got 42\n! \u2713 " + tag);
}

// The centre of the second output, which a window covers: the pointer arrives where that
// point lies inside the window (which draws its own decorations: its surface is its frame).
TEST_F(InputCommandsOnSway, MoveMouseToTheCentreOfAScreen) {
    auto client = startClient(home_, "Pointing", "640x480");
    placeFloating(client, {2300, 300, 600, 400});
    // Where the pointer last entered or moved inside the window.
    auto lastPosition = [&] {
        std::string last;
        std::istringstream log(client.logText());
        for (std::string line; std::getline(log, line);) {
            if (line.starts_with("pointer ") || line.starts_with("motion ")) {
                last = line.substr(line.find(' ') + 1);
            }
        }
        return last;
    };
    // 1920 + 1280 / 2 = 2560, 1024 / 2 = 512, less the surface's corner 2300,300 (the window
    // draws its own decorations). This seat has no mouse: each tarn brings a pointer and
    // takes it away, and the client may ask for its wl_pointer only after the first has gone.
    EXPECT_TRUE(eventually([&] {
        auto result = tarn({"move-mouse", "screen", "1", "center"});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out, "");
        return eventually([&] { return lastPosition() == "1 260 212"; }, 200ms);
    })) << client.logText();
}

}  // namespace
}  // namespace tarn::swaytest
