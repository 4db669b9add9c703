#include "tests/x11/harness.h"

#include <X11/Xlib.h>
#include <X11/extensions/XInput.h>
#include <X11/extensions/XInput2.h>
#include <X11/extensions/XTest.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <thread>

namespace tarn::x11test {
namespace {

using Clock = std::chrono::steady_clock;

std::vector<char*> pointers(std::vector<std::string>& words) {
    std::vector<char*> result;
    for (auto& word : words) result.push_back(word.data());
    result.push_back(nullptr);
    return result;
}

// Starts argv with the given descriptors as its standard input and output (-1: /dev/null);
// standard error goes to /dev/null.
pid_t spawn(std::vector<std::string> argv, int in, int out) {
    auto args = pointers(argv);
    pid_t pid = ::fork();
    if (pid != 0) return pid;
    int devNull = ::open("/dev/null", O_RDWR);
    ::dup2(in >= 0 ? in : devNull, 0);
    ::dup2(out >= 0 ? out : devNull, 1);
    ::dup2(devNull, 2);
    ::setpgid(0, 0);  // so a stuck one can be ended with everything it started
    ::execvp(args[0], args.data());
    ::_exit(127);
}

int waitFor(pid_t pid, Clock::time_point deadline) {
    int status = 0;
    while (::waitpid(pid, &status, WNOHANG) == 0) {
        if (Clock::now() > deadline) {
            ::kill(-pid, SIGKILL);
            ::waitpid(pid, &status, 0);
            return -1;
        }
        std::this_thread::sleep_for(2ms);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Feeds `input` through a pipe (written whole before the child reads: test inputs are small
// or the child reads them eagerly).
int inputPipe(const std::string& input) {
    ::signal(SIGPIPE, SIG_IGN);  // a child that does not read its input must not end us
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) return -1;
    std::thread writer([fd = fds[1], input] {
        std::size_t done = 0;
        while (done < input.size()) {
            ssize_t n = ::write(fd, input.data() + done, input.size() - done);
            if (n <= 0) break;
            done += static_cast<std::size_t>(n);
        }
        ::close(fd);
    });
    writer.detach();
    return fds[0];
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) result.push_back(line);
    return result;
}

}  // namespace

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    auto deadline = Clock::now() + limit;
    while (true) {
        if (condition()) return true;
        if (Clock::now() > deadline) return condition();
        std::this_thread::sleep_for(5ms);
    }
}

Output run(const std::vector<std::string>& argv, const std::string& input) {
    int out[2];
    if (::pipe2(out, O_CLOEXEC) != 0) return {};
    int in = inputPipe(input);
    pid_t pid = spawn(argv, in, out[1]);
    ::close(out[1]);
    if (in >= 0) ::close(in);
    Output result;
    auto deadline = Clock::now() + 10s;
    char buffer[65536];
    while (Clock::now() < deadline) {
        pollfd descriptor{out[0], POLLIN, 0};
        if (::poll(&descriptor, 1, 100) <= 0) continue;
        ssize_t n = ::read(out[0], buffer, sizeof buffer);
        if (n <= 0) break;
        result.out.append(buffer, static_cast<std::size_t>(n));
    }
    ::close(out[0]);
    result.status = waitFor(pid, deadline);
    return result;
}

int runDetached(const std::vector<std::string>& argv, const std::string& input) {
    int in = inputPipe(input);
    pid_t pid = spawn(argv, in, -1);
    if (in >= 0) ::close(in);
    return waitFor(pid, Clock::now() + 10s);
}

Child::Child(const std::vector<std::string>& argv) : pid_(spawn(argv, -1, -1)) {}

Child::~Child() {
    kill();
}

void Child::kill() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGTERM);
    waitFor(pid_, Clock::now() + 5s);
    pid_ = -1;
}

PrivateServer::PrivateServer(const std::vector<std::string>& options) {
    int ready[2];
    if (::pipe2(ready, O_CLOEXEC) != 0) throw std::runtime_error("no pipe for Xvfb");
    std::vector<std::string> argv{"Xvfb", "-displayfd", "3", "-nolisten", "tcp"};
    argv.insert(argv.end(), options.begin(), options.end());
    auto args = pointers(argv);
    pid_ = ::fork();
    if (pid_ == 0) {
        // The server writes the display it picked to descriptor 3.
        ::dup2(ready[1], 3);
        int devNull = ::open("/dev/null", O_RDWR);
        ::dup2(devNull, 1);
        ::dup2(devNull, 2);
        ::execvp(args[0], args.data());
        ::_exit(127);
    }
    ::close(ready[1]);
    std::string number;
    auto deadline = Clock::now() + 10s;
    char c = 0;
    while (Clock::now() < deadline) {
        pollfd descriptor{ready[0], POLLIN, 0};
        if (::poll(&descriptor, 1, 100) <= 0) continue;
        if (::read(ready[0], &c, 1) != 1 || c == '\n') break;
        number += c;
    }
    ::close(ready[0]);
    if (number.empty()) {
        ::kill(pid_, SIGKILL);
        waitFor(pid_, Clock::now() + 5s);
        throw std::runtime_error("Xvfb reported no display");
    }
    display_ = ":" + number;
}

PrivateServer::~PrivateServer() {
    ::kill(pid_, SIGTERM);
    waitFor(pid_, Clock::now() + 5s);
}

std::string TestApp::logText() const {
    std::ifstream in(log);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> TestApp::keys() const {
    std::vector<std::string> result;
    for (auto& line : lines(logText())) {
        if (line.rfind("key ", 0) == 0) result.push_back(line);
    }
    return result;
}

TestApp startApp(const tarn::testing::TempDir& dir, const std::vector<std::string>& options,
                 Until until) {
    static int started = 0;
    auto log = dir.path() / ("app-" + std::to_string(++started) + ".log");
    std::vector<std::string> argv{TARN_X11_TEST_APP, "--log", log.string()};
    argv.insert(argv.end(), options.begin(), options.end());
    std::size_t count = 1;
    for (std::size_t i = 0; i + 1 < options.size(); ++i) {
        if (options[i] == "--windows") count = std::stoul(options[i + 1]);
    }
    TestApp app{Child(argv), log, {}};

    auto readWindows = [&] {
        app.windows.clear();
        for (auto& line : lines(app.logText())) {
            if (line.rfind("window ", 0) == 0) app.windows.push_back(std::stoul(line.substr(7)));
        }
        return app.windows.size() == count;
    };
    if (!eventually(readWindows)) throw std::runtime_error("the test app made no windows");
    for (unsigned long window : app.windows) {
        bool shown = eventually([&] {
            if (until == Until::mapped) {
                auto info = run({"xwininfo", "-id", std::to_string(window)});
                return info.out.find("Map State: IsViewable") != std::string::npos;
            }
            return wmState(window) == "Normal";
        });
        if (!shown) {
            auto info = run({"xwininfo", "-id", std::to_string(window)});
            throw std::runtime_error("test app window " + std::to_string(window) +
                                     " was not shown: WM_STATE \"" + wmState(window) + "\"\n" +
                                     info.out + "log:\n" + app.logText());
        }
    }
    if (until == Until::focused) {
        const std::string focusLine = "focus " + std::to_string(app.windows.back());
        bool focused = eventually([&] {
            return activeWindow() == app.windows.back() &&
                   app.logText().find(focusLine) != std::string::npos;
        });
        if (!focused) {
            throw std::runtime_error("the test app did not get the focus: active window " +
                                     std::to_string(activeWindow()) + ", log:\n" + app.logText());
        }
    }
    return app;
}

// --- Oracles ------------------------------------------------------------------------------

std::string display() {
    const char* value = std::getenv("DISPLAY");
    return value ? value : "";
}

unsigned long activeWindow() {
    auto result = run({"xdotool", "getactivewindow"});
    if (result.status != 0) return 0;
    return std::strtoul(result.out.c_str(), nullptr, 10);
}

std::string wmState(unsigned long window) {
    auto result = run({"xprop", "-id", std::to_string(window), "WM_STATE"});
    std::smatch match;
    static const std::regex state("window state: (\\w+)");
    return std::regex_search(result.out, match, state) ? match[1].str() : "";
}

std::vector<std::string> netWmState(unsigned long window) {
    auto result = run({"xprop", "-id", std::to_string(window), "_NET_WM_STATE"});
    std::vector<std::string> states;
    static const std::regex name("_NET_WM_STATE_\\w+");
    for (std::sregex_iterator it(result.out.begin(), result.out.end(), name), end; it != end;
         ++it) {
        states.push_back(it->str());
    }
    return states;
}

bool windowExists(unsigned long window) {
    return run({"xwininfo", "-id", std::to_string(window)}).status == 0;
}

std::optional<platform::Rect> outerFrame(unsigned long window) {
    auto info = run({"xwininfo", "-id", std::to_string(window)});
    if (info.status != 0) return std::nullopt;
    auto field = [&](const char* label) -> std::optional<double> {
        std::smatch match;
        std::regex pattern(std::string(label) + ":\\s+(-?\\d+)");
        if (!std::regex_search(info.out, match, pattern)) return std::nullopt;
        return std::stod(match[1].str());
    };
    auto x = field("Absolute upper-left X");
    auto y = field("Absolute upper-left Y");
    auto width = field("Width");
    auto height = field("Height");
    if (!x || !y || !width || !height) return std::nullopt;

    double left = 0, right = 0, top = 0, bottom = 0;
    auto extents = run({"xprop", "-id", std::to_string(window), "_NET_FRAME_EXTENTS"});
    std::smatch match;
    static const std::regex values("= (\\d+), (\\d+), (\\d+), (\\d+)");
    if (std::regex_search(extents.out, match, values)) {
        left = std::stod(match[1].str());
        right = std::stod(match[2].str());
        top = std::stod(match[3].str());
        bottom = std::stod(match[4].str());
    }
    return platform::Rect{*x - left, *y - top, *width + left + right, *height + top + bottom};
}

platform::Rect frameOnceAt(unsigned long window, const platform::Rect& expected) {
    platform::Rect seen{};
    eventually([&] {
        auto frame = outerFrame(window);
        if (frame) seen = *frame;
        return frame && near(*frame, expected);
    });
    return seen;
}

std::vector<Monitor> monitors() {
    std::vector<Monitor> result;
    static const std::regex line(R"(^\s*\d+: \+?(\*?)(\S+) (\d+)/\d+x(\d+)/\d+\+(-?\d+)\+(-?\d+))");
    for (auto& text : lines(run({"xrandr", "--listmonitors"}).out)) {
        std::smatch match;
        if (!std::regex_search(text, match, line)) continue;
        result.push_back({match[2].str(), match[1].length() > 0,
                          rect(std::stod(match[5].str()), std::stod(match[6].str()),
                               std::stod(match[3].str()), std::stod(match[4].str()))});
    }
    return result;
}

std::optional<platform::Point> pointerLocation() {
    auto result = run({"xdotool", "getmouselocation"});
    std::smatch match;
    static const std::regex location("x:(-?\\d+) y:(-?\\d+)");
    if (!std::regex_search(result.out, match, location)) return std::nullopt;
    return platform::Point{std::stod(match[1].str()), std::stod(match[2].str())};
}

std::optional<std::string> clipboardText() {
    auto result = run({"xclip", "-selection", "clipboard", "-o"});
    if (result.status != 0) return std::nullopt;
    return result.out;
}

void putOnClipboard(const std::string& text, const std::string& target) {
    runDetached({"xclip", "-selection", "clipboard", "-t", target, "-i"}, text);
}

std::vector<int> keysDown() {
    std::vector<int> down;
    Display* connection = XOpenDisplay(nullptr);
    if (!connection) return down;
    char keys[32] = {};
    XQueryKeymap(connection, keys);
    XCloseDisplay(connection);
    for (int code = 0; code < 256; ++code) {
        if (keys[code / 8] & (1 << (code % 8))) down.push_back(code);
    }
    return down;
}

int keyCodeOf(const std::string& keysymName) {
    static const std::regex line(R"(^keycode\s+(\d+) = (\S+))");
    for (auto& text : lines(run({"xmodmap", "-pke"}).out)) {
        std::smatch match;
        if (std::regex_search(text, match, line) && match[2].str() == keysymName) {
            return std::stoi(match[1].str());
        }
    }
    return 0;
}

void holdOnUsersKeyboard(const std::string& keysymName, bool down) {
    Display* connection = XOpenDisplay(nullptr);
    if (!connection) return;
    int count = 0;
    XIDeviceInfo* devices = XIQueryDevice(connection, XIAllDevices, &count);
    for (int i = 0; i < count; ++i) {
        std::string name = devices[i].name;
        if (devices[i].use != XISlaveKeyboard || name.find("XTEST") != std::string::npos) continue;
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
    XCloseDisplay(connection);
}

pid_t windowManagerPid() {
    const char* value = std::getenv("TARN_TEST_WM_PID");
    return value ? static_cast<pid_t>(std::atoi(value)) : -1;
}

pid_t serverPid() {
    const char* value = std::getenv("TARN_TEST_XVFB_PID");
    return value ? static_cast<pid_t>(std::atoi(value)) : -1;
}

platform::Rect rect(double x, double y, double width, double height) {
    return platform::Rect{x, y, width, height};
}

bool near(const platform::Rect& a, const platform::Rect& b, double tolerance) {
    return std::fabs(a.x - b.x) <= tolerance && std::fabs(a.y - b.y) <= tolerance &&
           std::fabs(a.width - b.width) <= tolerance && std::fabs(a.height - b.height) <= tolerance;
}

std::string describe(const platform::Rect& r) {
    std::ostringstream text;
    text << r.x << "," << r.y << " " << r.width << "x" << r.height;
    return text.str();
}

}  // namespace tarn::x11test
