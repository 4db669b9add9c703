#include "tests/wayland/harness.h"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace tarn::waylandtest {
namespace {

pid_t fixturePid(const char* variable) {
    const char* value = std::getenv(variable);
    if (!value) throw std::runtime_error(std::string(variable) + " is not set: run with-sway.sh");
    return static_cast<pid_t>(std::atoi(value));
}

}  // namespace

std::vector<std::string> TestClient::logLines(const std::string& kind) const {
    std::vector<std::string> result;
    std::istringstream in(logText());
    for (std::string line; std::getline(in, line);)
        if (line.starts_with(kind + " ")) result.push_back(line);
    return result;
}

bool TestClient::hasFocus(int window) const {
    std::string last;
    std::istringstream in(logText());
    for (std::string line; std::getline(in, line);)
        if (line.starts_with("focus ") || line.starts_with("unfocus ")) last = line;
    return last == "focus " + std::to_string(window);
}

TestClient startClient(const tarn::testing::TempDir& dir, const std::vector<std::string>& options,
                       Until until) {
    static int started = 0;
    auto log = dir.path() / ("client-" + std::to_string(++started) + ".log");
    std::vector<std::string> argv{TARN_WAYLAND_TEST_CLIENT, "--log", log.string()};
    argv.insert(argv.end(), options.begin(), options.end());
    TestClient client{Child(argv), log};
    auto fail = [&](const std::string& what) {
        throw std::runtime_error("test client " + what + ":\n" + client.logText());
    };
    if (!eventually([&] { return client.logged("made\n"); })) fail("made no windows");
    if (until == Until::focused) {
        int windows = static_cast<int>(client.logLines("window").size());
        if (!eventually([&] { return client.hasFocus(windows); })) fail("never got the focus");
    }
    return client;
}

Output swaymsg(const std::vector<std::string>& arguments) {
    std::vector<std::string> argv{"swaymsg"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    return run(argv);
}

std::optional<support::Json> swayWindow(const std::string& appId) {
    auto tree = support::parseJson(swaymsg({"-r", "-t", "get_tree"}).out);
    if (!tree) return std::nullopt;
    std::vector<const support::Json*> pending{&*tree};
    while (!pending.empty()) {
        const support::Json* node = pending.back();
        pending.pop_back();
        if (node->value("app_id", support::Json()) == appId) return *node;
        for (const char* children : {"nodes", "floating_nodes"})
            if (node->contains(children))
                for (const auto& child : (*node)[children]) pending.push_back(&child);
    }
    return std::nullopt;
}

std::optional<std::string> pastedText() {
    auto result = run({"wl-paste", "--no-newline"});
    if (result.status != 0) return std::nullopt;
    return result.out;
}

void copyText(const std::string& text) {
    run({"wl-copy"}, text);  // on standard input: an argument holds at most 128 KiB
    if (!eventually([&] { return pastedText() == text; }))
        throw std::runtime_error("wl-copy did not put the text on the clipboard");
}

pid_t swayPid() {
    return fixturePid("TARN_TEST_SWAY_PID");
}
pid_t standingKeyboardPid() {
    return fixturePid("TARN_TEST_KEYBOARD_PID");
}

}  // namespace tarn::waylandtest
