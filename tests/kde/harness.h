#pragma once

// What the KDE tests share: the private KWin that with-kwin.sh started, an application to
// drive, and an oracle of the tests' own. The oracle is a KWin script written here (never
// the backend's), loaded with gdbus, whose answer KWin prints to its log: what KWin itself
// says about windows and the pointer, whatever Tarn's backend believes.

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
#include "tests/common/temp_dir.h"

namespace tarn::kdetest {

using namespace std::chrono_literals;
using platform::Rect;

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit = 5s);

// A child process, ended (SIGTERM, then waited for) with the object. Its standard output
// goes to `out` when given.
class Child {
  public:
    explicit Child(const std::vector<std::string>& argv,
                   const std::optional<std::filesystem::path>& out = std::nullopt);
    ~Child() { kill(); }
    Child(Child&& other) noexcept : pid_(other.pid_) { other.pid_ = -1; }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    pid_t pid() const { return pid_; }
    void kill();

  private:
    pid_t pid_ = -1;
};

// Runs a program to its end (killed after 10 s); its exit status and standard output.
struct Output {
    int status = -1;
    std::string out;
};
Output run(const std::vector<std::string>& argv);

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

// weston-eventdemo (takes any size exactly, logs each key with its modifiers), its window
// mapped and active.
struct TestApp {
    std::filesystem::path log;
    Child process;
    pid_t pid() const { return process.pid(); }
    std::string logText() const;
    // The key lines of its log, "pressed"/"released" with the key's text and modifiers.
    std::vector<std::string> keys() const;
};
TestApp startApp(const tarn::testing::TempDir& dir);

// The environment that tarn and wendle need from the fixture (the bus, the display, the
// desktop), as NAME=value entries for runTarn.
std::vector<std::string> desktopEnvironment();

std::string describe(const Rect& r);

}  // namespace tarn::kdetest
