#include "platform/x11/connection.h"

#include <X11/XKBlib.h>

#include <poll.h>

#include <cerrno>
#include <mutex>

#include "platform/desktop.h"

namespace tarn::platform::x11 {
namespace {

thread_local ErrorTrap* currentTrap = nullptr;

// Xlib's default reaction to a broken connection is to print and exit; ours stays quiet and
// lets the per-connection exit handler mark the connection lost instead.
int quietIoError(Display*) {
    return 0;
}

// XInitThreads comes first, before any other Xlib call of the process: the agent runs
// connections on several threads (each connection on one thread only), and Xlib's own
// global state needs its locks for that.
void installHandlers() {
    static std::once_flag once;
    std::call_once(once, [] {
        XInitThreads();
        XSetErrorHandler(&ErrorTrap::handleError);
        XSetIOErrorHandler(&quietIoError);
    });
}

// Waits until the server has answered every request sent so far, so that their errors have
// reached the handler. Nothing to wait for when the last request's answer is in already
// (a property read, say): the server answers in order, so every error before it came first.
void settle(Display* display) {
    if (LastKnownRequestProcessed(display) != NextRequest(display) - 1) XSync(display, False);
}

}  // namespace

// --- Connection -------------------------------------------------------------------------

std::unique_ptr<Connection> Connection::open(const std::string& displayName, std::string& error) {
    installHandlers();
    Display* display = XOpenDisplay(displayName.c_str());
    if (!display) {
        error = "cannot open the X display \"" + displayName + "\" named by DISPLAY";
        return nullptr;
    }
    // The resolved name, so that a process started from here reaches the same server.
    return std::unique_ptr<Connection>(new Connection(display, DisplayString(display)));
}

Connection::Connection(Display* display, std::string name)
    : display_(display),
      name_(std::move(name)),
      root_(DefaultRootWindow(display)),
      screen_(DefaultScreen(display)) {
    XSetIOErrorExitHandler(display_, &Connection::onConnectionLost, this);
    // The window atoms nearly every command needs, asked for in one round trip rather than
    // one each.
    const char* names[] = {"_NET_SUPPORTING_WM_CHECK",
                           "_NET_ACTIVE_WINDOW",
                           "_NET_CLIENT_LIST",
                           "_NET_WM_PID",
                           "_NET_FRAME_EXTENTS",
                           "_NET_WM_STATE",
                           "_NET_WM_STATE_HIDDEN",
                           "_NET_WM_STATE_MAXIMIZED_VERT",
                           "_NET_WM_STATE_MAXIMIZED_HORZ",
                           "_NET_MOVERESIZE_WINDOW",
                           "WM_STATE"};
    constexpr int count = sizeof names / sizeof names[0];
    Atom atoms[count] = {};
    if (XInternAtoms(display_, const_cast<char**>(names), count, False, atoms)) {
        for (int i = 0; i < count; ++i) atoms_.emplace(names[i], atoms[i]);
    }
}

Connection::~Connection() {
    XCloseDisplay(display_);
}

void Connection::onConnectionLost(Display*, void* self) {
    static_cast<Connection*>(self)->lost_ = true;
}

void Connection::check() const {
    if (lost_) throw DesktopError("lost the connection to the X server on display " + name_);
}

void Connection::followKeymap() {
    if (followingKeymap_) return;
    followingKeymap_ = true;
    int opcode = 0, error = 0, major = XkbMajorVersion, minor = XkbMinorVersion;
    if (!XkbQueryExtension(display_, &opcode, &xkbEventBase_, &error, &major, &minor)) {
        xkbEventBase_ = -1;  // core MappingNotify only
        return;
    }
    const unsigned long changes = XkbMapNotifyMask | XkbNewKeyboardNotifyMask;
    XkbSelectEvents(display_, XkbUseCoreKbd, changes, changes);
}

bool Connection::keymapEvent(XEvent& event) {
    if (event.type == MappingNotify) {
        XRefreshKeyboardMapping(&event.xmapping);
        return event.xmapping.request != MappingPointer;
    }
    if (xkbEventBase_ >= 0 && event.type == xkbEventBase_) {
        auto& xkb = reinterpret_cast<XkbEvent&>(event);
        if (xkb.any.xkb_type == XkbMapNotify) XkbRefreshKeyboardMapping(&xkb.map);
        return xkb.any.xkb_type == XkbMapNotify || xkb.any.xkb_type == XkbNewKeyboardNotify;
    }
    return false;
}

void Connection::refreshKeymap() {
    followKeymap();
    XEvent event;
    while (!lost_ && XCheckTypedEvent(display_, MappingNotify, &event)) keymapEvent(event);
    while (!lost_ && xkbEventBase_ >= 0 && XCheckTypedEvent(display_, xkbEventBase_, &event)) {
        keymapEvent(event);
    }
}

Atom Connection::atom(const char* name) {
    if (auto it = atoms_.find(name); it != atoms_.end()) return it->second;
    Atom atom = XInternAtom(display_, name, False);
    atoms_.emplace(name, atom);
    return atom;
}

bool Connection::hasExtension(const char* name) {
    if (auto it = extensions_.find(name); it != extensions_.end()) return it->second;
    int opcode = 0;
    int eventBase = 0;
    int errorBase = 0;
    bool present = XQueryExtension(display_, name, &opcode, &eventBase, &errorBase);
    extensions_.emplace(name, present);
    return present;
}

bool Connection::waitReadable(std::chrono::steady_clock::time_point deadline) const {
    while (true) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return false;
        pollfd descriptor{ConnectionNumber(display_), POLLIN, 0};
        int ready = ::poll(&descriptor, 1, static_cast<int>(left.count()) + 1);
        if (ready > 0) return true;
        if (ready < 0 && errno != EINTR) return false;
    }
}

Time Connection::serverTime(Window window) {
    Atom stamp = atom("_TARN_TIME_STAMP");
    XChangeProperty(display_, window, stamp, XA_STRING, 8, PropModeAppend, nullptr, 0);
    XFlush(display_);
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    auto event = waitForEvent(deadline, [&](const XEvent& e) {
        return e.type == PropertyNotify && e.xproperty.window == window &&
               e.xproperty.atom == stamp;
    });
    return event ? event->xproperty.time : CurrentTime;
}

// --- ErrorTrap --------------------------------------------------------------------------

ErrorTrap::ErrorTrap(Connection& connection) : connection_(connection), previous_(currentTrap) {
    settle(connection_.display());
    currentTrap = this;
}

ErrorTrap::~ErrorTrap() {
    settle(connection_.display());
    currentTrap = previous_;
}

bool ErrorTrap::failed() {
    settle(connection_.display());
    return firstError_ != 0 || connection_.lost();
}

int ErrorTrap::handleError(Display* display, XErrorEvent* event) {
    // Errors outside a trap come from requests nobody waits for (a move of a window that
    // has just gone): there is nothing left to do about them.
    for (ErrorTrap* trap = currentTrap; trap; trap = trap->previous_) {
        if (trap->connection_.display() == display) {
            if (trap->firstError_ == 0) trap->firstError_ = event->error_code;
            trap->failures_.push_back({event->serial, event->error_code});
            break;
        }
    }
    return 0;
}

// --- HiddenWindow -----------------------------------------------------------------------

HiddenWindow::HiddenWindow(Connection& connection, long eventMask) : connection_(connection) {
    XSetWindowAttributes attributes{};
    attributes.event_mask = eventMask;
    window_ = XCreateWindow(connection.display(), connection.root(), -10, -10, 1, 1, 0,
                            CopyFromParent, InputOnly, CopyFromParent, CWEventMask, &attributes);
}

HiddenWindow::~HiddenWindow() {
    if (!connection_.lost()) XDestroyWindow(connection_.display(), window_);
}

// --- Properties -------------------------------------------------------------------------

std::optional<Property> readProperty(Connection& connection, Window window, Atom property,
                                     Atom type) {
    Property result;
    long offset = 0;  // in 32-bit units, as the protocol counts
    while (true) {
        Atom actualType = None;
        int format = 0;
        unsigned long count = 0;
        unsigned long after = 0;
        unsigned char* raw = nullptr;
        int status = XGetWindowProperty(connection.display(), window, property, offset, 1 << 16,
                                        False, type, &actualType, &format, &count, &after, &raw);
        XPtr<unsigned char> data(raw);
        if (status != Success || actualType == None ||
            (type != AnyPropertyType && actualType != type)) {
            return std::nullopt;
        }
        result.type = actualType;
        result.format = format;
        result.count += count;
        if (format == 8) {
            result.bytes.insert(result.bytes.end(), raw, raw + count);
            offset += static_cast<long>(count / 4);
        } else if (format == 16) {
            auto* values = reinterpret_cast<short*>(raw);
            result.longs.insert(result.longs.end(), values, values + count);
            offset += static_cast<long>(count / 2);
        } else {
            auto* values = reinterpret_cast<long*>(raw);
            result.longs.insert(result.longs.end(), values, values + count);
            offset += static_cast<long>(count);
        }
        if (after == 0 || count == 0) return result;
    }
}

std::vector<long> readLongs(Connection& connection, Window window, Atom property, Atom type) {
    auto value = readProperty(connection, window, property, type);
    if (!value || value->format != 32) return {};
    return std::move(value->longs);
}

void sendToRoot(Connection& connection, Window window, Atom type, std::array<long, 5> data) {
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = type;
    event.xclient.format = 32;
    for (std::size_t i = 0; i < data.size(); ++i) event.xclient.data.l[i] = data[i];
    XSendEvent(connection.display(), connection.root(), False,
               SubstructureRedirectMask | SubstructureNotifyMask, &event);
    XFlush(connection.display());
}

}  // namespace tarn::platform::x11
