#include "platform/kde/windows.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace tarn::platform::kde {
namespace {

std::optional<Rect> rectOf(const support::Json& json) {
    if (!json.is_object()) return std::nullopt;
    Rect rect;
    for (auto [name, field] : {std::pair{"x", &rect.x}, std::pair{"y", &rect.y},
                               std::pair{"w", &rect.width}, std::pair{"h", &rect.height}}) {
        auto value = json.find(name);
        if (value == json.end() || !value->is_number()) return std::nullopt;
        *field = value->get<double>();
    }
    return rect;
}

Rect moved(Rect rect, Point by) {
    rect.x += by.x;
    rect.y += by.y;
    return rect;
}

AppInfo appOf(Pid pid, const std::string& resourceClass) {
    AppInfo app;
    app.pid = pid;
    if (!resourceClass.empty()) {
        app.bundleID = resourceClass;
        app.localizedName = resourceClass;
    }
    return app;
}

}  // namespace

std::vector<KWinOutput> parseOutputs(const support::Json& answer) {
    std::vector<KWinOutput> outputs;
    if (!answer.is_array()) return outputs;
    for (const auto& item : answer) {
        if (!item.is_object()) return {};
        auto geometry = rectOf(item.value("g", support::Json()));
        auto usable = rectOf(item.value("u", support::Json()));
        if (!geometry || !usable) return {};
        outputs.push_back({*geometry, *usable});
    }
    return outputs;
}

std::optional<WindowId> parseWindowId(const std::string& text) {
    WindowId id = 0;
    if (text.size() != 16) return std::nullopt;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), id, 16);
    if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return id;
}

// --- Displays ---------------------------------------------------------------------------------

const std::vector<KWinOutput>& KWinDisplays::outputs() {
    if (!cached_) cached_ = parseOutputs(session_.request({{"op", "outputs"}}));
    return *cached_;
}

Point KWinDisplays::origin() {
    const auto& all = outputs();
    return all.empty() ? Point{} : all.front().geometry.origin();
}

std::vector<DisplayId> KWinDisplays::activeDisplays() {
    std::vector<DisplayId> ids(outputs().size());
    for (DisplayId i = 0; i < ids.size(); ++i) ids[i] = i;
    return ids;
}

Rect KWinDisplays::bounds(DisplayId display) {
    const auto& all = outputs();
    if (display >= all.size()) return {};
    const Point o = origin();
    return moved(all[display].geometry, {-o.x, -o.y});
}

// --- Windows ----------------------------------------------------------------------------------

std::string KWinWindows::idText(WindowId window) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(window));
    return text;
}

std::vector<KWinWindows::Window> KWinWindows::allWindows() {
    std::vector<Window> list;
    auto answer = session_.request({{"op", "windows"}});
    if (!answer.is_array()) return list;
    for (const auto& item : answer) {
        if (!item.is_object()) continue;
        auto id = parseWindowId(item.value("id", ""));
        if (!id) continue;
        list.push_back({*id, item.value("pid", Pid{0}), item.value("cls", "")});
    }
    return list;
}

std::optional<AppInfo> KWinWindows::frontmostApplication() {
    auto active = session_.request({{"op", "active"}});
    if (!active.is_object()) return std::nullopt;
    return appOf(active.value("pid", Pid{0}), active.value("cls", ""));
}

std::vector<AppInfo> KWinWindows::runningApplications() {
    std::vector<AppInfo> apps;
    for (const Window& window : allWindows()) {
        bool known = std::any_of(apps.begin(), apps.end(),
                                 [&](const AppInfo& app) { return app.pid == window.pid; });
        if (!known) apps.push_back(appOf(window.pid, window.resourceClass));
    }
    return apps;
}

FocusedWindow KWinWindows::focusedWindow(Pid pid) {
    auto active = session_.request({{"op", "active"}});
    if (active.is_object() && active.value("pid", Pid{0}) == pid) {
        if (auto id = parseWindowId(active.value("id", "")))
            return {.window = *id, .error = ax::success};
    }
    return {.window = std::nullopt, .error = ax::noValue};
}

std::vector<WindowId> KWinWindows::windows(Pid pid) {
    std::vector<WindowId> owned;
    for (const Window& window : allWindows())
        if (window.pid == pid) owned.push_back(window.id);
    return owned;
}

std::optional<KWinWindows::Frame> KWinWindows::frame(WindowId window) {
    if (auto known = frames_.find(window); known != frames_.end()) return known->second;
    auto answer = session_.request({{"op", "frame"}, {"id", idText(window)}});
    if (!answer.is_object()) return std::nullopt;
    auto rect = rectOf(answer.value("frame", support::Json()));
    if (!rect) return std::nullopt;
    const Point o = displays_.origin();
    Frame frame{moved(*rect, {-o.x, -o.y}), answer.value("minimized", false)};
    frames_[window] = frame;
    return frame;
}

std::optional<bool> KWinWindows::isMinimized(WindowId window) {
    auto known = frame(window);
    if (!known) return std::nullopt;
    return known->minimized;
}

void KWinWindows::setMinimized(WindowId window, bool minimized) {
    // Restoring also activates, as the window's own button does.
    session_.request(
        {{"op", minimized ? "minimize" : "activate"}, {"id", idText(window)}, {"on", minimized}});
    frames_.erase(window);
}

std::optional<Point> KWinWindows::position(WindowId window) {
    auto known = frame(window);
    if (!known) return std::nullopt;
    return known->rect.origin();
}

std::optional<Size> KWinWindows::size(WindowId window) {
    auto known = frame(window);
    if (!known) return std::nullopt;
    return known->rect.size();
}

void KWinWindows::setFrame(WindowId window, Rect frame) {
    const Point o = displays_.origin();
    session_.request({{"op", "place"},
                      {"id", idText(window)},
                      {"x", frame.x + o.x},
                      {"y", frame.y + o.y},
                      {"w", frame.width},
                      {"h", frame.height}});
    // A Wayland client takes its new size when it next draws: what it was asked is what
    // the rest of this operation goes on with.
    frames_[window] = Frame{frame, false};
}

int KWinWindows::windowListError(Pid pid) {
    return windows(pid).empty() ? ax::invalidElement : ax::success;
}

// KWin answered: with no active window (a desktop with nothing open) as well.
int KWinWindows::focusedElementError() {
    session_.request({{"op", "active"}});
    return ax::success;
}

}  // namespace tarn::platform::kde
