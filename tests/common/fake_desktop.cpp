#include "tests/common/fake_desktop.h"

#include <algorithm>

namespace tarn::testing {

using namespace platform;

namespace {

template <typename List, typename Value>
bool contains(const List& list, const Value& value) {
    return std::find(list.begin(), list.end(), value) != list.end();
}

}  // namespace

FakeApp& FakeDesktop::addApp(Pid pid, std::optional<std::string> bundleID,
                             std::optional<std::string> name) {
    FakeApp& app = apps.emplace_back();
    app.info = {.pid = pid,
                .bundleID = std::move(bundleID),
                .localizedName = std::move(name),
                .regularActivationPolicy = true};
    return app;
}

FakeApp* FakeDesktop::app(Pid pid) {
    auto found = std::find_if(apps.begin(), apps.end(), [&](auto& a) { return a.info.pid == pid; });
    return found == apps.end() ? nullptr : &*found;
}

FakeWindow* FakeDesktop::window(WindowId id) {
    for (auto& candidate : apps) {
        for (auto& w : candidate.windows) {
            if (w.id == id) return &w;
        }
    }
    return nullptr;
}

std::optional<AppInfo> FakeDesktop::frontmostApplication() {
    if (!frontmost) return std::nullopt;
    if (FakeApp* found = app(*frontmost)) return found->info;
    return AppInfo{.pid = *frontmost, .bundleID = {}, .localizedName = {}};
}

std::vector<AppInfo> FakeDesktop::runningApplications() {
    std::vector<AppInfo> infos;
    for (const auto& candidate : apps) infos.push_back(candidate.info);
    return infos;
}

FocusedWindow FakeDesktop::focusedWindow(Pid pid) {
    FakeApp* found = app(pid);
    if (!found) return {.window = std::nullopt, .error = ax::invalidElement};
    if (found->focusedWindowError != ax::success) return {std::nullopt, found->focusedWindowError};
    if (!found->focused) return {.window = std::nullopt, .error = ax::noValue};
    return {.window = found->focused, .error = ax::success};
}

std::vector<WindowId> FakeDesktop::windows(Pid pid) {
    std::vector<WindowId> ids;
    if (FakeApp* found = app(pid)) {
        for (const auto& w : found->windows) ids.push_back(w.id);
    }
    return ids;
}

std::optional<bool> FakeDesktop::isMinimized(WindowId id) {
    if (FakeWindow* w = window(id)) return w->minimized;
    return std::nullopt;
}

void FakeDesktop::setMinimized(WindowId id, bool minimized) {
    windowWrites.push_back({id, std::nullopt, std::nullopt, minimized});
    if (FakeWindow* w = window(id)) w->minimized = minimized;
}

std::optional<Rect> FakeDesktop::readableFrame(WindowId id) {
    FakeWindow* w = window(id);
    if (!w || !w->frameReadable) return std::nullopt;
    return w->frame;
}

void FakeDesktop::setPosition(WindowId id, Point position) {
    windowWrites.push_back({id, position, std::nullopt, std::nullopt});
    if (FakeWindow* w = window(id)) {
        w->frame.x = position.x;
        w->frame.y = position.y;
    }
}

void FakeDesktop::setSize(WindowId id, Size size) {
    windowWrites.push_back({id, std::nullopt, size, std::nullopt});
    FakeWindow* w = window(id);
    if (!w) return;
    w->frame.width = std::max(size.width, w->minSize ? w->minSize->width : size.width);
    w->frame.height = std::max(size.height, w->minSize ? w->minSize->height : size.height);
}

int FakeDesktop::windowListError(Pid pid) {
    FakeApp* found = app(pid);
    return found ? found->windowListError : ax::invalidElement;
}

std::vector<DisplayId> FakeDesktop::activeDisplays() {
    std::vector<DisplayId> ids;
    for (std::size_t i = 0; i < screens.size(); ++i) ids.push_back(static_cast<DisplayId>(i + 1));
    return ids;
}

Rect FakeDesktop::bounds(DisplayId display) {
    if (display == 0 || display > screens.size()) return {};
    return screens[display - 1];
}

bool FakeDesktop::canPost(std::uint16_t keyCode) {
    return !contains(unpostable, keyCode);
}

bool FakeDesktop::isTrusted(bool prompt) {
    if (prompt && !trusted) ++trustPrompts;
    return trusted;
}

std::vector<BrowserApp> FakeDesktop::applicationsForScheme(const std::string& scheme) {
    std::vector<BrowserApp> found;
    for (const auto& browser : browserApps) {
        if (scheme == "http" ? browser.declaresHttp : scheme == "https" && browser.declaresHttps) {
            found.push_back(browser);
        }
    }
    return found;
}

bool FakeDesktop::setDefault(const std::string& bundleID) {
    if (contains(refuseDefault, bundleID)) return false;
    defaults = {bundleID, bundleID};
    return true;
}

}  // namespace tarn::testing
