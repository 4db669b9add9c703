// A plain Xlib client for the X11 tests: windows with exact sizes (no size increments, unlike
// terminals), a chosen WM_CLASS, _NET_WM_PID (unless told not to), and a log of what it
// receives, so tests can check exactly which keys arrived.
//
// usage: tarn_x11_test_app --log FILE [--class NAME] [--geometry WxH+X+Y] [--windows N]
//                          [--min WxH] [--no-pid] [--hold-clipboard] [--serve-string BYTES]
//                          [--skip-taskbar] [--grab KEYSYM MASK]
//
// --skip-taskbar asks the window manager to leave its windows off the task bar; --grab
// holds a passive grab of the key with the modifier mask (hex) on the root, as another
// hotkey program would, and logs "grabbed".
//
// Log lines: "window <id>" per window once created; "focus <id>" when one gets the focus;
// "key <keysym> <state>" for each key press that is not a modifier, "mod <keysym> <state>"
// for modifier presses (state in hex, as the event carries it); "clipboard held" once it
// owns CLIPBOARD: with --hold-clipboard it then never answers requests for it; with
// --serve-string it offers only the STRING target, answering it with BYTES as they are.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct Options {
    std::string log;
    std::string className = "TarnTestApp";
    int width = 640, height = 480, x = 100, y = 100;
    int windows = 1;
    int minWidth = 0, minHeight = 0;
    bool setPid = true;
    bool holdClipboard = false;
    bool serveString = false;
    std::string string;
    bool skipTaskbar = false;
    std::string grabKey;
    unsigned grabMask = 0;
};

[[noreturn]] void usage() {
    std::fputs("tarn_x11_test_app: bad arguments (see the source)\n", stderr);
    std::exit(2);
}

Options parse(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        auto value = [&]() -> const char* { return i + 1 < argc ? argv[++i] : (usage(), ""); };
        bool ok = true;
        if (word == "--log")
            o.log = value();
        else if (word == "--class")
            o.className = value();
        else if (word == "--geometry")
            ok = std::sscanf(value(), "%dx%d+%d+%d", &o.width, &o.height, &o.x, &o.y) == 4;
        else if (word == "--windows")
            o.windows = std::atoi(value());
        else if (word == "--min")
            ok = std::sscanf(value(), "%dx%d", &o.minWidth, &o.minHeight) == 2;
        else if (word == "--no-pid")
            o.setPid = false;
        else if (word == "--hold-clipboard")
            o.holdClipboard = true;
        else if (word == "--serve-string")
            o.string = value(), o.serveString = true;
        else if (word == "--skip-taskbar")
            o.skipTaskbar = true;
        else if (word == "--grab")
            o.grabKey = value(), o.grabMask = std::strtoul(value(), nullptr, 16);
        else
            ok = false;
        if (!ok) usage();
    }
    if (o.log.empty() || o.windows < 1) usage();
    return o;
}

}  // namespace

int main(int argc, char** argv) {
    Options options = parse(argc, argv);
    FILE* log = std::fopen(options.log.c_str(), "a");
    if (!log) return 1;
    std::setvbuf(log, nullptr, _IONBF, 0);
    Display* display = XOpenDisplay(nullptr);
    if (!display) return 1;

    Atom deleteWindow = XInternAtom(display, "WM_DELETE_WINDOW", False);
    Atom pidAtom = XInternAtom(display, "_NET_WM_PID", False);
    std::string instance = options.className;
    for (char& c : instance) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));

    std::vector<Window> windows;
    for (int i = 0; i < options.windows; ++i) {
        int offset = 40 * i;  // cascade, so each window has its own place
        Window window = XCreateSimpleWindow(
            display, DefaultRootWindow(display), options.x + offset, options.y + offset,
            static_cast<unsigned>(options.width), static_cast<unsigned>(options.height), 0,
            BlackPixel(display, DefaultScreen(display)),
            WhitePixel(display, DefaultScreen(display)));
        XSelectInput(display, window,
                     KeyPressMask | KeyReleaseMask | FocusChangeMask | StructureNotifyMask);

        XClassHint hint{instance.data(), options.className.data()};
        XSetClassHint(display, window, &hint);
        std::string title = options.className + " " + std::to_string(i + 1);
        XStoreName(display, window, title.c_str());
        XSizeHints* sizes = XAllocSizeHints();
        sizes->flags = USPosition | USSize;
        sizes->x = options.x + offset;
        sizes->y = options.y + offset;
        sizes->width = options.width;
        sizes->height = options.height;
        if (options.minWidth > 0) {
            sizes->flags |= PMinSize;
            sizes->min_width = options.minWidth;
            sizes->min_height = options.minHeight;
        }
        XSetWMNormalHints(display, window, sizes);
        XFree(sizes);
        XWMHints* hints = XAllocWMHints();
        hints->flags = InputHint | StateHint;
        hints->input = True;
        hints->initial_state = NormalState;
        XSetWMHints(display, window, hints);
        XFree(hints);
        XSetWMProtocols(display, window, &deleteWindow, 1);
        if (options.skipTaskbar) {
            Atom skip = XInternAtom(display, "_NET_WM_STATE_SKIP_TASKBAR", False);
            XChangeProperty(display, window, XInternAtom(display, "_NET_WM_STATE", False), XA_ATOM,
                            32, PropModeReplace, reinterpret_cast<unsigned char*>(&skip), 1);
        }
        if (options.setPid) {
            long pid = ::getpid();
            XChangeProperty(display, window, pidAtom, XA_CARDINAL, 32, PropModeReplace,
                            reinterpret_cast<unsigned char*>(&pid), 1);
        }
        XMapWindow(display, window);
        windows.push_back(window);
        std::fprintf(log, "window %lu\n", window);
    }
    XFlush(display);

    if (!options.grabKey.empty()) {
        KeyCode key = XKeysymToKeycode(display, XStringToKeysym(options.grabKey.c_str()));
        XGrabKey(display, key, options.grabMask, DefaultRootWindow(display), True, GrabModeAsync,
                 GrabModeAsync);
        XSync(display, False);
        std::fprintf(log, "grabbed\n");
    }

    if (options.holdClipboard || options.serveString) {
        XSetSelectionOwner(display, XInternAtom(display, "CLIPBOARD", False), windows[0],
                           CurrentTime);
        XSync(display, False);
        std::fprintf(log, "clipboard held\n");
    }

    while (true) {
        XEvent event;
        XNextEvent(display, &event);
        switch (event.type) {
            case MappingNotify:
                XRefreshKeyboardMapping(&event.xmapping);
                break;
            case FocusIn:
                std::fprintf(log, "focus %lu\n", event.xfocus.window);
                break;
            case KeyPress: {
                char text[16];
                KeySym symbol = NoSymbol;
                XLookupString(&event.xkey, text, sizeof text, &symbol, nullptr);
                const char* name = XKeysymToString(symbol);
                std::fprintf(log, "%s %s 0x%x\n", IsModifierKey(symbol) ? "mod" : "key",
                             name ? name : "NoSymbol", event.xkey.state);
                break;
            }
            case SelectionRequest: {
                if (!options.serveString) break;
                const XSelectionRequestEvent& request = event.xselectionrequest;
                XEvent reply{};
                reply.xselection.type = SelectionNotify;
                reply.xselection.requestor = request.requestor;
                reply.xselection.selection = request.selection;
                reply.xselection.target = request.target;
                reply.xselection.time = request.time;
                reply.xselection.property = None;
                if (request.target == XA_STRING) {
                    XChangeProperty(display, request.requestor, request.property, XA_STRING, 8,
                                    PropModeReplace,
                                    reinterpret_cast<const unsigned char*>(options.string.data()),
                                    static_cast<int>(options.string.size()));
                    reply.xselection.property = request.property;
                }
                XSendEvent(display, request.requestor, False, NoEventMask, &reply);
                XFlush(display);
                break;
            }
            case ClientMessage:
                if (static_cast<Atom>(event.xclient.data.l[0]) == deleteWindow) return 0;
                break;
            default:
                break;
        }
    }
}
