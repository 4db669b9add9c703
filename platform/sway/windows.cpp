#include "platform/sway/windows.h"

#include <algorithm>
#include <cmath>

#include "platform/desktop.h"
#include "support/number_text.h"
#include "support/text.h"

namespace tarn::platform::sway {
namespace {

constexpr std::string_view kFrameMark = "_tarn-frame:";

std::string whole(double value) {
    return std::to_string(std::llround(value));
}

std::string select(WindowId window) {
    return "[con_id=" + std::to_string(window) + "] ";
}

AppInfo appOf(const SwayWindow& window) {
    AppInfo app;
    app.pid = window.pid;
    if (!window.appId.empty()) {
        app.bundleID = window.appId;
        app.localizedName = window.appId;
    }
    return app;
}

// The commands that place a floating window's outer frame.
std::string placement(Rect frame) {
    return "floating enable, resize set " + whole(frame.width) + " " + whole(frame.height) +
           ", move absolute position " + whole(frame.x) + " " + whole(frame.y);
}

}  // namespace

Json Session::request(std::uint32_t type) {
    auto reply = ipc_.request(type);
    if (!reply) throw DesktopError("sway's IPC connection was lost");
    return std::move(*reply);
}

const Json& Session::tree() {
    if (!tree_) tree_ = request(message::getTree);
    return *tree_;
}

bool Session::command(const std::string& commands, std::string* error) {
    std::string why;
    bool done = ipc_.command(commands, &why);
    if (ipc_.failed()) throw DesktopError("sway's IPC connection was lost");
    if (error) *error = why;
    return done;
}

std::string frameMark(Rect frame) {
    return std::string(kFrameMark) + whole(frame.x) + ":" + whole(frame.y) + ":" +
           whole(frame.width) + ":" + whole(frame.height);
}

std::optional<Rect> frameOfMark(const std::string& mark) {
    if (!mark.starts_with(kFrameMark)) return std::nullopt;
    auto parts = support::splitText(std::string_view(mark).substr(kFrameMark.size()), ":");
    if (parts.size() != 4) return std::nullopt;
    double values[4];
    for (std::size_t i = 0; i < 4; ++i) {
        auto value = support::parseInt64(parts[i]);
        if (!value) return std::nullopt;
        values[i] = static_cast<double>(*value);
    }
    return Rect{values[0], values[1], values[2], values[3]};
}

std::vector<AppInfo> applicationsOf(const std::vector<SwayWindow>& windows) {
    std::vector<AppInfo> apps;
    for (const auto& window : windows) {
        if (std::none_of(apps.begin(), apps.end(),
                         [&](const AppInfo& app) { return app.pid == window.pid; })) {
            apps.push_back(appOf(window));
        }
    }
    return apps;
}

std::optional<AppInfo> frontmostOf(const std::vector<SwayWindow>& windows) {
    for (const auto& window : windows) {
        if (window.focused) return appOf(window);
    }
    return std::nullopt;
}

// --- Windows ------------------------------------------------------------------------------

const std::vector<SwayWindow>& SwayWindows::tree() {
    if (!tree_) tree_ = windowsOfTree(session_->tree());
    return *tree_;
}

const SwayWindow* SwayWindows::find(WindowId window) {
    for (const auto& candidate : tree()) {
        if (candidate.id == window) return &candidate;
    }
    return nullptr;
}

std::optional<AppInfo> SwayWindows::frontmostApplication() {
    return frontmostOf(tree());
}

std::vector<AppInfo> SwayWindows::runningApplications() {
    return applicationsOf(tree());
}

FocusedWindow SwayWindows::focusedWindow(Pid pid) {
    const SwayWindow* first = nullptr;
    for (const auto& window : tree()) {
        if (window.pid != pid) continue;
        if (window.focused) return {window.id, ax::success};
        if (!first && !window.inScratchpad) first = &window;
    }
    // An application that is not frontmost: its first window that is shown.
    if (first) return {first->id, ax::success};
    return {std::nullopt, ax::noValue};
}

std::vector<WindowId> SwayWindows::windows(Pid pid) {
    std::vector<WindowId> ids;
    for (const auto& window : tree()) {
        if (window.pid == pid) ids.push_back(window.id);
    }
    return ids;
}

std::optional<bool> SwayWindows::isMinimized(WindowId window) {
    const SwayWindow* found = find(window);
    if (!found) return std::nullopt;
    return found->inScratchpad;
}

void SwayWindows::setMinimized(WindowId window, bool minimized) {
    const SwayWindow* found = find(window);
    if (!found || found->inScratchpad == minimized) return;
    std::string commands = select(window);
    if (minimized) {
        // Frames of earlier minimisings go, so the window keeps one.
        for (const auto& mark : found->marks) {
            if (frameOfMark(mark)) commands += "unmark \"" + mark + "\", ";
        }
        commands += "mark --add \"" + frameMark(found->frame) + "\", move scratchpad";
    } else {
        commands += "scratchpad show";
        for (const auto& mark : found->marks) {
            auto frame = frameOfMark(mark);
            if (!frame) continue;
            commands += ", " + placement(*frame) + ", unmark \"" + mark + "\"";
            break;
        }
    }
    forget();
    session_->command(commands);
}

std::optional<Point> SwayWindows::position(WindowId window) {
    const SwayWindow* found = find(window);
    if (!found) return std::nullopt;
    return found->frame.origin();
}

std::optional<Size> SwayWindows::size(WindowId window) {
    const SwayWindow* found = find(window);
    if (!found) return std::nullopt;
    return found->frame.size();
}

void SwayWindows::setFrame(WindowId window, Rect frame) {
    forget();
    session_->command(select(window) + placement(frame));
}

int SwayWindows::windowListError(Pid pid) {
    return windows(pid).empty() ? ax::invalidElement : ax::success;
}

int SwayWindows::focusedElementError() {
    tree();
    return ax::success;
}

// --- Displays -----------------------------------------------------------------------------

const std::vector<SwayOutput>& SwayDisplays::outputs() {
    if (!outputs_) outputs_ = outputsOfTree(session_->tree());
    return *outputs_;
}

std::vector<DisplayId> SwayDisplays::activeDisplays() {
    std::vector<DisplayId> ids;
    for (const auto& output : outputs()) ids.push_back(output.id);
    return ids;
}

Rect SwayDisplays::bounds(DisplayId display) {
    for (const auto& output : outputs()) {
        if (output.id == display) return output.bounds;
    }
    return {};
}

DisplayId SwayDisplays::mainDisplay() {
    const auto& all = outputs();
    return all.empty() ? 0 : all.front().id;
}

Rect SwayDisplays::layout() {
    forget();
    const auto& all = outputs();
    if (all.empty()) return {};
    double left = all.front().bounds.minX(), top = all.front().bounds.minY();
    double right = all.front().bounds.maxX(), bottom = all.front().bounds.maxY();
    for (const auto& output : all) {
        left = std::min(left, output.bounds.minX());
        top = std::min(top, output.bounds.minY());
        right = std::max(right, output.bounds.maxX());
        bottom = std::max(bottom, output.bounds.maxY());
    }
    return {left, top, right - left, bottom - top};
}

}  // namespace tarn::platform::sway
