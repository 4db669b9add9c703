#include "core/window/windows.h"

#include "core/window/window_state.h"
#include "support/store.h"

namespace tarn::window {

std::optional<FrontmostWindow> getFrontmostWindow(platform::WindowSystem& windows) {
    auto app = windows.frontmostApplication();
    if (!app) return std::nullopt;
    platform::FocusedWindow focused = windows.focusedWindow(app->pid);
    if (focused.error != platform::ax::success || !focused.window) return std::nullopt;
    return FrontmostWindow{*focused.window, std::move(*app)};
}

std::vector<platform::WindowId> getAllWindows(platform::WindowSystem& windows,
                                              const platform::AppInfo& app) {
    return windows.windows(app.pid);
}

bool isWindowMinimized(platform::WindowSystem& windows, platform::WindowId window) {
    return windows.isMinimized(window).value_or(false);
}

std::optional<platform::Rect> getWindowFrame(platform::WindowSystem& windows,
                                             platform::WindowId window) {
    auto position = windows.position(window);
    if (!position) return std::nullopt;
    auto size = windows.size(window);
    if (!size) return std::nullopt;
    return platform::Rect{position->x, position->y, size->width, size->height};
}

void setWindowFrame(platform::WindowSystem& windows, platform::WindowId window,
                    const platform::Rect& frame) {
    windows.setFrame(window, frame);
}

std::optional<MinimizedWindow> findMinimizedWindow(platform::WindowSystem& windows,
                                                   const std::filesystem::path& stateFile,
                                                   std::ostream& diagnostics) {
    diagnostics << "DEBUG: Looking for minimized windows from tracked apps\n";
    for (auto& app : windows.runningApplications()) {
        if (!app.localizedName) continue;
        const std::string& name = *app.localizedName;
        // Read for every application: another process may be writing the file meanwhile.
        auto document = support::loadStore(stateFile);
        if (!document.store.values.contains(stateKey(name))) continue;
        diagnostics << "DEBUG: Checking tracked app: " << name << '\n';
        for (platform::WindowId window : getAllWindows(windows, app)) {
            if (isWindowMinimized(windows, window)) {
                diagnostics << "DEBUG: Found minimized window for " << name << '\n';
                std::string appName = name;
                return MinimizedWindow{window, std::move(app), std::move(appName)};
            }
        }
    }
    return std::nullopt;
}

void handleMinimizedWindowRestore(platform::WindowSystem& windows, platform::Sleeper& sleeper,
                                  const std::filesystem::path& stateFile,
                                  const std::string& appName, platform::WindowId window,
                                  std::ostream& diagnostics) {
    diagnostics << "DEBUG: Restoring minimized window (early return path)\n";
    windows.setMinimized(window, false);
    if (auto state = loadWindowState(appName, stateFile)) {
        state->verticalState = 0;
        diagnostics << "DEBUG: Updated state to vState=0 after restore\n";
        if (saveWindowState(*state, stateFile, diagnostics)) {
            diagnostics << "DEBUG: Saved state after early restore\n";
        }
    }
    sleeper.sleepMicroseconds(100000);
}

}  // namespace tarn::window
