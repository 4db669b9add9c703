#pragma once

#include <map>
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
// three values is set.
struct WindowWrite {
    platform::WindowId window = 0;
    std::optional<platform::Point> position;
    std::optional<platform::Size> size;
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
    // --- state the test sets up ---
    std::vector<platform::Rect> screens{{0, 0, 1920, 1080}};  // index 0 is the main display
    std::vector<FakeApp> apps;
    std::optional<platform::Pid> frontmost;
    bool trusted = true;
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
                    std::optional<std::string> name);
    FakeWindow* window(platform::WindowId id);

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
    std::optional<platform::AppInfo> frontmostApplication() override;
    std::vector<platform::AppInfo> runningApplications() override;
    platform::FocusedWindow focusedWindow(platform::Pid pid) override;
    std::vector<platform::WindowId> windows(platform::Pid pid) override;
    std::optional<bool> isMinimized(platform::WindowId id) override;
    void setMinimized(platform::WindowId id, bool minimized) override;
    std::optional<platform::Point> position(platform::WindowId id) override {
        auto frame = readableFrame(id);
        return frame ? std::optional(frame->origin()) : std::nullopt;
    }
    std::optional<platform::Size> size(platform::WindowId id) override {
        auto frame = readableFrame(id);
        return frame ? std::optional(frame->size()) : std::nullopt;
    }
    void setPosition(platform::WindowId id, platform::Point position) override;
    void setSize(platform::WindowId id, platform::Size size) override;
    int windowListError(platform::Pid pid) override;
    int focusedElementError() override { return focusedElement; }

    // Displays: ids are 1-based indexes into screens.
    std::vector<platform::DisplayId> activeDisplays() override;
    platform::Rect bounds(platform::DisplayId display) override;
    platform::DisplayId mainDisplay() override { return screens.empty() ? 0 : 1; }

    // KeyboardOutput
    bool canPost(std::uint16_t keyCode) override;
    void post(const platform::KeyEvent& event) override { keyEvents.push_back(event); }
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
    bool isTrusted(bool prompt) override;
    std::string untrustedReason() override { return untrusted; }

    // Sleeper
    void sleepMicroseconds(std::uint32_t us) override { sleeps.push_back(us); }

    // BrowserServices
    std::vector<platform::BrowserApp> applicationsForScheme(const std::string& scheme) override;
    platform::DefaultBrowsers currentDefaults() override { return defaults; }
    bool setDefault(const std::string& bundleID) override;

    // ScriptRunner
    platform::ScriptResult run(const std::string& source) override {
        scriptsRun.push_back(source);
        return scriptResult;
    }

  private:
    FakeApp* app(platform::Pid pid);
    std::optional<platform::Rect> readableFrame(platform::WindowId id);
};

}  // namespace tarn::testing
