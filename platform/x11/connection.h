#pragma once

// The X connection and the small pieces every part of the backend shares: ownership of
// Xlib memory, an error trap that records instead of aborting, atoms and properties.
// Xlib headers stay inside platform/x11.

#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <array>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarn::platform::x11 {

// Memory Xlib hands out (property data, lists) is released with XFree.
struct XFreeDeleter {
    void operator()(void* memory) const {
        if (memory) XFree(memory);
    }
};
template <typename T>
using XPtr = std::unique_ptr<T, XFreeDeleter>;

// One connection to the X server. Errors the server reports never end the process: they
// are recorded (see ErrorTrap) and calls turn them into absent answers. A connection that
// breaks (the server went away) is marked lost; check() then throws DesktopError.
class Connection {
  public:
    // Absent, with the reason in `error`, when the display cannot be opened.
    static std::unique_ptr<Connection> open(const std::string& displayName, std::string& error);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    Display* display() const { return display_; }
    Window root() const { return root_; }
    int screen() const { return screen_; }
    const std::string& name() const { return name_; }

    Atom atom(const char* name);
    // Whether the server has the extension, asked once. Asked through the core protocol:
    // some extension libraries leak their bookkeeping when asked about a missing one.
    bool hasExtension(const char* name);

    // Throws DesktopError when the connection to the server broke.
    void check() const;
    // Keyboard mapping changes. Xlib caches the keymap for the life of the connection, and
    // a client that uses XKB (Xlib does, on its own) hears of changes only when it asks for
    // XKB's map notifications: followKeymap() asks (once), refreshKeymap() takes in the
    // announcements that arrived since, so that key symbols and key codes translate by the
    // current keymap. keymapEvent() does the same for one event read elsewhere and says
    // whether it was one.
    void followKeymap();
    void refreshKeymap();
    bool keymapEvent(XEvent& event);
    bool lost() const { return lost_; }

    // A server time stamp, got by touching a property of `window` (which must select
    // PropertyChangeMask) and waiting for the notification. Needed where CurrentTime is
    // not good enough (taking a selection, asking for activation).
    Time serverTime(Window window);

    // Reads events until one that `match` accepts (others are dropped), up to the deadline.
    // Absent on timeout or a lost connection.
    template <typename Match>
    std::optional<XEvent> waitForEvent(std::chrono::steady_clock::time_point deadline, Match match);

  private:
    Connection(Display* display, std::string name);
    static void onConnectionLost(Display* display, void* self);
    // Blocks until the connection has input or the deadline passes; false on timeout.
    bool waitReadable(std::chrono::steady_clock::time_point deadline) const;

    Display* display_;
    std::string name_;
    Window root_;
    int screen_;
    bool lost_ = false;
    int xkbEventBase_ = -1;  // once followKeymap() found XKB
    bool followingKeymap_ = false;
    std::map<std::string, Atom, std::less<>> atoms_;
    std::map<std::string, bool, std::less<>> extensions_;
};

template <typename Match>
std::optional<XEvent> Connection::waitForEvent(std::chrono::steady_clock::time_point deadline,
                                               Match match) {
    while (!lost_) {
        while (XPending(display_) > 0) {
            XEvent event;
            XNextEvent(display_, &event);
            keymapEvent(event);
            if (match(event)) return event;
        }
        if (lost_ || !waitReadable(deadline)) return std::nullopt;
    }
    return std::nullopt;
}

// While one lives, errors on its connection are collected here instead of being reported.
// Construction settles earlier requests, so their errors are not counted; failed() waits
// for the answers to the requests since.
//
// Xlib's error handler is one for the whole process, but traps are per thread and per
// connection: the handler runs on the thread that reads the connection's replies, and each
// connection is used by one thread only, so the trap it finds is that thread's own for that
// connection. Any number of connections on any number of threads trap independently.
class ErrorTrap {
  public:
    explicit ErrorTrap(Connection& connection);
    ~ErrorTrap();
    ErrorTrap(const ErrorTrap&) = delete;
    ErrorTrap& operator=(const ErrorTrap&) = delete;

    // Whether any request since construction failed (waits for the server's answer).
    bool failed();
    // The first failure's error code (BadWindow, ...), 0 when none.
    int firstError() const { return firstError_; }
    // Every failure so far: the failed request's sequence number (NextRequest() before it
    // was made) and the error code. Call failed() first to have them all.
    struct Failure {
        unsigned long serial;
        int code;
    };
    const std::vector<Failure>& failures() const { return failures_; }

    static int handleError(Display* display, XErrorEvent* event);

  private:
    Connection& connection_;
    ErrorTrap* previous_;
    int firstError_ = 0;
    std::vector<Failure> failures_;
};

// A window of our own, destroyed with the object: an unmapped, input-only window that
// requests and receives selections and property notifications.
class HiddenWindow {
  public:
    HiddenWindow(Connection& connection, long eventMask);
    ~HiddenWindow();
    HiddenWindow(const HiddenWindow&) = delete;
    HiddenWindow& operator=(const HiddenWindow&) = delete;

    Window id() const { return window_; }

  private:
    Connection& connection_;
    Window window_;
};

// A window property read whole.
struct Property {
    Atom type = None;
    int format = 0;                    // 8, 16 or 32
    unsigned long count = 0;           // items of `format` bits
    std::vector<unsigned char> bytes;  // format 8
    std::vector<long> longs;           // format 32 (Xlib widens them to long), and 16
};

// Absent when the window is gone or does not have the property (of the type, when one is
// given).
std::optional<Property> readProperty(Connection& connection, Window window, Atom property,
                                     Atom type = AnyPropertyType);
// Format-32 values of a property; empty when absent.
std::vector<long> readLongs(Connection& connection, Window window, Atom property,
                            Atom type = AnyPropertyType);
// Sends a 32-bit client message about `window` to the root, the way the window manager
// expects requests (EWMH).
void sendToRoot(Connection& connection, Window window, Atom type, std::array<long, 5> data);

}  // namespace tarn::platform::x11
