#pragma once

// What the sway tests share beside tests/wayland/harness.h: the private headless sway that
// tests/wayland/with-sway.sh started for the test program (HEADLESS-1 1920x1080 at 0,0, HEADLESS-2
// 1280x1024 at 1920,0, a 25-pixel bar at the top of each), the Wayland test client, and the
// oracles: swaymsg for windows and focus, wl-paste for the clipboard, the client's own log for keys
// and pointer. The layout is read from swaymsg's JSON here, never through the backend under test.

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/geometry.h"
#include "support/files.h"
#include "tests/common/process.h"
#include "tests/common/temp_dir.h"
#include "tests/wayland/harness.h"

namespace tarn::swaytest {

using platform::Rect;
using testing::Child;
using testing::eventually;
using testing::run;
using testing::TempDir;
using namespace std::chrono_literals;

// The variables a program needs to reach the private sway.
std::vector<std::string> swayEnvironment();

using waylandtest::TestClient;
// The Wayland test client (tests/wayland/harness.h) with one window of that app id and
// content size, once it has the focus.
TestClient startClient(const TempDir& dir, const std::string& appId, const std::string& size);

// --- Oracles (swaymsg) --------------------------------------------------------------------

// The outer frame (rect with the title bar above it) of the window of that process; absent
// when it has none.
std::optional<Rect> frameOf(int pid);
bool inScratchpad(int pid);
int focusedPid();  // 0 when no window has the focus
// Runs sway commands; true when sway did them all.
bool swaymsg(const std::string& commands);
// Makes the client's window floating at that outer frame and waits until it is there.
void placeFloating(const TestClient& client, const Rect& frame);
::testing::AssertionResult settlesAt(int pid, const Rect& expected);
// Whether the client has drawn its window at the frame's size (it draws its own decorations:
// its surface is its frame). sway takes a floating window's size from what the client last
// drew, so a move made before the client drew the one before may end at the older size.
::testing::AssertionResult drawnAt(const TestClient& client, const Rect& frame);
std::string describe(const Rect& r);

}  // namespace tarn::swaytest
