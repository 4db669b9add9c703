#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/context.h"
#include "platform/browser.h"

namespace tarn::commands {

struct BrowserCandidate {
    std::string name;
    std::string bundleID;  // desktop file id on Linux
    std::string path;      // application bundle, or .desktop file on Linux
    friend bool operator==(const BrowserCandidate&, const BrowserCandidate&) = default;
};

// Where an application is installed, as a rank: lower is the more usual place.
int preferredPathScore(std::string_view path);

// The name the desktop gives the application, else its file name without the extension.
std::string appDisplayName(const platform::BrowserApp& app);

// The applications that open both http and https addresses, once per identifier (its most
// usual install location), without background agents, foreign-platform wrappers and
// applications that declare neither scheme themselves; ordered by install location, then
// by name ignoring letter case, so list indexes stay put between calls.
std::vector<BrowserCandidate> browserCandidates(platform::BrowserServices& services);

// The candidate with exactly this identifier, at its most usual install location.
std::optional<BrowserCandidate> findBrowserByBundle(const std::vector<BrowserCandidate>& candidates,
                                                    const std::string& bundleID);

// The browser-default command: list, current, set <name>, toggle.
int handleBrowserDefault(const Args& args, CommandContext& context);

}  // namespace tarn::commands
