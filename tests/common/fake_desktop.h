#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "platform/desktop.h"

namespace tarn::testing {

// An in-memory desktop for unit tests: every platform interface over plain fields the
// test sets up and inspects. Writes are recorded; reads answer from the fields.
struct FakeWindow {
    platform::WindowId id = 0;
    platform::Rect frame;
    bool minimized = false;
    bool frameReadable = true;
    std::optional<platform::Size> minSize;  // a window that refuses to get smaller
};

// One write to a window, in the order the code under test made them; exactly one of the
// two values is set.
struct WindowWrite {
    platform::WindowId window = 0;
    std::optional<platform::Rect> frame;
    std::optional<bool> minimized;
    friend bool operator==(const WindowWrite&, const WindowWrite&) = default;
};

struct FakeApp {
    platform::AppInfo info;
    std::vector<FakeWindow> windows;
    std::optional<platform::WindowId> focused;
    int focusedWindowError = platform::ax::success;
    int windowListError = platform::ax::success;

    FakeWindow& addWindow(platform::WindowId id, platform::Rect frame = {},
                          bool minimized = false) {
        return windows.emplace_back(FakeWindow{id, frame, minimized, true, std::nullopt});
    }
};

class FakeDesktop final : public platform::Desktop,
                          public platform::WindowSystem,
                          public platform::Displays,
                          public platform::KeyboardOutput,
                          public platform::Clipboard,
                          public platform::Pointer,
                          public platform::Accessibility,
                          public platform::Sleeper,
                          public platform::BrowserServices,
                          public platform::ScriptRunner {
  public:
    FakeDesktop() = default;
    explicit FakeDesktop(std::vector<platform::Rect> displays) : screens(std::move(displays)) {}

    // --- state the test sets up ---
    std::vector<platform::Rect> screens{{0, 0, 1920, 1080}};  // index 0 is the main display
    std::vector<FakeApp> apps;
    std::optional<platform::Pid> frontmost;
    bool trusted = true;
    bool revokeTrustOnPost = false;  // as a user could while keys are being typed
    std::string untrusted;
    std::optional<std::string> clipboardText;
    std::optional<platform::Point> pointerAt = platform::Point{0, 0};
    bool mouseEvents = true;
    int focusedElement = platform::ax::success;
    std::vector<std::uint16_t> unpostable;
    std::vector<platform::BrowserApp> browserApps;
    platform::DefaultBrowsers defaults;
    std::vector<std::string> refuseDefault;
    platform::ScriptResult scriptResult;

    // --- what the code under test did ---
    std::vector<platform::KeyEvent> keyEvents;
    // Each run of keys as [first, end) indexes into keyEvents.
    std::vector<std::pair<std::size_t, std::size_t>> typingRuns;
    std::vector<platform::Point> warps;
    std::vector<std::uint32_t> sleeps;  // microseconds
    std::vector<std::string> clipboardWrites;
    std::vector<std::string> scriptsRun;
    std::vector<WindowWrite> windowWrites;
    int trustPrompts = 0;

    FakeApp& addApp(platform::Pid pid, std::optional<std::string> bundleID,
                    std::optional<std::string> name) {
        FakeApp& added = apps.emplace_back();
        added.info = {pid, std::move(bundleID), std::move(name), true};
        return added;
    }
    FakeWindow* window(platform::WindowId id) {
        for (auto& candidate : apps) {
            auto found = std::ranges::find(candidate.windows, id, &FakeWindow::id);
            if (found != candidate.windows.end()) return &*found;
        }
        return nullptr;
    }

    // Desktop
    platform::WindowSystem& windowSystem() override { return *this; }
    platform::Displays& displays() override { return *this; }
    platform::KeyboardOutput& keyboard() override { return *this; }
    platform::Clipboard& clipboard() override { return *this; }
    platform::Pointer& pointer() override { return *this; }
    platform::Accessibility& accessibility() override { return *this; }
    platform::Sleeper& sleeper() override { return *this; }
    platform::BrowserServices& browsers() override { return *this; }
    platform::ScriptRunner& scripts() override { return *this; }

    // WindowSystem
    std::optional<platform::AppInfo> frontmostApplication() override {
        if (!frontmost) return std::nullopt;
        if (FakeApp* found = app(*frontmost)) return found->info;
        return platform::AppInfo{.pid = *frontmost, .bundleID = {}, .localizedName = {}};
    }
    std::vector<platform::AppInfo> runningApplications() override {
        std::vector<platform::AppInfo> infos;
        for (const auto& candidate : apps) infos.push_back(candidate.info);
        return infos;
    }
    platform::FocusedWindow focusedWindow(platform::Pid pid) override {
        FakeApp* found = app(pid);
        if (!found) return {std::nullopt, platform::ax::invalidElement};
        if (found->focusedWindowError != platform::ax::success) {
            return {std::nullopt, found->focusedWindowError};
        }
        return {found->focused, found->focused ? platform::ax::success : platform::ax::noValue};
    }
    std::vector<platform::WindowId> windows(platform::Pid pid) override {
        std::vector<platform::WindowId> ids;
        if (FakeApp* found = app(pid)) {
            for (const auto& w : found->windows) ids.push_back(w.id);
        }
        return ids;
    }
    std::optional<bool> isMinimized(platform::WindowId id) override {
        FakeWindow* w = window(id);
        return w ? std::optional(w->minimized) : std::nullopt;
    }
    void setMinimized(platform::WindowId id, bool minimized) override {
        windowWrites.push_back({id, std::nullopt, minimized});
        if (FakeWindow* w = window(id)) w->minimized = minimized;
    }
    std::optional<platform::Point> position(platform::WindowId id) override {
        auto frame = readableFrame(id);
        return frame ? std::optional(frame->origin()) : std::nullopt;
    }
    std::optional<platform::Size> size(platform::WindowId id) override {
        auto frame = readableFrame(id);
        return frame ? std::optional(frame->size()) : std::nullopt;
    }
    void setFrame(platform::WindowId id, platform::Rect frame) override {
        windowWrites.push_back({id, frame, std::nullopt});
        FakeWindow* w = window(id);
        if (!w) return;
        const platform::Size least = w->minSize.value_or(frame.size());
        w->frame = {frame.x, frame.y, std::max(frame.width, least.width),
                    std::max(frame.height, least.height)};
    }
    int windowListError(platform::Pid pid) override {
        FakeApp* found = app(pid);
        return found ? found->windowListError : platform::ax::invalidElement;
    }
    int focusedElementError() override { return focusedElement; }

    // Displays: ids are 1-based indexes into screens.
    std::vector<platform::DisplayId> activeDisplays() override {
        std::vector<platform::DisplayId> ids;
        for (std::size_t i = 1; i <= screens.size(); ++i)
            ids.push_back(static_cast<platform::DisplayId>(i));
        return ids;
    }
    platform::Rect bounds(platform::DisplayId display) override {
        return display == 0 || display > screens.size() ? platform::Rect{} : screens[display - 1];
    }
    platform::DisplayId mainDisplay() override { return screens.empty() ? 0 : 1; }

    // KeyboardOutput
    bool canPost(std::uint16_t keyCode) override {
        return std::ranges::find(unpostable, keyCode) == unpostable.end();
    }
    void post(const platform::KeyEvent& event) override {
        keyEvents.push_back(event);
        if (revokeTrustOnPost) trusted = false;
    }
    void beginTyping() override { typingRuns.push_back({keyEvents.size(), keyEvents.size()}); }
    void endTyping() override { typingRuns.back().second = keyEvents.size(); }

    // Clipboard
    std::optional<std::string> readText() override { return clipboardText; }
    void writeText(const std::string& text) override {
        clipboardText = text;
        clipboardWrites.push_back(text);
    }

    // Pointer
    void warp(platform::Point to) override {
        warps.push_back(to);
        pointerAt = to;
    }
    std::optional<platform::Point> location() override { return pointerAt; }
    bool canCreateMouseEvent(platform::Point) override { return mouseEvents; }

    // Accessibility
    bool isTrusted(bool prompt) override {
        if (prompt && !trusted) ++trustPrompts;
        return trusted;
    }
    std::string untrustedReason() override { return untrusted; }

    // Sleeper
    void sleepMicroseconds(std::uint32_t us) override { sleeps.push_back(us); }

    // BrowserServices
    std::vector<platform::BrowserApp> applicationsForScheme(const std::string& scheme) override {
        std::vector<platform::BrowserApp> found;
        for (const auto& b : browserApps) {
            if (scheme == "http" ? b.declaresHttp : scheme == "https" && b.declaresHttps) {
                found.push_back(b);
            }
        }
        return found;
    }
    platform::DefaultBrowsers currentDefaults() override { return defaults; }
    bool setDefault(const std::string& bundleID) override {
        if (std::ranges::find(refuseDefault, bundleID) != refuseDefault.end()) return false;
        defaults = {bundleID, bundleID};
        return true;
    }

    // ScriptRunner
    platform::ScriptResult run(const std::string& source) override {
        scriptsRun.push_back(source);
        return scriptResult;
    }

  private:
    FakeApp* app(platform::Pid pid) {
        auto found = std::ranges::find(apps, pid, [](const FakeApp& a) { return a.info.pid; });
        return found == apps.end() ? nullptr : &*found;
    }
    std::optional<platform::Rect> readableFrame(platform::WindowId id) {
        FakeWindow* w = window(id);
        return w && w->frameReadable ? std::optional(w->frame) : std::nullopt;
    }
};

}  // namespace tarn::testing
