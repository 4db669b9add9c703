#include "platform/x11/displays.h"

#include <X11/extensions/Xrandr.h>

#include <algorithm>

namespace tarn::platform::x11 {
namespace {

bool haveMonitors(Connection& connection) {
    int major = 0;
    int minor = 0;
    int eventBase = 0;
    int errorBase = 0;
    // RandR's own query, not the core one: the version query below then finds the
    // extension's codes already known instead of asking the server a second time.
    if (!XRRQueryExtension(connection.display(), &eventBase, &errorBase)) return false;
    if (!XRRQueryVersion(connection.display(), &major, &minor)) return false;
    return major > 1 || (major == 1 && minor >= 5);  // monitors came with RandR 1.5
}

struct MonitorsDeleter {
    void operator()(XRRMonitorInfo* monitors) const {
        if (monitors) XRRFreeMonitors(monitors);
    }
};

}  // namespace

const std::vector<DisplaysX11::Monitor>& DisplaysX11::monitors() {
    if (!cached_) cached_ = readMonitors();
    return *cached_;
}

std::vector<DisplaysX11::Monitor> DisplaysX11::readMonitors() {
    std::vector<Monitor> found;
    if (haveMonitors(x_)) {
        int count = 0;
        std::unique_ptr<XRRMonitorInfo, MonitorsDeleter> list(
            XRRGetMonitors(x_.display(), x_.root(), True, &count));
        for (int i = 0; list && i < count; ++i) {
            const XRRMonitorInfo& monitor = list.get()[i];
            Monitor entry{
                static_cast<DisplayId>(monitor.name),
                Rect{static_cast<double>(monitor.x), static_cast<double>(monitor.y),
                     static_cast<double>(monitor.width), static_cast<double>(monitor.height)}};
            // The primary goes first; the rest keep the server's order.
            if (monitor.primary) {
                found.insert(found.begin(), entry);
            } else {
                found.push_back(entry);
            }
        }
    }
    if (found.empty()) {
        found.push_back({static_cast<DisplayId>(x_.root()),
                         Rect{0, 0, static_cast<double>(DisplayWidth(x_.display(), x_.screen())),
                              static_cast<double>(DisplayHeight(x_.display(), x_.screen()))}});
    }
    x_.check();
    return found;
}

std::vector<DisplayId> DisplaysX11::activeDisplays() {
    std::vector<DisplayId> ids;
    for (const Monitor& monitor : monitors()) ids.push_back(monitor.id);
    return ids;
}

Rect DisplaysX11::bounds(DisplayId display) {
    const auto& all = monitors();
    auto it = std::find_if(all.begin(), all.end(),
                           [&](const Monitor& monitor) { return monitor.id == display; });
    return it == all.end() ? Rect{} : it->bounds;
}

DisplayId DisplaysX11::mainDisplay() {
    return monitors().front().id;
}

}  // namespace tarn::platform::x11
