#pragma once

// What an end-to-end test asks of a desktop, answered by its own tools (xwininfo, swaymsg...),
// never by the code under test; each backend's harness implements it for the same scenarios.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/geometry.h"
#include "tests/common/process.h"

namespace tarn::testing {

using namespace std::chrono_literals;

// The project's test client: one window of the test's application id, logging its keys.
class TestClient {
  public:
    virtual ~TestClient() = default;
    // The keys it received, in order: modifiers among ctrl, alt, shift, super (in that order)
    // and the key name joined by '+' ("ctrl+alt+Right", "x"); no modifier keys, no locks.
    virtual std::vector<std::string> keys() const = 0;
    // Its window's outer frame as the desktop reports it; absent when it has none.
    virtual std::optional<platform::Rect> frame() const = 0;
};

struct ClientOptions {
    std::string appId = "TarnTestApp";         // the class (X11) or app id (Wayland) it shows
    platform::Rect frame{100, 100, 798, 580};  // where it asks to be, content size
};

class DesktopOracle {
  public:
    virtual ~DesktopOracle() = default;
    // Starts a test client and returns once its window is shown and has the focus.
    virtual std::unique_ptr<TestClient> startClient(const ClientOptions& options) = 0;
    // Presses and lets go of a chord ("ctrl+alt+Right") as another program would.
    virtual void press(const std::string& chord) = 0;
    // The variables a program under test needs to reach this desktop (DISPLAY, SWAYSOCK...).
    virtual std::vector<std::pair<std::string, std::string>> environment() const = 0;
};

// Whether the client's frame settles within a pixel of `expected`; says what it saw if not.
::testing::AssertionResult settlesAt(const TestClient& client, const platform::Rect& expected);
bool near(const platform::Rect& a, const platform::Rect& b, double tolerance = 1);
std::string describe(const platform::Rect& r);

}  // namespace tarn::testing
