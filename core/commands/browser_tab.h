#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/context.h"
#include "platform/browser_tabs.h"

namespace tarn::commands {

// The title pattern split at every "||"; empty terms are kept, so "" gives one empty term.
std::vector<std::string> titleTerms(const std::string& titlePattern);

// Safari and Orion speak of "current tab" and "name"; every other browser is taken to be
// of the Chromium family ("active tab index", "title"). The test ignores letter case.
bool isSafariFamily(const std::string& browser);

// The script that brings the browser forward and selects the first tab whose address or
// title matches, or opens targetUrl in a new tab. Patterns and the address go in verbatim.
std::string composeBrowserTabScript(const std::string& browser, const std::string& urlPattern,
                                    const std::string& titlePattern, const std::string& targetUrl);

struct TabPosition {
    std::size_t window = 0;
    std::size_t tab = 0;
    friend bool operator==(const TabPosition&, const TabPosition&) = default;
};

// The first tab, windows front to back and tabs left to right, whose address contains the
// URL pattern or whose title contains any title term. Plain text comparison: quotes and
// backslashes are characters like any other.
std::optional<TabPosition> findTab(const std::vector<platform::BrowserWindow>& windows,
                                   const std::string& urlPattern,
                                   const std::vector<std::string>& titleTerms);

// Runs the script: 0 when it ran (or the runner refused the source), 5 after printing the
// runner's error.
int switchOrOpenBrowserTab(const std::string& browser, const std::string& urlPattern,
                           const std::string& titlePattern, const std::string& targetUrl,
                           CommandContext& context);

// The browser-tab command; may throw CommandFailure (status 4).
int handleBrowserTab(const Args& args, CommandContext& context);

}  // namespace tarn::commands
