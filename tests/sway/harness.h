#pragma once

// What the sway tests share: the private headless sway that tests/wayland/with-sway.sh
// started for the test program (HEADLESS-1 1920x1080 at 0,0, HEADLESS-2 1280x1024 at 1920,0,
// a 25-pixel bar at the top of each), the Wayland test client, and the oracles: swaymsg for
// windows and focus, wl-paste for the clipboard, the client's own log for keys and pointer.
// The layout is read from swaymsg's JSON here, never through the backend under test.

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/geometry.h"
#include "support/files.h"
#include "tests/common/process.h"
#include "tests/common/temp_dir.h"

namespace tarn::swaytest {

using platform::Rect;
using testing::Child;
using testing::eventually;
using testing::run;
using testing::TempDir;
using namespace std::chrono_literals;

// The variables a program needs to reach the private sway.
std::vector<std::string> swayEnvironment();

// The Wayland test client: one window of the given app id and content size.
struct Client {
    Child process;
    std::filesystem::path log;

    int pid() const { return process.pid(); }
    std::string logText() const { return support::readFile(log).value_or(""); }
    // Its log lines of one kind ("key", "text", "motion", ...), without the kind.
    std::vector<std::string> lines(const std::string& kind) const;
    // The keys it received: "key <keysym> <state>" lines, as "<keysym> <state>".
    std::vector<std::string> keys() const { return lines("key"); }
};
// Starts it and waits until its window is shown and has the focus.
Client startClient(const TempDir& dir, const std::string& appId, const std::string& size);

// --- Oracles (swaymsg) --------------------------------------------------------------------

// The outer frame (rect with the title bar above it) of the window of that process; absent
// when it has none.
std::optional<Rect> frameOf(int pid);
bool inScratchpad(int pid);
int focusedPid();  // 0 when no window has the focus
// Runs sway commands; true when sway did them all.
bool swaymsg(const std::string& commands);
// Makes the process's window floating at that outer frame and waits until it is there.
void placeFloating(int pid, const Rect& frame);
::testing::AssertionResult settlesAt(int pid, const Rect& expected);
std::string describe(const Rect& r);

}  // namespace tarn::swaytest
