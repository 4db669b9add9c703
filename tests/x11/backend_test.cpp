// The X11 backend through the platform interfaces, on the private two-monitor server of
// with-x11.sh (LEFT 1920x1080 at 0,0, primary; RIGHT 1920x1080 at 1920,0; openbox), each
// result checked with an X tool rather than with the backend itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "platform/desktop.h"
#include "platform/x11/x11_desktop.h"
#include "tests/common/temp_dir.h"
#include "tests/x11/harness.h"

namespace tarn::x11test {
namespace {

using platform::KeyEvent;
using platform::Rect;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
namespace keyflags = platform::keyflags;

std::unique_ptr<platform::Desktop> openDesktop() {
    auto choice = platform::x11::openX11Desktop(display(), nullptr, nullptr);
    if (!choice.desktop) throw std::runtime_error(choice.error);
    return std::move(choice.desktop);
}

class X11Test : public ::testing::Test {
  protected:
    platform::Desktop& desktop() {
        if (!desktop_) desktop_ = openDesktop();
        return *desktop_;
    }
    platform::WindowSystem& windows() { return desktop().windowSystem(); }

    tarn::testing::TempDir dir_;
    std::unique_ptr<platform::Desktop> desktop_;
};

// --- Displays -----------------------------------------------------------------------------

using Displays = X11Test;

TEST_F(Displays, TwoMonitorsPrimaryFirst) {
    auto& displays = desktop().displays();
    auto ids = displays.activeDisplays();
    ASSERT_EQ(ids.size(), 2u);
    EXPECT_EQ(displays.mainDisplay(), ids[0]);
    EXPECT_EQ(displays.bounds(ids[0]), rect(0, 0, 1920, 1080));
    EXPECT_EQ(displays.bounds(ids[1]), rect(1920, 0, 1920, 1080));

    auto oracle = monitors();
    ASSERT_EQ(oracle.size(), 2u);
    EXPECT_TRUE(oracle[0].primary);
    EXPECT_EQ(oracle[0].bounds, displays.bounds(ids[0]));
}

TEST_F(Displays, PrimaryOnTheRightOfAnUnevenLayoutComesFirst) {
    ASSERT_EQ(run({"xrandr", "--delmonitor", "LEFT"}).status, 0);
    ASSERT_EQ(run({"xrandr", "--delmonitor", "RIGHT"}).status, 0);
    ASSERT_EQ(run({"xrandr", "--setmonitor", "SMALL", "1280/338x720/190+0+360", "none"}).status, 0);
    ASSERT_EQ(run({"xrandr", "--setmonitor", "*BIG", "2560/677x1080/286+1280+0", "screen"}).status,
              0);

    auto& displays = desktop().displays();
    auto ids = displays.activeDisplays();
    ASSERT_EQ(ids.size(), 2u);
    EXPECT_EQ(displays.mainDisplay(), ids[0]);
    EXPECT_EQ(displays.bounds(ids[0]), rect(1280, 0, 2560, 1080));
    EXPECT_EQ(displays.bounds(ids[1]), rect(0, 360, 1280, 720));
}

TEST_F(Displays, UnpluggedMonitorDisappears) {
    auto& displays = desktop().displays();
    auto before = displays.activeDisplays();
    ASSERT_EQ(before.size(), 2u);
    ASSERT_EQ(run({"xrandr", "--delmonitor", "RIGHT"}).status, 0);
    desktop().forgetRemembered();  // a new operation reads the monitors again

    EXPECT_THAT(displays.activeDisplays(), ElementsAre(before[0]));
    EXPECT_EQ(displays.bounds(before[1]), Rect{});  // an unknown display has no bounds
}

// --- Frontmost application and its windows --------------------------------------------------

using Frontmost = X11Test;

TEST_F(Frontmost, NothingBeforeAnyWindow) {
    EXPECT_EQ(windows().frontmostApplication(), std::nullopt);
    EXPECT_TRUE(windows().runningApplications().empty());
}

TEST_F(Frontmost, ClassPidAndOuterFrameOfTheFocusedClient) {
    auto alpha = startApp(dir_, {"--class", "Alpha", "--geometry", "640x480+100+100"});
    auto beta = startApp(dir_, {"--class", "Beta", "--geometry", "500x400+2200+300"});

    auto front = windows().frontmostApplication();
    ASSERT_TRUE(front);
    EXPECT_EQ(front->pid, beta.pid());
    EXPECT_EQ(front->bundleID, "Beta");
    EXPECT_EQ(front->localizedName, "Beta");

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
}

TEST_F(Frontmost, RunningApplicationsInClientListOrderWithTheirWindows) {
    auto alpha = startApp(dir_, {"--class", "Alpha", "--windows", "3"});
    auto beta = startApp(dir_, {"--class", "Beta"});

    auto apps = windows().runningApplications();
    ASSERT_EQ(apps.size(), 2u);
    EXPECT_EQ(apps[0].pid, alpha.pid());
    EXPECT_EQ(apps[0].bundleID, "Alpha");
    EXPECT_EQ(apps[1].pid, beta.pid());
    EXPECT_THAT(windows().windows(alpha.pid()), ElementsAreArray(alpha.windows));
    EXPECT_THAT(windows().windows(beta.pid()), ElementsAre(beta.window()));
    EXPECT_EQ(windows().windowListError(alpha.pid()), platform::ax::success);
}

TEST_F(Frontmost, ClientWithoutPidPropertyIsFoundThroughItsConnection) {
    auto app = startApp(dir_, {"--class", "Anonymous", "--no-pid"});
    ASSERT_THAT(run({"xprop", "-id", std::to_string(app.window()), "_NET_WM_PID"}).out,
                HasSubstr("not found"));

    auto front = windows().frontmostApplication();
    ASSERT_TRUE(front);
    EXPECT_EQ(front->pid, app.pid());
    EXPECT_EQ(front->bundleID, "Anonymous");
}

// --- Placement ------------------------------------------------------------------------------

using Placement = X11Test;

TEST_F(Placement, OuterFrameLandsExactlyOnBothMonitors) {
    auto app = startApp(dir_, {"--geometry", "640x480+100+100"});
    const Rect frames[] = {
        rect(0, 25, 960, 1055),      // left half of the left monitor below the menu bar
        rect(960, 25, 960, 1055),    // its right half
        rect(0, 25, 1920, 1055),     // its full width
        rect(417, 233, 801, 603),    // odd numbers, centred
        rect(1920, 25, 960, 1055),   // left half of the right monitor
        rect(2880, 25, 960, 1055),   // its right half
        rect(2000, 400, 1000, 500),  // a small window inside it
        rect(1500, 100, 800, 600),   // straddling both monitors
        rect(-200, 50, 700, 500),    // partly off the left edge: not clamped
    };
    for (const Rect& frame : frames) {
        SCOPED_TRACE(describe(frame));
        windows().setPosition(app.window(), frame.origin());
        windows().setSize(app.window(), frame.size());
        Rect seen = frameOnceAt(app.window(), frame);
        EXPECT_TRUE(near(seen, frame)) << "oracle saw " << describe(seen);
        auto position = windows().position(app.window());
        auto size = windows().size(app.window());
        ASSERT_TRUE(position && size);
        EXPECT_TRUE(near(Rect{position->x, position->y, size->width, size->height}, seen));
    }
}

TEST_F(Placement, MaximisedWindowIsUnmaximisedAndPlaced) {
    auto app = startApp(dir_, {"--geometry", "640x480+100+100"});
    const std::string id = std::to_string(app.window());
    ASSERT_EQ(run({"wmctrl", "-i", "-r", id, "-b", "add,maximized_vert,maximized_horz"}).status, 0);
    ASSERT_TRUE(eventually([&] { return netWmState(app.window()).size() >= 2; }));

    const Rect frame = rect(1920, 25, 960, 1055);
    windows().setPosition(app.window(), frame.origin());
    windows().setSize(app.window(), frame.size());

    Rect seen = frameOnceAt(app.window(), frame);
    EXPECT_TRUE(near(seen, frame)) << "oracle saw " << describe(seen);
    EXPECT_THAT(netWmState(app.window()),
                ::testing::Not(::testing::Contains(HasSubstr("MAXIMIZED"))));
}

TEST_F(Placement, MinimumSizeIsKeptAndTheCornerStays) {
    auto app = startApp(dir_, {"--geometry", "640x480+100+100", "--min", "400x300"});
    auto before = outerFrame(app.window());
    ASSERT_TRUE(before);
    const double decorationWidth = before->width - 640;
    const double decorationHeight = before->height - 480;

    windows().setSize(app.window(), {200, 150});

    const Rect expected = rect(100, 100, 400 + decorationWidth, 300 + decorationHeight);
    Rect seen = frameOnceAt(app.window(), expected);
    EXPECT_TRUE(near(seen, expected)) << "oracle saw " << describe(seen);
}

// --- Minimising -----------------------------------------------------------------------------

using Minimise = X11Test;

TEST_F(Minimise, IconicAndBackAgain) {
    auto other = startApp(dir_, {"--class", "Other"});
    auto app = startApp(dir_, {"--class", "Subject"});
    EXPECT_EQ(windows().isMinimized(app.window()), false);

    windows().setMinimized(app.window(), true);
    EXPECT_TRUE(eventually([&] { return wmState(app.window()) == "Iconic"; }));
    EXPECT_EQ(windows().isMinimized(app.window()), true);
    EXPECT_TRUE(eventually([&] { return activeWindow() != app.window(); }));

    windows().setMinimized(app.window(), false);
    EXPECT_TRUE(eventually([&] { return wmState(app.window()) == "Normal"; }));
    EXPECT_TRUE(eventually([&] { return activeWindow() == app.window(); }));
    EXPECT_EQ(windows().isMinimized(app.window()), false);
}

// --- Keys -----------------------------------------------------------------------------------

// One key as the keys language types it: down, 1 ms, up, 10 ms.
void type(platform::Desktop& desktop, std::uint16_t code, std::uint64_t flags = 0) {
    auto& keyboard = desktop.keyboard();
    if (!keyboard.canPost(code)) return;
    keyboard.post(KeyEvent{.keyCode = code, .down = true, .flags = flags, .marker = {}});
    desktop.sleeper().sleepMicroseconds(1000);
    keyboard.post(KeyEvent{.keyCode = code, .down = false, .flags = flags, .marker = {}});
    desktop.sleeper().sleepMicroseconds(10000);
}

// macOS virtual key codes (ANSI) the tests type.
namespace mac {
constexpr std::uint16_t a = 0, b = 11, e = 14, f5 = 96, f13 = 105, isoSection = 10;
}  // namespace mac

class Keys : public X11Test {
  protected:
    std::vector<std::string> received(const TestApp& app, std::size_t count) {
        eventually([&] { return app.keys().size() >= count; });
        return app.keys();
    }
};

// The user's held modifiers used to be pressed again after every key, and one the user let
// go of meanwhile stayed held by the XTEST device.
TEST_F(Keys, HeldModifiersAreLiftedOnceForARunAndOnlyThoseStillHeldComeBack) {
    auto app = startApp(dir_, {});
    const int control = keyCodeOf("Control_L"), alt = keyCodeOf("Alt_L");
    holdOnUsersKeyboard("Control_L", true);
    holdOnUsersKeyboard("Alt_L", true);
    ASSERT_TRUE(eventually([&] { return keysDown().size() == 2; }));

    auto& keyboard = desktop().keyboard();
    keyboard.beginTyping();
    type(desktop(), mac::a);
    keyboard.post(
        KeyEvent{.keyCode = mac::b, .down = true, .flags = keyflags::shift, .marker = {}});
    holdOnUsersKeyboard("Alt_L", false);
    keyboard.post(
        KeyEvent{.keyCode = mac::b, .down = false, .flags = keyflags::shift, .marker = {}});
    type(desktop(), mac::e);
    keyboard.endTyping();

    EXPECT_THAT(received(app, 3), ElementsAre("key a 0x0", "key B 0x1", "key e 0x0"));
    // Control comes back once, after the run; Alt, let go of meanwhile, stays up.
    ASSERT_TRUE(eventually([&] { return keysDown() == std::vector<int>{control}; }))
        << "alt " << alt;
    // The server's key state settles before the client has logged the last press.
    auto modifiers = [&] {
        std::vector<std::string> pressed;
        std::istringstream log(app.logText());
        for (std::string line; std::getline(log, line);) {
            if (line.starts_with("mod ")) pressed.push_back(line.substr(0, line.rfind(' ')));
        }
        return pressed;
    };
    eventually([&] { return modifiers().size() >= 4; });
    EXPECT_THAT(modifiers(),
                ElementsAre("mod Control_L", "mod Alt_L", "mod Shift_L", "mod Control_L"));
    holdOnUsersKeyboard("Control_L", false);
}

TEST_F(Keys, KeysTheKeymapLacksCannotBePosted) {
    auto app = startApp(dir_, {});
    const int f5 = keyCodeOf("F5");
    ASSERT_NE(f5, 0);
    ASSERT_EQ(keyCodeOf("F13"), 0);  // this server's keymap has no F13
    ASSERT_EQ(run({"xmodmap", "-e", "keycode " + std::to_string(f5) + " ="}).status, 0);
    ASSERT_EQ(keyCodeOf("F5"), 0);

    auto& keyboard = desktop().keyboard();
    EXPECT_TRUE(keyboard.canPost(mac::a));
    EXPECT_FALSE(keyboard.canPost(mac::f5));
    EXPECT_FALSE(keyboard.canPost(mac::f13));
    EXPECT_FALSE(keyboard.canPost(mac::isoSection));  // not a key of the ANSI layout

    // Posting one anyway types nothing: only the key after it arrives.
    keyboard.post(KeyEvent{.keyCode = mac::f5, .down = true, .flags = 0, .marker = {}});
    keyboard.post(KeyEvent{.keyCode = mac::f5, .down = false, .flags = 0, .marker = {}});
    type(desktop(), mac::b);
    EXPECT_THAT(received(app, 1), ElementsAre("key b 0x0"));
    EXPECT_THAT(keysDown(), ElementsAre());
}

// A desktop that stays open sees the keymap change under it.
TEST_F(Keys, KeymapChangesReachADesktopThatStaysOpen) {
    auto& keyboard = desktop().keyboard();
    ASSERT_TRUE(keyboard.canPost(mac::f5));
    const int f5 = keyCodeOf("F5");
    ASSERT_EQ(run({"xmodmap", "-e", "keycode " + std::to_string(f5) + " ="}).status, 0);
    EXPECT_TRUE(eventually([&] { return !keyboard.canPost(mac::f5); }));
}

// --- Clipboard ------------------------------------------------------------------------------

using Clipboard = X11Test;

TEST_F(Clipboard, ReadsWhatAnotherClientPut) {
    const std::string text = "h\u00e9llo w\u00f6rld \u20ac\nsecond line";
    putOnClipboard(text);
    ASSERT_EQ(clipboardText(), text);
    EXPECT_EQ(desktop().clipboard().readText(), text);
}

TEST_F(Clipboard, OwnerOfferingOnlyLatin1IsReadAsUtf8) {
    auto app = startApp(dir_, {"--serve-string", "caf\xe9 cr\xe8me"}, Until::managed);
    ASSERT_TRUE(
        eventually([&] { return app.logText().find("clipboard held") != std::string::npos; }));
    EXPECT_EQ(desktop().clipboard().readText(), "caf\u00e9 cr\u00e8me");
}

TEST_F(Clipboard, NothingWithoutOwnerOrFromAnOwnerThatNeverAnswers) {
    EXPECT_EQ(desktop().clipboard().readText(), std::nullopt);

    auto app = startApp(dir_, {"--hold-clipboard"}, Until::managed);
    ASSERT_TRUE(
        eventually([&] { return app.logText().find("clipboard held") != std::string::npos; }));
    EXPECT_EQ(desktop().clipboard().readText(), std::nullopt);
}

// Processes whose command line holds the word (the owner a writer left behind is a fork of
// the writer, so it has the writer's command line).
int processesWith(const std::string& word) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream in(entry.path() / "cmdline", std::ios::binary);
        std::string line((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (line.find(word) != std::string::npos) ++count;
    }
    return count;
}

TEST_F(Clipboard, WrittenTextIsServedAfterTheWriterExitedUntilSomeoneElseTakesIt) {
    const std::string text = "from tarn \u2713";
    const std::string tag = "tag-" + std::to_string(::getpid());
    // Its output is read to the end: the owner it leaves behind must not hold that pipe.
    auto writer = run({TARN_X11_CLIPBOARD_WRITER, text, tag});
    ASSERT_EQ(writer.status, 0);
    EXPECT_EQ(writer.out, "written\n");

    EXPECT_EQ(clipboardText(), text);
    EXPECT_EQ(desktop().clipboard().readText(), text);
    EXPECT_EQ(processesWith(tag), 1);

    putOnClipboard("someone else's");
    EXPECT_TRUE(eventually([&] { return processesWith(tag) == 0; }));
    EXPECT_EQ(clipboardText(), "someone else's");
}

// The agent's desktop forks nothing: a thread of the process serves the text while the
// desktop is open, until someone else takes the selection.
TEST_F(Clipboard, AgentDesktopServesFromAThreadOfItsOwn) {
    auto choice = platform::x11::openX11Desktop(display(), nullptr, nullptr,
                                                platform::x11::ClipboardOwner::thisProcess);
    ASSERT_TRUE(choice.desktop) << choice.error;
    // ctest runs each test in a process of its own named by the test: other tests of this
    // binary may run beside it, a fork of this one would carry the name.
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

TEST_F(Clipboard, LargeTextGoesThroughInPieces) {
    std::string text;
    for (int line = 0; text.size() < 1'000'000; ++line) {
        text += "line " + std::to_string(line) + " \u00e4\u00f6\u00fc\n";
    }
    desktop().clipboard().writeText(text);
    EXPECT_EQ(desktop().clipboard().readText(), text);
    EXPECT_EQ(clipboardText(), text);
}

// --- Things going away ----------------------------------------------------------------------

using Vanished = X11Test;

TEST_F(Vanished, WindowClosedBetweenStepsGivesAbsentAnswers) {
    auto app = startApp(dir_, {"--class", "Brief"});
    const auto window = app.window();
    const auto pid = app.pid();
    ASSERT_TRUE(windows().position(window));
    app.process.kill();
    ASSERT_TRUE(eventually([&] { return !windowExists(window); }));
    desktop().forgetRemembered();

    EXPECT_EQ(windows().position(window), std::nullopt);
    EXPECT_EQ(windows().size(window), std::nullopt);
    EXPECT_EQ(windows().isMinimized(window), std::nullopt);
    windows().setPosition(window, {10, 10});
    windows().setSize(window, {300, 300});
    windows().setMinimized(window, true);
    windows().setMinimized(window, false);
    EXPECT_TRUE(windows().windows(pid).empty());
    EXPECT_EQ(windows().focusedWindow(pid).window, std::nullopt);
    // Still a working desktop afterwards.
    EXPECT_EQ(desktop().displays().activeDisplays().size(), 2u);
}

TEST_F(Vanished, WithoutAWindowManagerWindowsAreMovedDirectly) {
    ASSERT_EQ(::kill(windowManagerPid(), SIGTERM), 0);
    ASSERT_TRUE(eventually([&] {
        auto check = run({"xprop", "-root", "_NET_SUPPORTING_WM_CHECK"});
        std::smatch match;
        static const std::regex id("window id # (0x[0-9a-f]+)");
        return !std::regex_search(check.out, match, id) ||
               run({"xwininfo", "-id", match[1].str()}).status != 0;
    }));

    auto app = startApp(dir_, {"--geometry", "640x480+100+100"}, Until::mapped);
    EXPECT_EQ(windows().frontmostApplication(), std::nullopt);
    EXPECT_TRUE(windows().runningApplications().empty());
    EXPECT_EQ(windows().isMinimized(app.window()), false);

    const Rect frame = rect(1920, 0, 800, 600);
    windows().setPosition(app.window(), frame.origin());
    windows().setSize(app.window(), frame.size());
    Rect seen = frameOnceAt(app.window(), frame);
    EXPECT_TRUE(near(seen, frame)) << "oracle saw " << describe(seen);
    EXPECT_EQ(desktop().displays().activeDisplays().size(), 2u);
}

TEST_F(Vanished, ServerGoneMidwayIsReportedAsALostDesktop) {
    auto& displays = desktop().displays();
    ASSERT_EQ(displays.activeDisplays().size(), 2u);
    ASSERT_EQ(::kill(serverPid(), SIGTERM), 0);

    bool reported = eventually([&] {
        try {
            desktop().forgetRemembered();
            displays.activeDisplays();
            return false;
        } catch (const platform::DesktopError& error) {
            return std::string(error.what()).find("lost the connection to the X server") !=
                   std::string::npos;
        }
    });
    EXPECT_TRUE(reported);
    EXPECT_THROW(windows().frontmostApplication(), platform::DesktopError);
}

// A server without XTEST and RandR (and X-Resource): the desktop opens, says why it may not
// drive anything, and falls back to the root window as its one display.
TEST(BareServer, WithoutXTestTheDesktopIsNotTrustedAndSaysWhy) {
    PrivateServer server({"-tst", "-extension", "RANDR", "-screen", "0", "1280x800x24"});
    auto choice = platform::x11::openX11Desktop(server.display(), nullptr, nullptr);
    ASSERT_TRUE(choice.desktop) << choice.error;
    auto& desktop = *choice.desktop;

    EXPECT_FALSE(desktop.accessibility().isTrusted(true));
    EXPECT_THAT(desktop.accessibility().untrustedReason(), HasSubstr("XTEST"));
    EXPECT_THAT(desktop.accessibility().untrustedReason(), HasSubstr(server.display()));
    EXPECT_FALSE(desktop.keyboard().canPost(mac::a));
    EXPECT_FALSE(desktop.pointer().canCreateMouseEvent({0, 0}));
    desktop.keyboard().post(KeyEvent{.keyCode = mac::a, .down = true, .flags = 0, .marker = {}});
    desktop.keyboard().post(KeyEvent{.keyCode = mac::a, .down = false, .flags = 0, .marker = {}});

    auto ids = desktop.displays().activeDisplays();
    ASSERT_EQ(ids.size(), 1u);
    EXPECT_EQ(desktop.displays().bounds(ids[0]), rect(0, 0, 1280, 800));
    EXPECT_EQ(desktop.windowSystem().frontmostApplication(), std::nullopt);
}

}  // namespace
}  // namespace tarn::x11test
