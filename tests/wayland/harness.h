#pragma once

// What the Wayland tests share: the private sway the fixture started (with-sway.sh), the
// project's test client (test_client.cpp), and independent oracles (swaymsg, wl-paste,
// wl-copy) that report what really happened, never through the code under test.

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/json_text.h"
#include "tests/common/process.h"
#include "tests/common/temp_dir.h"

namespace tarn::waylandtest {

using namespace std::chrono_literals;
using tarn::testing::Child;
using tarn::testing::eventually;
using tarn::testing::Output;
using tarn::testing::run;

// The project's test client and its log (see test_client.cpp for the lines it writes).
struct TestClient {
    Child process;
    std::filesystem::path log;

    pid_t pid() const { return process.pid(); }
    std::string logText() const { return support::readFile(log).value_or(""); }
    bool logged(const std::string& text) const { return logText().find(text) != std::string::npos; }
    // The log's lines of one kind ("key", "mod", "text", "motion"...), in order.
    std::vector<std::string> logLines(const std::string& kind) const;
    std::vector<std::string> keys() const { return logLines("key"); }
    // Whether the keyboard is in the window now (numbered from 1): the last "focus" or
    // "unfocus" line names it as focused.
    bool hasFocus(int window = 1) const;
};
// How far startClient waits: until its last window has the keyboard, or until every window
// has shown its first buffer.
enum class Until { focused, made };
// Starts the client with the options (--app-id, --title, --size, --windows, --min), its log in
// the folder.
TestClient startClient(const tarn::testing::TempDir& dir, const std::vector<std::string>& options,
                       Until until = Until::focused);

// --- Oracles ------------------------------------------------------------------------------

// swaymsg with the arguments (-t get_tree, a command...).
Output swaymsg(const std::vector<std::string>& arguments);
// The node of sway's tree (swaymsg -t get_tree) that holds the first window of the app_id;
// absent when there is none.
std::optional<support::Json> swayWindow(const std::string& appId);
std::optional<std::string> pastedText();  // wl-paste --no-newline; absent when it fails
void copyText(const std::string& text);   // wl-copy, which stays to serve it

// The fixture's processes, for tests that take parts of the desktop away: the compositor,
// and the seat's standing keyboard (without it the seat has none).
pid_t swayPid();
pid_t standingKeyboardPid();

}  // namespace tarn::waylandtest
