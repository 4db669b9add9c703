#pragma once

// What the X11 tests share: the private X server the fixture started (with-x11.sh), the
// project's test client, and independent oracles (xdotool, xprop, xwininfo, xclip) that
// report what really happened, never through the code under test.

#include <gtest/gtest.h>
#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/desktop.h"
#include "support/files.h"
#include "tests/common/desktop_oracle.h"
#include "tests/common/process.h"
#include "tests/common/temp_dir.h"

namespace tarn::x11test {

using namespace std::chrono_literals;
using platform::Rect;
using tarn::testing::Child;
using tarn::testing::eventually;
using tarn::testing::Output;
using tarn::testing::run;
using testing::describe;
using testing::near;

// A bare Xvfb of the test's own (no window manager, no monitors set), for servers that
// lack what the fixture's has. Ended with the object.
class PrivateServer {
  public:
    explicit PrivateServer(const std::string& options);
    const std::string& display() const { return display_; }

  private:
    tarn::testing::TempDir dir_;
    std::optional<Child> xvfb_;
    std::string display_;
};

// The project's test client (test_app.cpp) and its windows, in creation order.
struct TestApp {
    Child process;
    std::filesystem::path log;
    std::vector<unsigned long> windows;

    pid_t pid() const { return process.pid(); }
    unsigned long window() const { return windows.front(); }
    std::string logText() const { return support::readFile(log).value_or(""); }
    bool logged(const std::string& text) const { return logText().find(text) != std::string::npos; }
    // The log's lines of one kind ("key", "mod", "window"), in order.
    std::vector<std::string> logLines(const std::string& kind) const;
    std::vector<std::string> keys() const { return logLines("key"); }
};
// How far startApp waits: until the last window has the focus, until every window is
// managed (WM_STATE Normal), or, without a window manager, until they are mapped.
enum class Until { focused, managed, mapped };
TestApp startApp(const tarn::testing::TempDir& dir, const std::vector<std::string>& options,
                 Until until = Until::focused);

// The desktop a program gets on that display, through the backend registry as tarn and
// wendle open it.
platform::DesktopChoice openDesktopOn(const std::string& display,
                                      platform::DesktopOptions options = {});

// --- Oracles ------------------------------------------------------------------------------

std::string display();
unsigned long activeWindow();  // xdotool getactivewindow; 0 when none
std::string xprop(unsigned long window, const std::string& property);
std::string wmState(unsigned long window);  // "Normal", "Iconic", or "" (xprop)
// The outer frame: xwininfo's absolute client geometry widened by the frame extents xprop
// reports (none without a window manager).
std::optional<Rect> outerFrame(unsigned long window);
// Whether the outer frame settles within a pixel of `expected`; says what it saw if not.
::testing::AssertionResult settlesAt(unsigned long window, const Rect& expected);
std::optional<platform::Point> pointerLocation();  // xdotool getmouselocation
std::optional<std::string> clipboardText();        // xclip -o; absent when it fails
void putOnClipboard(const std::string& text);      // xclip, which stays to serve it
// Key codes that are down now, and the one of a key (0: unmapped), on a connection of the
// test's own.
std::vector<int> keysDown();
int keyCodeOf(const std::string& keysymName);
// Presses or lets go of a key on the server's own keyboard device, not through the XTEST
// one, as a person holding it would.
void holdOnUsersKeyboard(const std::string& keysymName, bool down);
// Processes whose command line holds the word (pgrep).
int processesWith(const std::string& word);

// The fixture's processes, for tests that take the desktop away.
pid_t serverPid();
pid_t windowManagerPid();

// The desktop oracle on the fixture's server: its test clients are the project's test client.
class X11Oracle : public testing::DesktopOracle {
  public:
    explicit X11Oracle(const tarn::testing::TempDir& dir) : dir_(dir) {}
    std::unique_ptr<testing::TestClient> startClient(
        const testing::ClientOptions& options) override;
    void press(const std::string& chord) override;
    std::vector<std::pair<std::string, std::string>> environment() const override;

  private:
    const tarn::testing::TempDir& dir_;
};

}  // namespace tarn::x11test
