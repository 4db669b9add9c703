// A plain Xlib client for the X11 tests: windows with exact sizes (no size increments, unlike
// terminals), a chosen WM_CLASS, _NET_WM_PID, and a log of what it receives.
//
// usage: tarn_x11_test_app --log FILE [--class NAME] [--geometry WxH+X+Y] [--windows N]
//                          [--min WxH] [--hold-clipboard] [--serve-string BYTES]
//                          [--skip-taskbar] [--grab KEYSYM MASK]
//
// --grab holds a passive grab of the key with the modifier mask (hex) on the root, as another
// hotkey program would. --hold-clipboard owns CLIPBOARD and never answers; --serve-string
// offers only the STRING target, answering it with BYTES as they are.
//
// Log lines: "window <id>" per window, then "made"; "focus <id>"; "key <keysym> <state>" per
// key press, "mod <keysym> <state>" for modifiers (state in hex, as the event carries it);
// "grabbed"; "clipboard held".
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    // Each option with the number of values it takes.
    const std::map<std::string, int> arity{
        {"--log", 1},          {"--class", 1}, {"--geometry", 1},
        {"--windows", 1},      {"--min", 1},   {"--hold-clipboard", 0},
        {"--serve-string", 1}, {"--grab", 2},  {"--skip-taskbar", 0}};
    std::map<std::string, std::vector<std::string>> given;
    for (int i = 1; i < argc; ++i) {
        auto option = arity.find(argv[i]);
        if (option == arity.end() || i + option->second >= argc) return 2;
        auto& values = given[argv[i]];
        for (int k = 0; k < option->second; ++k) values.push_back(argv[++i]);
    }
    auto value = [&](const char* name, const char* otherwise) {
        return given.count(name) ? given[name][0] : std::string(otherwise);
    };
    const std::string className = value("--class", "TarnTestApp");
    const std::string served = value("--serve-string", "");
    int width = 0, height = 0, x = 0, y = 0, minWidth = 0, minHeight = 0;
    std::sscanf(value("--geometry", "640x480+100+100").c_str(), "%dx%d+%d+%d", &width, &height, &x,
                &y);
    std::sscanf(value("--min", "0x0").c_str(), "%dx%d", &minWidth, &minHeight);
    FILE* log = std::fopen(value("--log", "").c_str(), "a");
    Display* display = XOpenDisplay(nullptr);
    if (!log || !display) return 1;
    std::setvbuf(log, nullptr, _IONBF, 0);

    std::string instance = className;
    for (char& c : instance) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    std::vector<Window> windows;
    for (int i = 0; i < std::atoi(value("--windows", "1").c_str()); ++i) {
        int offset = 40 * i;  // cascade, so each window has its own place
        Window window =
            XCreateSimpleWindow(display, DefaultRootWindow(display), x + offset, y + offset,
                                static_cast<unsigned>(width), static_cast<unsigned>(height), 0,
                                BlackPixel(display, DefaultScreen(display)),
                                WhitePixel(display, DefaultScreen(display)));
        XSelectInput(display, window, KeyPressMask | FocusChangeMask);
        XClassHint hint{instance.data(), const_cast<char*>(className.c_str())};
        XSetClassHint(display, window, &hint);
        XSizeHints sizes{};
        sizes.flags = USPosition | USSize | (minWidth > 0 ? PMinSize : 0);
        sizes.min_width = minWidth;
        sizes.min_height = minHeight;
        XSetWMNormalHints(display, window, &sizes);
        if (given.count("--skip-taskbar")) {
            Atom skip = XInternAtom(display, "_NET_WM_STATE_SKIP_TASKBAR", False);
            XChangeProperty(display, window, XInternAtom(display, "_NET_WM_STATE", False), XA_ATOM,
                            32, PropModeReplace, reinterpret_cast<unsigned char*>(&skip), 1);
        }
        long pid = ::getpid();
        XChangeProperty(display, window, XInternAtom(display, "_NET_WM_PID", False), XA_CARDINAL,
                        32, PropModeReplace, reinterpret_cast<unsigned char*>(&pid), 1);
        XMapWindow(display, window);
        windows.push_back(window);
        std::fprintf(log, "window %lu\n", window);
    }
    std::fprintf(log, "made\n");
    XFlush(display);

    if (given.count("--grab")) {
        auto& grab = given["--grab"];
        KeyCode key = XKeysymToKeycode(display, XStringToKeysym(grab[0].c_str()));
        XGrabKey(display, key, static_cast<unsigned>(std::strtoul(grab[1].c_str(), nullptr, 16)),
                 DefaultRootWindow(display), True, GrabModeAsync, GrabModeAsync);
        XSync(display, False);
        std::fprintf(log, "grabbed\n");
    }
    if (given.count("--hold-clipboard") || given.count("--serve-string")) {
        XSetSelectionOwner(display, XInternAtom(display, "CLIPBOARD", False), windows[0],
                           CurrentTime);
        XSync(display, False);
        std::fprintf(log, "clipboard held\n");
    }

    while (true) {
        XEvent event;
        XNextEvent(display, &event);
        if (event.type == MappingNotify) {
            XRefreshKeyboardMapping(&event.xmapping);
        } else if (event.type == FocusIn) {
            std::fprintf(log, "focus %lu\n", event.xfocus.window);
        } else if (event.type == KeyPress) {
            KeySym symbol = NoSymbol;
            char text[16];
            XLookupString(&event.xkey, text, sizeof text, &symbol, nullptr);
            const char* name = XKeysymToString(symbol);
            std::fprintf(log, "%s %s 0x%x\n", IsModifierKey(symbol) ? "mod" : "key",
                         name ? name : "NoSymbol", event.xkey.state);
        } else if (event.type == SelectionRequest && given.count("--serve-string")) {
            const XSelectionRequestEvent& request = event.xselectionrequest;
            XEvent reply{.xselection = {SelectionNotify, 0, True, display, request.requestor,
                                        request.selection, request.target, None, request.time}};
            if (request.target == XA_STRING) {
                XChangeProperty(display, request.requestor, request.property, XA_STRING, 8,
                                PropModeReplace,
                                reinterpret_cast<const unsigned char*>(served.data()),
                                static_cast<int>(served.size()));
                reply.xselection.property = request.property;
            }
            XSendEvent(display, request.requestor, False, NoEventMask, &reply);
            XFlush(display);
        }
    }
}
