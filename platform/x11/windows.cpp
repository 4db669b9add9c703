#include "platform/x11/windows.h"

#include <X11/Xutil.h>
#include <X11/extensions/XRes.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "support/unicode_text.h"

namespace tarn::platform::x11 {
namespace {

constexpr long kIconicState = 3;  // ICCCM WM_STATE value of a minimised window

// _NET_MOVERESIZE_WINDOW flag word: gravity in bits 0-7, which of x, y, width, height are
// given in bits 8-11, and in bits 12-15 who asks (2: a tool acting for the user, which
// window managers obey without second-guessing the request).
constexpr long kNorthWestGravity = 1;
constexpr long kHasX = 1L << 8;
constexpr long kHasY = 1L << 9;
constexpr long kHasWidth = 1L << 10;
constexpr long kHasHeight = 1L << 11;
constexpr long kFromTool = 2L << 12;
constexpr long kFromToolSource = 2;  // the same, as _NET_ACTIVE_WINDOW and _NET_WM_STATE take it

constexpr long kRemoveState = 0;  // _NET_WM_STATE action

long rounded(double value) {
    return std::lround(value);
}

}  // namespace

// --- Window manager and its lists -------------------------------------------------------

// The root names the window manager's check window, and that window names itself while the
// manager lives. A manager that died leaves the root's properties behind, stale.
// A window manager names a window of its own on the root, and that window names itself. The
// window is destroyed with its manager (one that replaces it makes another), so once seen,
// the window still naming itself is answer enough.
bool WindowSystemX11::haveWindowManager() {
    if (!managed_) managed_ = findWindowManager();
    return *managed_;
}

void WindowSystemX11::forget() {
    managed_.reset();
    frontmost_.reset();
    remembered_ = {};
}

WindowSystemX11::Remembered& WindowSystemX11::rememberedFor(Window window) {
    if (remembered_.window != window) {
        remembered_ = {};
        remembered_.window = window;
    }
    return remembered_;
}

bool WindowSystemX11::findWindowManager() {
    ErrorTrap trap(x_);  // the stale window's BadWindow belongs to nobody else's trap
    Atom check = x_.atom("_NET_SUPPORTING_WM_CHECK");
    auto namesItself = [&](Window window) {
        auto fromItself = readLongs(x_, window, check, XA_WINDOW);
        return !fromItself.empty() && static_cast<Window>(fromItself[0]) == window;
    };
    if (windowManagerCheck_ != None && namesItself(windowManagerCheck_)) return true;
    windowManagerCheck_ = None;
    auto fromRoot = readLongs(x_, x_.root(), check, XA_WINDOW);
    if (fromRoot.empty() || fromRoot[0] == 0) return false;
    if (!namesItself(static_cast<Window>(fromRoot[0]))) return false;
    windowManagerCheck_ = static_cast<Window>(fromRoot[0]);
    return true;
}

std::vector<Window> WindowSystemX11::clientList() {
    std::vector<Window> clients;
    if (!haveWindowManager()) return clients;
    for (long id : readLongs(x_, x_.root(), x_.atom("_NET_CLIENT_LIST"), XA_WINDOW)) {
        clients.push_back(static_cast<Window>(id));
    }
    return clients;
}

std::optional<Window> WindowSystemX11::activeWindow() {
    if (!haveWindowManager()) return std::nullopt;
    auto active = readLongs(x_, x_.root(), x_.atom("_NET_ACTIVE_WINDOW"), XA_WINDOW);
    if (active.empty() || active[0] == 0) return std::nullopt;
    return static_cast<Window>(active[0]);
}

Pid WindowSystemX11::pidOf(Window window) {
    auto pid = readLongs(x_, window, x_.atom("_NET_WM_PID"), XA_CARDINAL);
    if (!pid.empty() && pid[0] > 0) return pid[0];

    if (x_.hasExtension("X-Resource")) {
        XResClientIdSpec query{window, XRES_CLIENT_ID_PID_MASK};
        long count = 0;
        XResClientIdValue* values = nullptr;
        ErrorTrap trap(x_);
        if (XResQueryClientIds(x_.display(), 1, &query, &count, &values) == Success) {
            Pid found = -1;
            // Only values of the pid kind give one; every other kind answers -1.
            for (long i = 0; i < count; ++i) {
                if (pid_t pid = XResGetClientPid(&values[i]); pid > 0) found = pid;
            }
            XResClientIdsDestroy(count, values);
            if (found > 0) return found;
        }
    }
    return -static_cast<Pid>(window);
}

AppInfo WindowSystemX11::appInfo(Pid pid, Window window) {
    AppInfo info{.pid = pid, .bundleID = {}, .localizedName = {}};
    XClassHint hint{nullptr, nullptr};
    if (XGetClassHint(x_.display(), window, &hint)) {
        XPtr<char> name(hint.res_name);
        XPtr<char> className(hint.res_class);
        if (className && *className) {
            // WM_CLASS is Latin-1 text, though many clients write UTF-8 there: bytes that
            // are UTF-8 are read as such, the others as Latin-1.
            std::string text(className.get());
            info.bundleID = support::isValidUtf8(text) ? text : support::latin1ToUtf8(text);
            info.localizedName = info.bundleID;
        }
    }
    return info;
}

std::optional<AppInfo> WindowSystemX11::frontmostApplication() {
    auto active = activeWindow();
    std::optional<AppInfo> app;
    frontmost_.reset();
    if (active) {
        frontmost_ = {*active, pidOf(*active)};
        app = appInfo(frontmost_->second, *active);
    }
    x_.check();
    return app;
}

std::vector<AppInfo> WindowSystemX11::runningApplications() {
    return applications(false);
}

std::vector<AppInfo> WindowSystemX11::applicationsWithPolicy() {
    return applications(true);
}

std::vector<AppInfo> WindowSystemX11::applications(bool readPolicy) {
    std::vector<AppInfo> apps;
    for (Window client : clientList()) {
        Pid pid = pidOf(client);
        auto known = std::find_if(apps.begin(), apps.end(),
                                  [&](const AppInfo& app) { return app.pid == pid; });
        if (known == apps.end()) {
            apps.push_back(appInfo(pid, client));
            known = std::prev(apps.end());
            if (readPolicy) known->regularActivationPolicy = false;
        }
        if (readPolicy && !known->regularActivationPolicy) {
            known->regularActivationPolicy = onTaskBar(client);
        }
    }
    x_.check();
    return apps;
}

bool WindowSystemX11::onTaskBar(Window window) {
    ErrorTrap trap(x_);  // a window that has just gone
    auto types = readLongs(x_, window, x_.atom("_NET_WM_WINDOW_TYPE"), XA_ATOM);
    const long normal = static_cast<long>(x_.atom("_NET_WM_WINDOW_TYPE_NORMAL"));
    bool normalType = types.empty() || std::find(types.begin(), types.end(), normal) != types.end();
    return normalType && !hasState(window, {"_NET_WM_STATE_SKIP_TASKBAR"}) && !trap.failed();
}

FocusedWindow WindowSystemX11::focusedWindow(Pid pid) {
    if (frontmost_ && frontmost_->second == pid) {
        return {.window = frontmost_->first, .error = ax::success};
    }
    auto active = activeWindow();
    FocusedWindow focused{.window = std::nullopt, .error = ax::noValue};
    if (active && pidOf(*active) == pid) focused = {.window = *active, .error = ax::success};
    x_.check();
    return focused;
}

std::vector<WindowId> WindowSystemX11::windows(Pid pid) {
    std::vector<WindowId> owned;
    for (Window client : clientList()) {
        if (pidOf(client) == pid) owned.push_back(client);
    }
    x_.check();
    return owned;
}

int WindowSystemX11::windowListError(Pid pid) {
    return windows(pid).empty() ? ax::invalidElement : ax::success;
}

int WindowSystemX11::focusedElementError() {
    Window focus = None;
    int revert = 0;
    XGetInputFocus(x_.display(), &focus, &revert);
    x_.check();
    return ax::success;
}

// --- Minimising -------------------------------------------------------------------------

// Whether the window is in any of the states: one read of the property, whatever the count.
bool WindowSystemX11::hasState(Window window, std::initializer_list<const char*> wanted) {
    auto states = readLongs(x_, window, x_.atom("_NET_WM_STATE"), XA_ATOM);
    return std::ranges::any_of(wanted, [&](const char* state) {
        return std::ranges::find(states, static_cast<long>(x_.atom(state))) != states.end();
    });
}

std::optional<bool> WindowSystemX11::isMinimized(WindowId id) {
    auto window = static_cast<Window>(id);
    std::optional<bool> minimized;
    {
        ErrorTrap trap(x_);
        Atom wmState = x_.atom("WM_STATE");
        auto state = readLongs(x_, window, wmState, wmState);
        bool iconic = (!state.empty() && state[0] == kIconicState) ||
                      hasState(window, {"_NET_WM_STATE_HIDDEN"});
        if (!trap.failed()) minimized = iconic;
    }
    x_.check();
    return minimized;
}

void WindowSystemX11::setMinimized(WindowId id, bool minimized) {
    auto window = static_cast<Window>(id);
    remembered_ = {};    // an iconified or restored window is placed and decorated anew
    frontmost_.reset();  // and activation moves the focus
    if (minimized) {
        XIconifyWindow(x_.display(), window, x_.screen());
    } else if (haveWindowManager()) {
        // Activation de-iconifies, raises and focuses, as clicking the window's entry in a
        // task bar would.
        sendToRoot(x_, window, x_.atom("_NET_ACTIVE_WINDOW"), {kFromToolSource, CurrentTime});
    } else {
        XMapRaised(x_.display(), window);
    }
    XFlush(x_.display());
    x_.check();
}

// --- Frames -----------------------------------------------------------------------------

std::optional<WindowSystemX11::Placement> WindowSystemX11::placement(Window window) {
    Remembered& known = rememberedFor(window);
    if (!known.placement) {
        known.placement = readPlacement(window);
        if (known.placement) {
            known.extents = known.placement->extents;
            known.border = known.placement->border;
        }
    }
    return known.placement;
}

std::optional<WindowSystemX11::Placement> WindowSystemX11::readPlacement(Window window) {
    ErrorTrap trap(x_);
    XWindowAttributes attributes{};
    if (!XGetWindowAttributes(x_.display(), window, &attributes)) return std::nullopt;
    int x = 0;
    int y = 0;
    Window child = None;
    if (!XTranslateCoordinates(x_.display(), window, x_.root(), 0, 0, &x, &y, &child)) {
        return std::nullopt;
    }
    Placement result;
    if (haveWindowManager()) {
        auto extents = readLongs(x_, window, x_.atom("_NET_FRAME_EXTENTS"), XA_CARDINAL);
        if (extents.size() >= 4) {
            result.extents = {extents[0], extents[1], extents[2], extents[3]};
        }
    }
    if (trap.failed()) return std::nullopt;
    const Extents& e = result.extents;
    result.border = attributes.border_width;
    const int b = result.border;
    result.outer = Rect{static_cast<double>(x - b - e.left), static_cast<double>(y - b - e.top),
                        static_cast<double>(attributes.width + 2 * b + e.left + e.right),
                        static_cast<double>(attributes.height + 2 * b + e.top + e.bottom)};
    return result;
}

std::optional<Point> WindowSystemX11::position(WindowId id) {
    auto found = placement(static_cast<Window>(id));
    x_.check();
    if (!found) return std::nullopt;
    return found->outer.origin();
}

std::optional<Size> WindowSystemX11::size(WindowId id) {
    auto found = placement(static_cast<Window>(id));
    x_.check();
    if (!found) return std::nullopt;
    return found->outer.size();
}

void WindowSystemX11::setFrame(WindowId id, Rect frame) {
    moveResize(static_cast<Window>(id), frame);
}

// A maximised window ignores sizes asked of it, and its decorations differ from a normal
// one's; so the maximised state goes first, and the frame is computed once the window
// manager has put the normal decorations back. Says whether the window was maximised: a
// frame read before is still good when it was not.
bool WindowSystemX11::clearMaximized(Window window) {
    const char* vertical = "_NET_WM_STATE_MAXIMIZED_VERT";
    const char* horizontal = "_NET_WM_STATE_MAXIMIZED_HORZ";
    if (!hasState(window, {vertical, horizontal})) return false;

    Atom state = x_.atom("_NET_WM_STATE");
    Atom extents = x_.atom("_NET_FRAME_EXTENTS");
    XSelectInput(x_.display(), window, PropertyChangeMask);
    sendToRoot(x_, window, state,
               {kRemoveState, static_cast<long>(x_.atom(vertical)),
                static_cast<long>(x_.atom(horizontal)), kFromToolSource, 0});

    bool extentsChanged = false;
    auto propertyChange = [&](const XEvent& event) {
        if (event.type != PropertyNotify || event.xproperty.window != window) return false;
        if (event.xproperty.atom == extents) extentsChanged = true;
        return event.xproperty.atom == state;
    };
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
    while (hasState(window, {vertical, horizontal})) {
        if (!x_.waitForEvent(deadline, propertyChange)) break;
    }
    if (!extentsChanged) {
        // The decorations may follow the state, or may not change at all.
        x_.waitForEvent(std::chrono::steady_clock::now() + std::chrono::milliseconds(50),
                        [&](const XEvent& event) {
                            return event.type == PropertyNotify &&
                                   event.xproperty.window == window &&
                                   event.xproperty.atom == extents;
                        });
    }
    XSelectInput(x_.display(), window, NoEventMask);
    return true;
}

// The outer frame goes exactly where asked, in one request: it names the frame's top-left
// corner with north-west gravity (which every window manager reads as the frame's corner)
// and the client's size, which is the frame's less the decorations. Without a window
// manager the window is its own frame.
void WindowSystemX11::moveResize(Window window, const Rect& frame) {
    const bool managed = haveWindowManager();
    if (managed && !rememberedFor(window).notMaximized) {
        if (clearMaximized(window)) remembered_ = {};  // new decorations: read the frame again
        rememberedFor(window).notMaximized = true;
    }
    Remembered& known = rememberedFor(window);
    if (!known.extents && !placement(window)) {
        x_.check();
        return;  // gone: nothing to move
    }
    const Extents e = *known.extents;
    const long border = known.border;
    known.placement.reset();  // the frame read before this move is old news
    const long x = rounded(frame.x);
    const long y = rounded(frame.y);
    const long width = std::max(1L, rounded(frame.width) - e.left - e.right - 2 * border);
    const long height = std::max(1L, rounded(frame.height) - e.top - e.bottom - 2 * border);

    if (managed) {
        sendToRoot(x_, window, x_.atom("_NET_MOVERESIZE_WINDOW"),
                   {kNorthWestGravity | kFromTool | kHasX | kHasY | kHasWidth | kHasHeight, x, y,
                    width, height});
    } else {
        XWindowChanges changes{};
        changes.x = static_cast<int>(x);
        changes.y = static_cast<int>(y);
        changes.width = static_cast<int>(width);
        changes.height = static_cast<int>(height);
        XConfigureWindow(x_.display(), window, CWX | CWY | CWWidth | CWHeight, &changes);
        XFlush(x_.display());
    }
    x_.check();
}

std::optional<IconImage> pickNetWmIcon(const std::vector<long>& value, int size) {
    std::optional<IconImage> best;
    std::size_t at = 0;
    while (value.size() - at >= 2) {
        long width = value[at];
        long height = value[at + 1];
        if (width <= 0 || height <= 0 || width > 1024 || height > 1024) break;
        auto pixels = static_cast<std::size_t>(width * height);
        if (value.size() - at - 2 < pixels) break;  // cut short: nothing after it either
        bool better = !best || (best->width < size ? width > best->width
                                                   : width >= size && width < best->width);
        if (better) {
            IconImage icon{
                .width = static_cast<int>(width), .height = static_cast<int>(height), .argb = {}};
            icon.argb.reserve(pixels);
            for (std::size_t i = 0; i < pixels; ++i) {
                // Each pixel is a CARDINAL, which Xlib widens to a long.
                icon.argb.push_back(static_cast<std::uint32_t>(value[at + 2 + i]));
            }
            best = std::move(icon);
        }
        at += 2 + pixels;
    }
    return best;
}

std::optional<IconImage> WindowSystemX11::windowIcon(WindowId window, int size) {
    return pickNetWmIcon(
        readLongs(x_, static_cast<Window>(window), x_.atom("_NET_WM_ICON"), XA_CARDINAL), size);
}

}  // namespace tarn::platform::x11
