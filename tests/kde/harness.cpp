#include "tests/kde/harness.h"

#include <unistd.h>

#include <atomic>

#include <cmath>
#include <cstdlib>
#include <sstream>

#include "support/files.h"

namespace tarn::kdetest {
namespace {

std::string fixture(const char* variable) {
    const char* value = std::getenv(variable);
    if (!value) throw std::runtime_error(std::string(variable) + " is not set: run with-kwin.sh");
    return value;
}

std::optional<Rect> rectOf(const support::Json& json) {
    if (!json.is_object()) return std::nullopt;
    return Rect{json.value("x", 0.0), json.value("y", 0.0), json.value("width", 0.0),
                json.value("height", 0.0)};
}

bool near(const Rect& a, const Rect& b) {
    return std::abs(a.x - b.x) <= 1 && std::abs(a.y - b.y) <= 1 &&
           std::abs(a.width - b.width) <= 1 && std::abs(a.height - b.height) <= 1;
}

}  // namespace

// --- The oracle ----------------------------------------------------------------------------

support::Json kwinEval(const std::string& expression) {
    static std::atomic<int> counter{0};
    const std::string tag =
        "tarn-oracle-" + std::to_string(::getpid()) + "-" + std::to_string(counter++);
    const std::filesystem::path file =
        std::filesystem::path(fixture("XDG_RUNTIME_DIR")) / (tag + ".js");
    support::writeFileAtomically(file, "print(\"" + tag +
                                           " \" + JSON.stringify((function () { return " +
                                           expression + "; })()));\n");
    const std::string kwin = "org.kde.KWin";
    run({"gdbus", "call", "--session", "-d", kwin, "-o", "/Scripting", "-m",
         "org.kde.kwin.Scripting.loadScript", file.string(), tag});
    // Scripting.start runs what is loaded and not running: KWin 5.27 may give a new script
    // the number (and so the object path) of an older one.
    run({"gdbus", "call", "--session", "-d", kwin, "-o", "/Scripting", "-m",
         "org.kde.kwin.Scripting.start"});
    const std::string marker = "js: " + tag + " ";
    std::string line;
    eventually([&] {
        std::string log = support::readFile(fixture("TARN_TEST_KWIN_LOG")).value_or("");
        auto at = log.find(marker);
        if (at == std::string::npos) return false;
        auto end = log.find('\n', at);
        if (end == std::string::npos) return false;
        line = log.substr(at + marker.size(), end - at - marker.size());
        return true;
    });
    run({"gdbus", "call", "--session", "-d", kwin, "-o", "/Scripting", "-m",
         "org.kde.kwin.Scripting.unloadScript", tag});
    std::filesystem::remove(file);
    return support::parseJson(line).value_or(support::Json());
}

std::vector<KWinWindow> kwinWindows() {
    auto list = kwinEval(R"(workspace.clientList().filter(function (w) { return w.normalWindow; })
        .map(function (w) {
            var g = w.frameGeometry;
            return {uuid: String(w.internalId), pid: w.pid, cls: String(w.resourceClass),
                    frame: {x: g.x, y: g.y, width: g.width, height: g.height},
                    minimized: w.minimized, active: w === workspace.activeClient};
        }))");
    std::vector<KWinWindow> windows;
    if (!list.is_array()) return windows;
    for (const auto& item : list) {
        KWinWindow window;
        window.uuid = item.value("uuid", "");
        window.pid = item.value("pid", 0L);
        window.resourceClass = item.value("cls", "");
        window.frame = rectOf(item.value("frame", support::Json())).value_or(Rect{});
        window.minimized = item.value("minimized", false);
        window.active = item.value("active", false);
        windows.push_back(window);
    }
    return windows;
}

std::optional<KWinWindow> kwinWindowOf(pid_t pid) {
    for (auto& window : kwinWindows())
        if (window.pid == pid) return window;
    return std::nullopt;
}

void kwinPlace(const std::string& uuid, const Rect& frame) {
    std::ostringstream js;
    js << "(function () { var l = workspace.clientList(); for (var i = 0; i < l.length; i++) "
       << "if (String(l[i].internalId) === \"" << uuid
       << "\") { l[i].frameGeometry = {x: " << frame.x << ", y: " << frame.y
       << ", width: " << frame.width << ", height: " << frame.height
       << "}; workspace.activeClient = l[i]; return true; } "
       << "return false; })()";
    kwinEval(js.str());
}

std::optional<platform::Point> kwinCursor() {
    auto at = kwinEval("({x: workspace.cursorPos.x, y: workspace.cursorPos.y})");
    if (!at.is_object()) return std::nullopt;
    return platform::Point{at.value("x", 0.0), at.value("y", 0.0)};
}

::testing::AssertionResult settlesAt(pid_t app, const Rect& expected) {
    std::optional<KWinWindow> last;
    if (eventually([&] {
            last = kwinWindowOf(app);
            return last && near(last->frame, expected);
        }))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "expected " << describe(expected) << ", KWin has "
           << (last ? describe(last->frame) : std::string("no window"));
}

// --- The application ------------------------------------------------------------------------

waylandtest::TestClient startApp(const tarn::testing::TempDir& dir,
                                 const std::vector<std::string>& options) {
    auto client = waylandtest::startClient(dir, options);
    eventually([&] {
        auto window = kwinWindowOf(client.pid());
        return window && window->active;
    });
    return client;
}

std::vector<std::string> desktopEnvironment() {
    std::vector<std::string> env;
    for (const char* name : {"DBUS_SESSION_BUS_ADDRESS", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR",
                             "XDG_CURRENT_DESKTOP", "XDG_SESSION_TYPE"}) {
        env.push_back(std::string(name) + "=" + fixture(name));
    }
    return env;
}

std::string describe(const Rect& r) {
    std::ostringstream text;
    text << r.x << "," << r.y << " " << r.width << "x" << r.height;
    return text.str();
}

}  // namespace tarn::kdetest
