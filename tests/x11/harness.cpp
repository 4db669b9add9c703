#include "tests/x11/harness.h"

#include <X11/Xlib.h>
#include <X11/extensions/XInput.h>
#include <X11/extensions/XInput2.h>
#include <X11/extensions/XTest.h>
#include <signal.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <regex>
#include <sstream>
#include <thread>

#include "platform/backend.h"

namespace tarn::x11test {
namespace {

std::optional<std::string> firstMatch(const std::string& text, const std::regex& pattern) {
    std::smatch match;
    if (!std::regex_search(text, match, pattern)) return std::nullopt;
    return match[1].str();
}

// Runs `use` on a connection of the test's own, if one opens.
template <class Use>
void withConnection(Use use) {
    if (Display* connection = XOpenDisplay(nullptr)) {
        use(connection);
        XCloseDisplay(connection);
    }
}

pid_t fixturePid(const char* variable) {
    const char* value = std::getenv(variable);
    if (!value) throw std::runtime_error(std::string(variable) + " is not set: run with-x11.sh");
    return static_cast<pid_t>(std::atoi(value));
}

}  // namespace

platform::DesktopChoice openDesktopOn(const std::string& display,
                                      platform::DesktopOptions options) {
    platform::Backend backend([display](std::string_view name) -> std::optional<std::string> {
        if (name == "DISPLAY") return display;
        return std::nullopt;
    });
    return backend.openDesktop(options);
}

PrivateServer::PrivateServer(const std::string& options) {
    // The server picks a free display itself and writes its number to descriptor 3.
    auto file = dir_.path() / "display";
    xvfb_.emplace(std::vector<std::string>{
        "sh", "-c", "exec Xvfb -displayfd 3 -nolisten tcp " + options + " 3>\"$0\"",
        file.string()});
    auto number = [&] { return support::readFile(file).value_or(""); };
    if (!eventually([&] { return number().ends_with('\n'); }, 10s))
        throw std::runtime_error("Xvfb reported no display");
    display_ = ":" + number().substr(0, number().size() - 1);
}

std::vector<std::string> TestApp::logLines(const std::string& kind) const {
    std::vector<std::string> result;
    std::istringstream in(logText());
    for (std::string line; std::getline(in, line);)
        if (line.starts_with(kind + " ")) result.push_back(line);
    return result;
}

TestApp startApp(const tarn::testing::TempDir& dir, const std::vector<std::string>& options,
                 Until until) {
    static int started = 0;
    auto log = dir.path() / ("app-" + std::to_string(++started) + ".log");
    std::vector<std::string> argv{TARN_X11_TEST_APP, "--log", log.string()};
    argv.insert(argv.end(), options.begin(), options.end());
    TestApp app{Child(argv), log, {}};
    auto fail = [&](const std::string& what) {
        throw std::runtime_error("the test app " + what + "; active window " +
                                 std::to_string(activeWindow()) + ", log:\n" + app.logText());
    };
    if (!eventually([&] { return app.logged("made\n"); })) fail("made no windows");
    for (auto& line : app.logLines("window")) app.windows.push_back(std::stoul(line.substr(7)));
    for (unsigned long window : app.windows) {
        bool shown = eventually([&] {
            if (until != Until::mapped) return wmState(window) == "Normal";
            return run({"xwininfo", "-id", std::to_string(window)}).out.find("IsViewable") !=
                   std::string::npos;
        });
        if (!shown) fail("window " + std::to_string(window) + " was not shown");
    }
    const std::string focusLine = "focus " + std::to_string(app.windows.back());
    if (until == Until::focused && !eventually([&] {
            return activeWindow() == app.windows.back() && app.logged(focusLine);
        })) {
        fail("did not get the focus");
    }
    return app;
}

std::string display() {
    const char* value = std::getenv("DISPLAY");
    return value ? value : "";
}

pid_t serverPid() {
    return fixturePid("TARN_TEST_XVFB_PID");
}

pid_t windowManagerPid() {
    return fixturePid("TARN_TEST_WM_PID");
}

unsigned long activeWindow() {
    auto result = run({"xdotool", "getactivewindow"});
    if (result.status != 0) return 0;
    return std::strtoul(result.out.c_str(), nullptr, 10);
}

std::string xprop(unsigned long window, const std::string& property) {
    return run({"xprop", "-id", std::to_string(window), property}).out;
}

std::string wmState(unsigned long window) {
    static const std::regex state("window state: (\\w+)");
    return firstMatch(xprop(window, "WM_STATE"), state).value_or("");
}

std::optional<Rect> outerFrame(unsigned long window) {
    auto info = run({"xwininfo", "-id", std::to_string(window)});
    auto field = [&](const char* label) {
        auto value = firstMatch(info.out, std::regex(std::string(label) + ":\\s+(-?\\d+)"));
        return value ? std::stod(*value) : NAN;
    };
    Rect client{field("Absolute upper-left X"), field("Absolute upper-left Y"), field("Width"),
                field("Height")};
    if (info.status != 0 || std::isnan(client.x + client.y + client.width + client.height))
        return std::nullopt;
    // Without a window manager there are no extents (xprop says "not found").
    double left = 0, right = 0, top = 0, bottom = 0;
    std::sscanf(xprop(window, "_NET_FRAME_EXTENTS").c_str(), "%*[^=]= %lf, %lf, %lf, %lf", &left,
                &right, &top, &bottom);
    return Rect{client.x - left, client.y - top, client.width + left + right,
                client.height + top + bottom};
}

::testing::AssertionResult settlesAt(unsigned long window, const Rect& expected) {
    std::optional<Rect> seen;
    if (eventually([&] { return (seen = outerFrame(window)) && near(*seen, expected); }))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "expected " << describe(expected) << ", oracle saw "
                                         << (seen ? describe(*seen) : "no window");
}

std::optional<platform::Point> pointerLocation() {
    platform::Point at;
    auto text = run({"xdotool", "getmouselocation", "--shell"}).out;
    if (std::sscanf(text.c_str(), "X=%lf Y=%lf", &at.x, &at.y) != 2) return std::nullopt;
    return at;
}

std::optional<std::string> clipboardText() {
    auto result = run({"xclip", "-selection", "clipboard", "-o"});
    if (result.status != 0) return std::nullopt;
    return result.out;
}

// xclip's foreground process may end before the child it leaves behind owns the selection.
void putOnClipboard(const std::string& text) {
    run({"sh", "-c", "printf %s \"$0\" | xclip -selection clipboard -i", text});
    if (!eventually([&] { return clipboardText() == text; }))
        throw std::runtime_error("xclip did not take the clipboard");
}

std::vector<int> keysDown() {
    std::vector<int> down;
    withConnection([&](Display* connection) {
        char keys[32] = {};
        XQueryKeymap(connection, keys);
        for (int code = 0; code < 256; ++code) {
            if (keys[code / 8] & (1 << (code % 8))) down.push_back(code);
        }
    });
    return down;
}

int keyCodeOf(const std::string& keysymName) {
    int code = 0;
    withConnection([&](Display* connection) {
        code = XKeysymToKeycode(connection, XStringToKeysym(keysymName.c_str()));
    });
    return code;
}

void holdOnUsersKeyboard(const std::string& keysymName, bool down) {
    withConnection([&](Display* connection) {
        int count = 0;
        XIDeviceInfo* devices = XIQueryDevice(connection, XIAllDevices, &count);
        for (int i = 0; i < count; ++i) {
            std::string name = devices[i].name;
            if (devices[i].use != XISlaveKeyboard || name.find("XTEST") != std::string::npos)
                continue;
            if (XDevice* device = XOpenDevice(connection, static_cast<XID>(devices[i].deviceid))) {
                KeyCode key = XKeysymToKeycode(connection, XStringToKeysym(keysymName.c_str()));
                XTestFakeDeviceKeyEvent(connection, device, key, down ? True : False, nullptr, 0,
                                        CurrentTime);
                XSync(connection, False);
                XCloseDevice(connection, device);
                break;
            }
        }
        XIFreeDeviceInfo(devices);
    });
}

int processesWith(const std::string& word) {
    return std::atoi(run({"pgrep", "-c", "-f", word}).out.c_str());
}

namespace {
// The client's log line "key <keysym> <state>" as the oracle words keys.
std::string keyName(const std::string& line) {
    std::istringstream in(line.substr(4));
    std::string keysym;
    unsigned state = 0;
    in >> keysym >> std::hex >> state;
    std::string name;
    for (auto [mask, modifier] : {std::pair{ControlMask, "ctrl+"},
                                  {Mod1Mask, "alt+"},
                                  {ShiftMask, "shift+"},
                                  {Mod4Mask, "super+"}})
        if (state & mask) name += modifier;
    return name + keysym;
}

class X11Client : public testing::TestClient {
  public:
    explicit X11Client(TestApp app) : app_(std::move(app)) {}
    std::vector<std::string> keys() const override {
        std::vector<std::string> names;
        for (const auto& line : app_.keys()) names.push_back(keyName(line));
        return names;
    }
    std::optional<Rect> frame() const override { return outerFrame(app_.window()); }

  private:
    TestApp app_;
};

}  // namespace

std::unique_ptr<testing::TestClient> X11Oracle::startClient(const testing::ClientOptions& options) {
    const Rect& at = options.frame;
    std::ostringstream geometry;
    geometry << at.width << "x" << at.height << "+" << at.x << "+" << at.y;
    return std::make_unique<X11Client>(
        startApp(dir_, {"--class", options.appId, "--geometry", geometry.str()}));
}

void X11Oracle::press(const std::string& chord) {
    run({"xdotool", "key", chord});
}

std::vector<std::pair<std::string, std::string>> X11Oracle::environment() const {
    return {{"DISPLAY", display()}};
}

}  // namespace tarn::x11test
