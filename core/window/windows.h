#pragma once

#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/geometry.h"
#include "platform/input.h"
#include "platform/window_system.h"

// Access to other applications' windows, written once against the window-system interface so
// every backend shares the rules. Failed reads become absent results; writes are
// fire-and-forget.
namespace tarn::window {

struct FrontmostWindow {
    platform::WindowId window = 0;
    platform::AppInfo app;
};

struct MinimizedWindow {
    platform::WindowId window = 0;
    platform::AppInfo app;
    std::string appName;
};

// The focused window of the frontmost application; absent when there is no frontmost
// application or it reports no focused window.
std::optional<FrontmostWindow> getFrontmostWindow(platform::WindowSystem& windows);

// The application's windows in the desktop's order; empty when they cannot be read.
std::vector<platform::WindowId> getAllWindows(platform::WindowSystem& windows,
                                              const platform::AppInfo& app);

// True only when the flag can be read and is set.
bool isWindowMinimized(platform::WindowSystem& windows, platform::WindowId window);

// Position and size; absent when either cannot be read.
std::optional<platform::Rect> getWindowFrame(platform::WindowSystem& windows,
                                             platform::WindowId window);

// Sets the position first and the size second, once each; nothing is read back.
void setWindowFrame(platform::WindowSystem& windows, platform::WindowId window,
                    const platform::Rect& frame);

// The first minimised window, in window-list order, of the first running application (in the
// desktop's order) that has an entry in the state file. Applications without a name or without
// an entry are never searched.
std::optional<MinimizedWindow> findMinimizedWindow(platform::WindowSystem& windows,
                                                   const std::filesystem::path& stateFile,
                                                   std::ostream& diagnostics);

// Un-minimises the window found by findMinimizedWindow when the press was "down", resets the
// application's vertical state when it has a record, and gives the window 100 ms to settle.
void handleMinimizedWindowRestore(platform::WindowSystem& windows, platform::Sleeper& sleeper,
                                  const std::filesystem::path& stateFile,
                                  const std::string& appName, platform::WindowId window,
                                  std::ostream& diagnostics);

}  // namespace tarn::window
