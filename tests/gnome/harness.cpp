#include "tests/gnome/harness.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <regex>
#include <sstream>

namespace tarn::gnometest {
namespace {

std::string env(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

// The integers of a gdbus answer, in order ("([(0, 25, 800, 605)],)" → 0 25 800 605).
std::vector<long> integers(const std::string& text) {
    std::vector<long> found;
    static const std::regex number("-?[0-9]+");
    for (auto it = std::sregex_iterator(text.begin(), text.end(), number);
         it != std::sregex_iterator(); ++it) {
        found.push_back(std::stol(it->str()));
    }
    return found;
}

}  // namespace

std::string probe(const std::string& method, const std::vector<std::string>& args) {
    std::vector<std::string> argv{"gdbus",
                                  "call",
                                  "--session",
                                  "--dest",
                                  "org.tarn.TestProbe",
                                  "--object-path",
                                  "/org/tarn/TestProbe",
                                  "--method",
                                  "org.tarn.TestProbe." + method};
    argv.insert(argv.end(), args.begin(), args.end());
    auto result = run(argv);
    return result.status == 0 ? result.out : "";
}

std::vector<Rect> frames(const std::string& app) {
    auto numbers = integers(probe("Frames", {app}));
    std::vector<Rect> found;
    for (std::size_t i = 0; i + 3 < numbers.size(); i += 4) {
        found.push_back({static_cast<double>(numbers[i]), static_cast<double>(numbers[i + 1]),
                         static_cast<double>(numbers[i + 2]), static_cast<double>(numbers[i + 3])});
    }
    return found;
}

std::vector<bool> minimized(const std::string& app) {
    std::vector<bool> found;
    std::istringstream words(probe("Minimized", {app}));
    for (std::string word; words >> word;) {
        if (word.find("true") != std::string::npos) found.push_back(true);
        if (word.find("false") != std::string::npos) found.push_back(false);
    }
    return found;
}

std::string focusedApp() {
    static const std::regex quoted("'([^']*)'");
    std::smatch match;
    const std::string answer = probe("Focused");
    return std::regex_search(answer, match, quoted) ? match[1].str() : "";
}

std::optional<platform::Point> pointer() {
    auto numbers = integers(probe("Pointer"));
    if (numbers.size() != 2) return std::nullopt;
    return platform::Point{static_cast<double>(numbers[0]), static_cast<double>(numbers[1])};
}

std::string clipboard() {
    // gdbus prints the string GVariant-quoted; the tests put plain text there.
    static const std::regex quoted("^\\('(.*)',\\)\\s*$");
    std::smatch match;
    const std::string answer = probe("Clipboard");
    return std::regex_search(answer, match, quoted) ? match[1].str() : answer;
}

std::vector<std::string> shellEnvironment() {
    return {"WAYLAND_DISPLAY=" + env("WAYLAND_DISPLAY"),
            "DBUS_SESSION_BUS_ADDRESS=" + env("DBUS_SESSION_BUS_ADDRESS"),
            "XDG_RUNTIME_DIR=" + env("XDG_RUNTIME_DIR"), "XDG_CURRENT_DESKTOP=GNOME",
            "XDG_SESSION_TYPE=wayland"};
}

tarn::testing::CommandResult runTarn(const std::vector<std::string>& args,
                                     const tarn::testing::TempDir& home) {
    return tarn::testing::runTarn(args, home.path(), std::nullopt, shellEnvironment());
}

std::vector<std::string> TestApp::keys() const {
    std::vector<std::string> lines;
    std::istringstream text(logText());
    for (std::string line; std::getline(text, line);) {
        if (line.rfind("key ", 0) == 0) lines.push_back(line);
    }
    return lines;
}

TestApp startApp(const tarn::testing::TempDir& home, const std::string& appId,
                 const std::string& size) {
    EXPECT_TRUE(eventually([] { return probe("Settled").find("true") != std::string::npos; }, 10s));
    auto log = home.path() / (appId + ".log");
    TestApp app{Child({TARN_WAYLAND_TEST_CLIENT, "--log", log.string(), "--app-id", appId,
                       "--title", appId, "--size", size}),
                log, appId};
    EXPECT_TRUE(eventually([&] { return app.logText().find("made\n") != std::string::npos; }, 10s))
        << app.logText();
    // A window the headless shell maps gets the focus only when something activates it.
    EXPECT_TRUE(eventually(
        [&] {
            probe("Focus", {appId});
            return app.logText().find("focus 1") != std::string::npos;
        },
        10s))
        << app.logText();
    return app;
}

bool press(const std::vector<std::string>& chords) {
    std::vector<std::string> argv{"gjs", TARN_GNOME_PRESS_SCRIPT};
    argv.insert(argv.end(), chords.begin(), chords.end());
    return run(argv).status == 0;
}

bool settlesAt(const std::string& app, Rect frame) {
    auto near = [&](const Rect& r) {
        return std::abs(r.x - frame.x) <= 1 && std::abs(r.y - frame.y) <= 1 &&
               std::abs(r.width - frame.width) <= 1 && std::abs(r.height - frame.height) <= 1;
    };
    bool ok = eventually([&] {
        auto all = frames(app);
        return !all.empty() && near(all.front());
    });
    if (!ok) {
        auto all = frames(app);
        ADD_FAILURE() << "expected " << frame.x << "," << frame.y << " " << frame.width << "x"
                      << frame.height << ", the window is at "
                      << (all.empty() ? std::string("nowhere")
                                      : std::to_string(int(all[0].x)) + "," +
                                            std::to_string(int(all[0].y)) + " " +
                                            std::to_string(int(all[0].width)) + "x" +
                                            std::to_string(int(all[0].height)));
    }
    return ok;
}

}  // namespace tarn::gnometest
