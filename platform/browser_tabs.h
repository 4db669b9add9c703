#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarn::platform {

struct BrowserTab {
    std::int64_t id = 0;
    std::string url;
    std::string title;
};

struct BrowserWindow {
    std::int64_t id = 0;
    std::vector<BrowserTab> tabs;  // left to right
};

// Why a browser could not be asked. Each becomes one line on standard error; notRunning is
// no failure of the command, which then starts the browser with its address.
enum class TabsProblem { notRunning, extensionMissing, failed };

struct TabsFailure {
    TabsProblem problem = TabsProblem::failed;
    std::string message;  // what the user reads, naming the browser and what to do
};

struct TabListing {
    std::vector<BrowserWindow> windows;  // front to back
    std::optional<TabsFailure> failure;
};

// The tabs of one running browser, reached through something the browser itself offers
// (an extension), for desktops where browsers take no scripts. The command decides which
// tab matches; this only lists, selects and opens.
class BrowserTabs {
  public:
    virtual ~BrowserTabs() = default;
    virtual TabListing list() = 0;
    // Selects the tab and brings its window to the front.
    virtual std::optional<TabsFailure> select(std::int64_t window, std::int64_t tab) = 0;
    // Opens the address in a new, selected tab of the front window, in a new window when
    // there is none; a browser that is not running is started with it.
    virtual std::optional<TabsFailure> open(const std::string& url) = 0;
};

}  // namespace tarn::platform
