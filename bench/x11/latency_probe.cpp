// Presses one chord through XTest and prints, in microseconds, how long it took until the
// given window was configured by whoever acts on that chord: the hotkey agent under test, or
// a peer tool. Only the time between the key press leaving this client and the
// ConfigureNotify reaching it counts; starting this program does not. With WIDTH= first, it
// waits for the configure that gives the window that width, so a move made in two steps
// (position, then size) is timed to its end, not to its first half.
//
//   latency_probe [WIDTH=N] WINDOW KEYSYM [MODIFIER_KEYSYM...]
//   e.g. latency_probe WIDTH=1918 0x400007 Right Control_L Alt_L
//
// Exits 1 (and prints nothing on standard output) when no configure came within 5 s.
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <poll.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct DisplayCloser {
    void operator()(Display* display) const { XCloseDisplay(display); }
};

bool press(Display* display, const std::vector<KeyCode>& modifiers, KeyCode key) {
    for (KeyCode modifier : modifiers) XTestFakeKeyEvent(display, modifier, True, CurrentTime);
    XTestFakeKeyEvent(display, key, True, CurrentTime);
    XTestFakeKeyEvent(display, key, False, CurrentTime);
    for (auto it = modifiers.rbegin(); it != modifiers.rend(); ++it) {
        XTestFakeKeyEvent(display, *it, False, CurrentTime);
    }
    return XFlush(display) != 0;
}

}  // namespace

int main(int argc, char** argv) {
    int width = -1;  // any configure
    if (argc > 1 && std::string_view(argv[1]).starts_with("WIDTH=")) {
        width = std::atoi(argv[1] + 6);
        --argc;
        ++argv;
    }
    if (argc < 3) {
        std::fprintf(stderr, "usage: latency_probe [WIDTH=N] WINDOW KEYSYM [MODIFIER_KEYSYM...]\n");
        return 2;
    }
    std::unique_ptr<Display, DisplayCloser> owned(XOpenDisplay(nullptr));
    Display* display = owned.get();
    if (!display) {
        std::fprintf(stderr, "latency_probe: cannot open the display\n");
        return 2;
    }
    const Window window = std::strtoul(argv[1], nullptr, 0);
    auto keycode = [&](const char* name) -> KeyCode {
        KeySym sym = XStringToKeysym(name);
        return sym == NoSymbol ? 0 : XKeysymToKeycode(display, sym);
    };
    const KeyCode key = keycode(argv[2]);
    std::vector<KeyCode> modifiers;
    for (int i = 3; i < argc; ++i) modifiers.push_back(keycode(argv[i]));
    if (key == 0) {
        std::fprintf(stderr, "latency_probe: no key for %s\n", argv[2]);
        return 2;
    }

    XSelectInput(display, window, StructureNotifyMask);
    XSync(display, False);
    const auto start = Clock::now();
    press(display, modifiers, key);
    const auto deadline = start + std::chrono::seconds(5);
    while (Clock::now() < deadline) {
        while (XPending(display)) {
            XEvent event;
            XNextEvent(display, &event);
            if (event.type == ConfigureNotify && event.xconfigure.window == window &&
                (width < 0 || event.xconfigure.width == width)) {
                auto took =
                    std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
                std::printf("%lld\n", static_cast<long long>(took.count()));
                return 0;
            }
        }
        pollfd fd{ConnectionNumber(display), POLLIN, 0};
        ::poll(&fd, 1, 10);
    }
    std::fprintf(stderr, "latency_probe: window 0x%lx was not configured within 5 s\n", window);
    return 1;
}
