// The X11 backend through the platform interfaces, on the private two-monitor server of
// with-x11.sh (LEFT 1920x1080 at 0,0, primary; RIGHT 1920x1080 at 1920,0; openbox), each
// result checked with an X tool rather than with the backend itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "tests/x11/harness.h"

namespace tarn::x11test {
namespace {

using platform::KeyEvent;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;

class X11Test : public ::testing::Test {
  protected:
    platform::Desktop& desktop() {
        if (!desktop_) {
            auto choice = openDesktopOn(display());
            if (!choice.desktop) throw std::runtime_error(choice.error);
            desktop_ = std::move(choice.desktop);
        }
        return *desktop_;
    }
    platform::WindowSystem& windows() { return desktop().windowSystem(); }

    tarn::testing::TempDir dir_;
    std::unique_ptr<platform::Desktop> desktop_;
};

// Each layout is set with xrandr on top of the one before; a new operation reads it again.
TEST_F(X11Test, DisplaysAreTheMonitorsPrimaryFirst) {
    struct Layout {
        const char* name;
        std::vector<std::vector<std::string>> xrandr;
        std::vector<Rect> bounds;
    };
    const Layout layouts[] = {
        {"the fixture's", {}, {{0, 0, 1920, 1080}, {1920, 0, 1920, 1080}}},
        {"right one unplugged", {{"xrandr", "--delmonitor", "RIGHT"}}, {{0, 0, 1920, 1080}}},
        {"uneven, primary on the right",
         {{"xrandr", "--delmonitor", "LEFT"},
          {"xrandr", "--setmonitor", "SMALL", "1280/338x720/190+0+360", "none"},
          {"xrandr", "--setmonitor", "*BIG", "2560/677x1080/286+1280+0", "screen"}},
         {{1280, 0, 2560, 1080}, {0, 360, 1280, 720}}},
    };
    std::vector<platform::DisplayId> before;
    for (const Layout& layout : layouts) {
        SCOPED_TRACE(layout.name);
        for (const auto& args : layout.xrandr) ASSERT_EQ(run(args).status, 0);
        desktop().forgetRemembered();
        auto& displays = desktop().displays();
        auto ids = displays.activeDisplays();
        ASSERT_EQ(ids.size(), layout.bounds.size());
        EXPECT_EQ(displays.mainDisplay(), ids[0]);
        for (std::size_t i = 0; i < ids.size(); ++i)
            EXPECT_EQ(displays.bounds(ids[i]), layout.bounds[i]);
        for (auto id : before) {
            if (std::find(ids.begin(), ids.end(), id) == ids.end()) {
                EXPECT_EQ(displays.bounds(id), Rect{});  // a monitor that is gone has no bounds
            }
        }
        before = ids;
    }
}

TEST_F(X11Test, FrontmostAndRunningApplicationsWithTheirWindows) {
    EXPECT_EQ(windows().frontmostApplication(), std::nullopt);
    EXPECT_TRUE(windows().runningApplications().empty());

    auto alpha = startApp(dir_, {"--class", "Alpha", "--windows", "3"});
    auto beta = startApp(dir_, {"--class", "Beta", "--geometry", "500x400+2200+300"});
    auto front = windows().frontmostApplication();
    ASSERT_TRUE(front);
    EXPECT_EQ(front->pid, beta.pid());  // names and order: the application events' tests
    auto focused = windows().focusedWindow(beta.pid());
    EXPECT_EQ(focused.error, platform::ax::success);
    EXPECT_EQ(focused.window, activeWindow());
    EXPECT_EQ(focused.window, beta.window());
    EXPECT_EQ(windows().focusedWindow(alpha.pid()).window, std::nullopt);

    // The program asked for its position: the frame's corner is there, the client inside it.
    auto oracle = outerFrame(beta.window());
    ASSERT_TRUE(oracle);
    EXPECT_EQ(windows().position(beta.window()), (platform::Point{2200, 300}));
    EXPECT_EQ(oracle->origin(), (platform::Point{2200, 300}));
    EXPECT_EQ(windows().size(beta.window()), oracle->size());
    EXPECT_GT(oracle->height, 400);  // the title bar counts

    EXPECT_EQ(windows().runningApplications().size(), 2u);  // Alpha's three windows are one
    EXPECT_THAT(windows().windows(alpha.pid()), ElementsAreArray(alpha.windows));
    EXPECT_THAT(windows().windows(beta.pid()), ElementsAre(beta.window()));
    EXPECT_EQ(windows().windowListError(alpha.pid()), platform::ax::success);

    // A client that sets no _NET_WM_PID is found through its connection; its class, in
    // Latin-1 as WM_CLASS is, reads as UTF-8.
    auto anonymous = startApp(dir_, {"--class", "An\xF3nimo"});
    run({"xprop", "-id", std::to_string(anonymous.window()), "-remove", "_NET_WM_PID"});
    ASSERT_THAT(xprop(anonymous.window(), "_NET_WM_PID"), HasSubstr("not found"));
    front = windows().frontmostApplication();
    ASSERT_TRUE(front);
    EXPECT_EQ(front->pid, anonymous.pid());
    EXPECT_EQ(front->bundleID, "An\u00F3nimo");
}

// The outer frame lands where it was asked to, within a pixel, on either monitor; a
// maximised window is unmaximised first; the client's minimum size holds.
TEST_F(X11Test, OuterFrameIsPlacedExactly) {
    auto app = startApp(dir_, {"--geometry", "640x480+100+100", "--min", "400x300"});
    struct Placement {
        Rect asked;
        bool maximisedFirst = false;
        std::optional<Rect> lands = std::nullopt;
    };
    const Placement placements[] = {
        {{0, 25, 960, 1055}},           // left half of the left monitor below the menu bar
        {{960, 25, 960, 1055}},         // its right half
        {{0, 25, 1920, 1055}},          // its full width
        {{417, 233, 801, 603}},         // odd numbers, centred
        {{1920, 25, 960, 1055}, true},  // left half of the right monitor, from maximised
        {{2880, 25, 960, 1055}},        // its right half
        {{2000, 400, 1000, 500}},       // a small window inside it
        {{1500, 100, 800, 600}},        // straddling both monitors
        {{-200, 50, 700, 500}},         // partly off the left edge: not clamped
        // Below the minimum: the corner stays, the client is 400x300 inside openbox's frame
        // (1 pixel either side, 20 above, 5 below).
        {{100, 100, 200, 150}, false, Rect{100, 100, 402, 325}},
    };
    const std::string id = std::to_string(app.window());
    for (const Placement& p : placements) {
        SCOPED_TRACE(describe(p.asked));
        if (p.maximisedFirst) {
            run({"wmctrl", "-i", "-r", id, "-b", "add,maximized_vert,maximized_horz"});
            ASSERT_TRUE(eventually([&] {
                return xprop(app.window(), "_NET_WM_STATE").find("MAXIMIZED_HORZ") !=
                       std::string::npos;
            }));
        }
        desktop().forgetRemembered();  // each placement is an operation of its own
        windows().setFrame(app.window(), p.asked);
        const Rect expected = p.lands.value_or(p.asked);
        EXPECT_TRUE(settlesAt(app.window(), expected));
        EXPECT_THAT(xprop(app.window(), "_NET_WM_STATE"), ::testing::Not(HasSubstr("MAXIMIZED")));
        auto position = windows().position(app.window());
        auto size = windows().size(app.window());
        ASSERT_TRUE(position && size);
        EXPECT_TRUE(near(Rect{position->x, position->y, size->width, size->height}, expected));
    }
}

// One key as the keys language types it: down, 1 ms, up, 10 ms.
void type(platform::Desktop& desktop, std::uint16_t code, std::uint64_t flags = 0) {
    for (bool down : {true, false}) {
        desktop.keyboard().post(
            KeyEvent{.keyCode = code, .down = down, .flags = flags, .marker = {}});
        desktop.sleeper().sleepMicroseconds(down ? 1000 : 10000);
    }
}

// macOS virtual key codes (ANSI) the tests type.
namespace mac {
constexpr std::uint16_t a = 0, b = 11, e = 14, f5 = 96, f13 = 105, isoSection = 10;
}  // namespace mac

// The user's held modifiers used to be pressed again after every key, and one the user let
// go of meanwhile stayed held by the XTEST device.
TEST_F(X11Test, HeldModifiersAreLiftedOnceForARunAndOnlyThoseStillHeldComeBack) {
    auto app = startApp(dir_, {});
    const int control = keyCodeOf("Control_L");
    holdOnUsersKeyboard("Control_L", true);
    holdOnUsersKeyboard("Alt_L", true);
    ASSERT_TRUE(eventually([&] { return keysDown().size() == 2; }));

    auto& keyboard = desktop().keyboard();
    keyboard.beginTyping();
    type(desktop(), mac::a);
    keyboard.post(KeyEvent{
        .keyCode = mac::b, .down = true, .flags = platform::keyflags::shift, .marker = {}});
    holdOnUsersKeyboard("Alt_L", false);
    keyboard.post(KeyEvent{
        .keyCode = mac::b, .down = false, .flags = platform::keyflags::shift, .marker = {}});
    type(desktop(), mac::e);
    keyboard.endTyping();

    EXPECT_TRUE(eventually([&] { return app.keys().size() >= 3; }));
    EXPECT_THAT(app.keys(), ElementsAre("key a 0x0", "key B 0x1", "key e 0x0"));
    // Control comes back once, after the run; Alt, let go of meanwhile, stays up.
    ASSERT_TRUE(eventually([&] { return keysDown() == std::vector<int>{control}; }));
    // The server's key state settles before the client has logged the last press.
    eventually([&] { return app.logLines("mod").size() >= 4; });
    EXPECT_THAT(app.logLines("mod"), ElementsAre("mod Control_L 0x0", "mod Alt_L 0x4",
                                                 "mod Shift_L 0x0", "mod Control_L 0x0"));
    holdOnUsersKeyboard("Control_L", false);
}

// An open desktop follows the keymap: a key it loses can no longer be posted, and posting it
// anyway types nothing.
TEST_F(X11Test, KeysTheKeymapLacksCannotBePosted) {
    auto app = startApp(dir_, {});
    auto& keyboard = desktop().keyboard();
    EXPECT_TRUE(keyboard.canPost(mac::a));
    EXPECT_TRUE(keyboard.canPost(mac::f5));
    EXPECT_FALSE(keyboard.canPost(mac::f13));         // this server's keymap has no F13
    EXPECT_FALSE(keyboard.canPost(mac::isoSection));  // not a key of the ANSI layout
    ASSERT_EQ(run({"xmodmap", "-e", "keycode " + std::to_string(keyCodeOf("F5")) + " ="}).status,
              0);
    EXPECT_TRUE(eventually([&] { return !keyboard.canPost(mac::f5); }));

    type(desktop(), mac::f5);
    type(desktop(), mac::b);
    EXPECT_TRUE(eventually([&] { return !app.keys().empty(); }));
    EXPECT_THAT(app.keys(), ElementsAre("key b 0x0"));
    EXPECT_THAT(keysDown(), ElementsAre());
}

// Reading from other owners: none, one that offers only Latin-1 STRING, one that never
// answers; a large text goes through in pieces.
TEST_F(X11Test, ClipboardReadsWhatOthersOfferAndLargeTextsInPieces) {
    EXPECT_EQ(desktop().clipboard().readText(), std::nullopt);

    auto latin1 = startApp(dir_, {"--serve-string", "caf\xe9 cr\xe8me"}, Until::managed);
    ASSERT_TRUE(eventually([&] { return latin1.logged("clipboard held"); }));
    EXPECT_EQ(desktop().clipboard().readText(), "caf\u00e9 cr\u00e8me");

    auto silent = startApp(dir_, {"--hold-clipboard"}, Until::managed);
    ASSERT_TRUE(eventually([&] { return silent.logged("clipboard held"); }));
    EXPECT_EQ(desktop().clipboard().readText(), std::nullopt);
    std::string text;
    for (int line = 0; text.size() < 1'000'000; ++line)
        text += "line " + std::to_string(line) + " \u00e4\u00f6\u00fc\n";
    desktop().clipboard().writeText(text);
    EXPECT_EQ(desktop().clipboard().readText(), text);
    EXPECT_EQ(clipboardText(), text);
}

// The agent's desktop forks nothing: a thread of the process serves the text while the
// desktop is open, until someone else takes the selection.
TEST_F(X11Test, AgentDesktopServesTheClipboardFromAThreadOfItsOwn) {
    auto choice = openDesktopOn(display(), {.clipboardOutlivesProcess = false});
    ASSERT_TRUE(choice.desktop) << choice.error;
    // ctest runs each test in a process of its own named by the test: a fork of this one
    // would carry the name.
    const std::string self = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    const int processes = processesWith(self);
    const std::string text = "served in-process \u2713";
    choice.desktop->clipboard().writeText(text);
    EXPECT_EQ(clipboardText(), text);
    EXPECT_EQ(choice.desktop->clipboard().readText(), text);
    EXPECT_EQ(processesWith(self), processes);  // no owner process was started

    putOnClipboard("someone else's");
    EXPECT_TRUE(eventually([&] { return clipboardText() == "someone else's"; }));
    choice.desktop->clipboard().writeText(text);
    EXPECT_EQ(clipboardText(), text);
    choice.desktop.reset();
    EXPECT_EQ(clipboardText(), std::nullopt);  // nobody serves it once the process lets go
}

TEST_F(X11Test, WindowClosedBetweenStepsGivesAbsentAnswers) {
    auto app = startApp(dir_, {"--class", "Brief"});
    const auto window = app.window();
    ASSERT_TRUE(windows().position(window));
    app.process.kill();
    ASSERT_TRUE(eventually([&] { return !outerFrame(window); }));
    desktop().forgetRemembered();

    EXPECT_EQ(windows().position(window), std::nullopt);
    EXPECT_EQ(windows().size(window), std::nullopt);
    EXPECT_EQ(windows().isMinimized(window), std::nullopt);
    windows().setFrame(window, {10, 10, 300, 300});
    windows().setMinimized(window, true);
    EXPECT_TRUE(windows().windows(app.pid()).empty());
    EXPECT_EQ(windows().focusedWindow(app.pid()).window, std::nullopt);
    EXPECT_EQ(desktop().displays().activeDisplays().size(), 2u);  // still a working desktop
}

TEST_F(X11Test, WithoutAWindowManagerWindowsMoveDirectlyAndWithoutAServerTheDesktopIsLost) {
    ASSERT_EQ(::kill(windowManagerPid(), SIGTERM), 0);
    ASSERT_TRUE(eventually([&] {
        auto check = run({"xprop", "-root", "_NET_SUPPORTING_WM_CHECK"}).out;
        auto at = check.find("window id # ");
        return at == std::string::npos ||
               !outerFrame(std::stoul(check.substr(at + 12), nullptr, 16));
    }));

    auto app = startApp(dir_, {"--geometry", "640x480+100+100"}, Until::mapped);
    EXPECT_EQ(windows().frontmostApplication(), std::nullopt);
    EXPECT_TRUE(windows().runningApplications().empty());
    EXPECT_EQ(windows().isMinimized(app.window()), false);

    const Rect frame{1920, 0, 800, 600};
    windows().setFrame(app.window(), frame);
    EXPECT_TRUE(settlesAt(app.window(), frame));

    // Then the server goes too, midway: a lost desktop.
    auto& displays = desktop().displays();
    ASSERT_EQ(displays.activeDisplays().size(), 2u);
    ASSERT_EQ(::kill(serverPid(), SIGTERM), 0);

    EXPECT_TRUE(eventually([&] {
        try {
            desktop().forgetRemembered();
            displays.activeDisplays();
            return false;
        } catch (const platform::DesktopError& error) {
            return std::string(error.what()).find("lost the connection to the X server") !=
                   std::string::npos;
        }
    }));
    EXPECT_THROW(windows().frontmostApplication(), platform::DesktopError);
}

}  // namespace
}  // namespace tarn::x11test
