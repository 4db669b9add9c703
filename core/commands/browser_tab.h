#pragma once

#include <string>
#include <vector>

#include "core/context.h"

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

// Runs the script: 0 when it ran (or the runner refused the source), 5 after printing the
// runner's error.
int switchOrOpenBrowserTab(const std::string& browser, const std::string& urlPattern,
                           const std::string& titlePattern, const std::string& targetUrl,
                           CommandContext& context);

// The browser-tab command; may throw CommandFailure (status 4).
int handleBrowserTab(const Args& args, CommandContext& context);

}  // namespace tarn::commands
