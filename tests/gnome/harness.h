#pragma once

// What the GNOME tests share: the private headless shell with-gnome.sh started (two virtual
// monitors, 1920x1080 primary and 1280x1024 to its right), the Wayland test client, and the
// test-only probe extension that reads windows, pointer and clipboard straight from the shell,
// so a fault in Tarn's own extension cannot hide itself. The probe is called with gdbus.

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/geometry.h"
#include "support/files.h"
#include "tests/common/command_runner.h"
#include "tests/common/process.h"
#include "tests/common/temp_dir.h"

namespace tarn::gnometest {

using namespace std::chrono_literals;
using platform::Rect;
using tarn::testing::Child;
using tarn::testing::eventually;
using tarn::testing::run;

// Calls a method of the probe; its printed answer, empty when the call failed.
std::string probe(const std::string& method, const std::vector<std::string>& args = {});
// The frames of an application's windows, oldest first, read by the probe.
std::vector<Rect> frames(const std::string& app);
std::vector<bool> minimized(const std::string& app);
std::string focusedApp();
std::optional<platform::Point> pointer();
std::string clipboard();

// The environment tarn and wendle need to reach the shell.
std::vector<std::string> shellEnvironment();
// Runs the built tarn in `home` on the shell.
tarn::testing::CommandResult runTarn(const std::vector<std::string>& args,
                                     const tarn::testing::TempDir& home);

// The Wayland test client with one window of an exact size, focused once it has shown it.
struct TestApp {
    Child process;
    std::filesystem::path log;
    std::string appId;

    std::string logText() const { return support::readFile(log).value_or(""); }
    // The log's "key ..." lines, in order.
    std::vector<std::string> keys() const;
};
TestApp startApp(const tarn::testing::TempDir& home, const std::string& appId,
                 const std::string& size = "800x605");

// Presses chords the way another program would (press.js: a RemoteDesktop session of its own).
bool press(const std::vector<std::string>& chords);

// The window's frame settles within a pixel of `frame`.
bool settlesAt(const std::string& app, Rect frame);

}  // namespace tarn::gnometest
