#pragma once

// What the KDE tests share: the private KWin that with-kwin.sh started, the Wayland tiers'
// test client as the application, and an oracle of the tests' own. The oracle is a KWin script
// written here (never the backend's), loaded with gdbus, whose answer KWin prints to its log: what
// KWin itself says about windows and the pointer, whatever Tarn's backend believes.

#include <gtest/gtest.h>
#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/geometry.h"
#include "support/json_text.h"
#include "tests/common/process.h"
#include "tests/common/temp_dir.h"
#include "tests/wayland/harness.h"

namespace tarn::kdetest {

using namespace std::chrono_literals;
using platform::Rect;
using tarn::testing::eventually;
using tarn::testing::run;

// --- The oracle ----------------------------------------------------------------------------

// The value of a JavaScript expression evaluated by a KWin script of the test's own (KWin
// 5.27 names); null when KWin printed nothing within 5 s.
support::Json kwinEval(const std::string& expression);

struct KWinWindow {
    std::string uuid;
    long pid = 0;
    std::string resourceClass;
    Rect frame;
    bool minimized = false;
    bool active = false;
};
// The normal windows KWin manages, in its order.
std::vector<KWinWindow> kwinWindows();
std::optional<KWinWindow> kwinWindowOf(pid_t pid);
// Places a window's frame and activates it, from the test's own script.
void kwinPlace(const std::string& uuid, const Rect& frame);
std::optional<platform::Point> kwinCursor();

// Whether the window's frame settles within a pixel of `expected`; says what it saw if not.
::testing::AssertionResult settlesAt(pid_t app, const Rect& expected);

// --- The application ------------------------------------------------------------------------

// The Wayland tiers' test client (tests/wayland/test_client.cpp), its window mapped and
// active in KWin.
waylandtest::TestClient startApp(const tarn::testing::TempDir& dir,
                                 const std::vector<std::string>& options = {});

// The environment that tarn and wendle need from the fixture (the bus, the display, the
// desktop), as NAME=value entries for runTarn.
std::vector<std::string> desktopEnvironment();

std::string describe(const Rect& r);

}  // namespace tarn::kdetest
