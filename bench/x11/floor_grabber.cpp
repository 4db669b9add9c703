// The floor of hotkey to window moved on an X desktop: the least a hotkey program can do.
// It grabs one chord on the root window the way wendle does (a passive grab that freezes
// the keyboard until it answers), and on each press swallows the key, reads
// _NET_ACTIVE_WINDOW and sends one _NET_MOVERESIZE_WINDOW to the window manager. No rules,
// no threads, no state file: whatever wendle takes beyond this is its own cost.
//
//   floor_grabber KEYSYM X Y WIDTH HEIGHT     e.g. Right 0 100 1918 580
//
// The chord is control+alt+KEYSYM; X Y WIDTH HEIGHT are the client geometry asked for, as
// `wmctrl -e 0,X,Y,WIDTH,HEIGHT` would ask. Runs until killed.
#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

struct DisplayCloser {
    void operator()(Display* display) const { XCloseDisplay(display); }
};

Window activeWindow(Display* display, Atom active) {
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    Window window = None;
    if (XGetWindowProperty(display, DefaultRootWindow(display), active, 0, 1, False, XA_WINDOW,
                           &type, &format, &count, &after, &data) == Success &&
        data && count == 1) {
        window = *reinterpret_cast<Window*>(data);
    }
    if (data) XFree(data);
    return window;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::fprintf(stderr, "usage: floor_grabber KEYSYM X Y WIDTH HEIGHT\n");
        return 2;
    }
    std::unique_ptr<Display, DisplayCloser> owned(XOpenDisplay(nullptr));
    Display* display = owned.get();
    if (!display) {
        std::fprintf(stderr, "floor_grabber: cannot open the display\n");
        return 2;
    }
    const KeyCode key = XKeysymToKeycode(display, XStringToKeysym(argv[1]));
    if (key == 0) {
        std::fprintf(stderr, "floor_grabber: no key for %s\n", argv[1]);
        return 2;
    }
    long geometry[4];
    for (int i = 0; i < 4; ++i) geometry[i] = std::strtol(argv[2 + i], nullptr, 10);
    const Window root = DefaultRootWindow(display);
    const Atom active = XInternAtom(display, "_NET_ACTIVE_WINDOW", False);
    const Atom moveResize = XInternAtom(display, "_NET_MOVERESIZE_WINDOW", False);
    XGrabKey(display, key, ControlMask | Mod1Mask, root, False, GrabModeAsync, GrabModeSync);
    XSync(display, False);
    std::printf("grabbed\n");
    std::fflush(stdout);

    while (true) {
        XEvent event;
        XNextEvent(display, &event);
        if (event.type != KeyPress) continue;
        XUngrabKeyboard(display, event.xkey.time);  // swallowed, and the keyboard free again
        XClientMessageEvent message{};
        message.type = ClientMessage;
        message.window = activeWindow(display, active);
        message.message_type = moveResize;
        message.format = 32;
        // Gravity of the window's own, x y width height given, sent by a pager-like tool.
        message.data.l[0] = (1 << 8) | (1 << 9) | (1 << 10) | (1 << 11) | (2 << 12);
        for (int i = 0; i < 4; ++i) message.data.l[1 + i] = geometry[i];
        XSendEvent(display, root, False, SubstructureRedirectMask | SubstructureNotifyMask,
                   reinterpret_cast<XEvent*>(&message));
        XFlush(display);
    }
}
