#pragma once

// What the X11 tests share: the private X server the fixture started (with-x11.sh), the
// project's test client, and independent oracles (xdotool, xprop, xwininfo, xrandr, xclip)
// that report what really happened, never through the code under test.

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/desktop.h"
#include "tests/common/temp_dir.h"

namespace tarn::x11test {

using namespace std::chrono_literals;

// Polls the condition (every 5 ms) until it holds or the time is up; its last answer.
bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit = 5s);

struct Output {
    int status = -1;
    std::string out;
};
// Runs a program to its end (killed after 10 s) with `input` on its standard input.
Output run(const std::vector<std::string>& argv, const std::string& input = "");
// The same, but nobody reads its output: for programs that leave a child behind holding it
// (xclip serving what it was given).
int runDetached(const std::vector<std::string>& argv, const std::string& input = "");

// A child process, ended (SIGTERM, then waited for) with the object.
class Child {
  public:
    explicit Child(const std::vector<std::string>& argv);
    ~Child();
    Child(Child&& other) noexcept : pid_(other.pid_) { other.pid_ = -1; }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    pid_t pid() const { return pid_; }
    void kill();

  private:
    pid_t pid_ = -1;
};

// A bare Xvfb of the test's own (no window manager, no monitors set), for servers that
// lack what the fixture's has. Ended with the object.
class PrivateServer {
  public:
    explicit PrivateServer(const std::vector<std::string>& options);
    ~PrivateServer();
    PrivateServer(const PrivateServer&) = delete;
    PrivateServer& operator=(const PrivateServer&) = delete;
    const std::string& display() const { return display_; }

  private:
    pid_t pid_ = -1;
    std::string display_;
};

// The project's test client (test_app.cpp) and its windows, in creation order.
struct TestApp {
    Child process;
    std::filesystem::path log;
    std::vector<unsigned long> windows;

    pid_t pid() const { return process.pid(); }
    unsigned long window() const { return windows.front(); }
    std::string logText() const;
    // The "key ..." lines of the log, in order.
    std::vector<std::string> keys() const;
};
// How far startApp waits: until the last window has the focus, until every window is
// managed (WM_STATE Normal), or, without a window manager, until they are mapped.
enum class Until { focused, managed, mapped };
TestApp startApp(const tarn::testing::TempDir& dir, const std::vector<std::string>& options,
                 Until until = Until::focused);

// --- Oracles ------------------------------------------------------------------------------

std::string display();
unsigned long activeWindow();                               // xdotool getactivewindow; 0 when none
std::string wmState(unsigned long window);                  // "Normal", "Iconic", or "" (xprop)
std::vector<std::string> netWmState(unsigned long window);  // _NET_WM_STATE atom names
bool windowExists(unsigned long window);                    // xwininfo
// The outer frame: xwininfo's absolute client geometry widened by the frame extents xprop
// reports (none without a window manager).
std::optional<platform::Rect> outerFrame(unsigned long window);
// The outer frame once it has settled within a pixel of `expected`, or the last one seen when
// time ran out (an empty rect when none could be read).
platform::Rect frameOnceAt(unsigned long window, const platform::Rect& expected);
struct Monitor {
    std::string name;
    bool primary = false;
    platform::Rect bounds;
};
std::vector<Monitor> monitors();                   // xrandr --listmonitors
std::optional<platform::Point> pointerLocation();  // xdotool getmouselocation
std::optional<std::string> clipboardText();        // xclip -o; absent when it fails
void putOnClipboard(const std::string& text, const std::string& target = "UTF8_STRING");
// Key codes that are down now (XQueryKeymap on a connection of the test's own).
std::vector<int> keysDown();
int keyCodeOf(const std::string& keysymName);  // from xmodmap -pke; 0 when unmapped
// Presses or lets go of a key on the server's own keyboard device, not through the XTEST
// one, as a person holding it would.
void holdOnUsersKeyboard(const std::string& keysymName, bool down);

// The fixture's processes, for tests that take the desktop away.
pid_t windowManagerPid();
pid_t serverPid();

platform::Rect rect(double x, double y, double width, double height);
bool near(const platform::Rect& a, const platform::Rect& b, double tolerance = 1);
std::string describe(const platform::Rect& r);

}  // namespace tarn::x11test
