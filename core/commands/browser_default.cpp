#include "core/commands/browser_default.h"

#include <algorithm>
#include <map>
#include <ostream>

#include "support/json_text.h"
#include "support/number_text.h"
#include "support/text.h"

namespace tarn::commands {
namespace {

using platform::BrowserApp;

constexpr const char* kUsage = "Usage: tarn browser-default <list|current|set|toggle>\n";
constexpr const char* kSetUsage =
    "Usage: tarn browser-default set <index> OR set --bundle <bundleID>\n";
constexpr const char* kToggleUsage =
    "Usage: tarn browser-default toggle --a <bundleID> --b <bundleID>\n";
constexpr const char* kNoBrowsers = "No likely browsers found for http/https.";

// Install locations, best first; the first rule that applies gives the score. macOS
// bundles and XDG desktop entries never share a prefix, so one table serves both: the
// distribution's entries rank with the Applications folder, locally installed ones with
// the system's own applications, sandboxed packages next, home folders after them.
struct PathRule {
    std::string_view text;
    bool anywhere;  // contained anywhere rather than a prefix
    int score;
};

constexpr PathRule kPathRules[] = {
    {"/Applications/", false, 0},
    {"/usr/share/applications/", false, 0},
    {"/System/Applications/", false, 1},
    {"/usr/local/share/applications/", false, 1},
    {"/Cryptexes/", true, 2},
    {"/var/lib/flatpak/exports/share/applications/", false, 2},
    {"/var/lib/snapd/desktop/applications/", false, 2},
    {"/Users/", false, 3},
    {"/home/", false, 3},
    {"/Volumes/", false, 4},
};
constexpr int kOtherPlaces = 5;

// One application per identifier in the order they first come: a later location replaces
// an earlier one only when it is strictly more usual. Entries without an identifier are
// applications the desktop cannot name, and are skipped.
std::vector<BrowserApp> bestByBundle(const std::vector<BrowserApp>& apps) {
    std::vector<BrowserApp> best;
    std::map<std::string, std::size_t> index;
    for (const auto& app : apps) {
        if (app.bundleID.empty()) continue;
        auto [at, added] = index.emplace(app.bundleID, best.size());
        if (added) {
            best.push_back(app);
        } else if (preferredPathScore(app.path) < preferredPathScore(best[at->second].path)) {
            best[at->second] = app;
        }
    }
    return best;
}

bool keepAsBrowser(const BrowserApp& app) {
    if (app.bundleID.starts_with("com.parallels.winapp.")) return false;
    if (app.agentLike) return false;
    return app.declaresHttp || app.declaresHttps;
}

// Prints the JSON text and a line feed; a value that cannot be written prints nothing.
void printJson(const support::Json& value, support::JsonStyle style, CommandContext& context) {
    std::string text;
    try {
        text = support::writeJson(value, style);
    } catch (const std::exception&) {
        return;
    }
    context.out << text << '\n';
}

support::Json optionalText(const std::optional<std::string>& text) {
    return text ? support::Json(*text) : support::Json(nullptr);
}

int list(CommandContext& context) {
    auto candidates = browserCandidates(context.browsers());
    if (candidates.empty()) {
        context.out << kNoBrowsers << '\n';
        return 2;
    }
    auto array = support::Json::array();
    for (const auto& candidate : candidates) {
        support::Json entry = support::Json::object();
        entry["name"] = candidate.name;
        entry["bundleID"] = candidate.bundleID;
        entry["path"] = candidate.path;
        array.push_back(std::move(entry));
    }
    printJson(array, {.pretty = true}, context);
    return 0;
}

int current(CommandContext& context) {
    auto defaults = context.browsers().currentDefaults();
    support::Json object = support::Json::object();
    object["http"] = optionalText(defaults.http);
    object["https"] = optionalText(defaults.https);
    printJson(object, {.pretty = true}, context);
    return 0;
}

int set(const Args& rest, CommandContext& context) {
    auto& services = context.browsers();
    auto candidates = browserCandidates(services);
    if (candidates.empty()) {
        context.err << kNoBrowsers << '\n';
        return 2;
    }
    std::optional<BrowserCandidate> chosen;
    if (rest.size() >= 2 && rest[0] == "--bundle") {
        chosen = findBrowserByBundle(candidates, rest[1]);
        if (!chosen) {
            context.err << "Bundle not found in candidates: " << rest[1] << '\n';
            return 3;
        }
    } else {
        auto index = rest.empty() ? std::nullopt : support::parseInt64(rest[0]);
        if (!index || *index < 0 || static_cast<std::uint64_t>(*index) >= candidates.size()) {
            context.err << kSetUsage;
            return 1;
        }
        chosen = candidates[static_cast<std::size_t>(*index)];
    }
    if (!services.setDefault(chosen->bundleID)) {
        context.err << "Failed to set default browser to " << chosen->bundleID << '\n';
        return 4;
    }
    context.out << "Set default browser to: " << chosen->name << " (" << chosen->bundleID << ")\n";
    return 0;
}

// The word after the first occurrence of the flag; absent when the flag is missing or last.
std::optional<std::string> flagValue(const Args& rest, const std::string& flag) {
    auto at = std::find(rest.begin(), rest.end(), flag);
    if (at == rest.end() || at + 1 == rest.end()) return std::nullopt;
    return *(at + 1);
}

int toggle(const Args& rest, CommandContext& context) {
    auto a = flagValue(rest, "--a");
    auto b = flagValue(rest, "--b");
    if (!a || !b) {
        context.err << kToggleUsage;
        return 1;
    }
    auto& services = context.browsers();
    auto defaults = services.currentDefaults();
    auto now = defaults.http ? defaults.http : defaults.https;
    const std::string& target = now == *a ? *b : *a;
    if (!services.setDefault(target)) {
        context.err << "Failed to toggle to " << target << '\n';
        return 4;
    }
    if (auto found = findBrowserByBundle(browserCandidates(services), target)) {
        support::Json object = support::Json::object();
        object["bundleID"] = found->bundleID;
        object["name"] = found->name;
        printJson(object, {}, context);
    }
    return 0;
}

}  // namespace

int preferredPathScore(std::string_view path) {
    for (const auto& rule : kPathRules) {
        bool applies = rule.anywhere ? path.find(rule.text) != std::string_view::npos
                                     : path.starts_with(rule.text);
        if (applies) return rule.score;
    }
    return kOtherPlaces;
}

std::string appDisplayName(const BrowserApp& app) {
    if (!app.name.empty()) return app.name;
    std::string_view file = app.path;
    if (auto slash = file.rfind('/'); slash != std::string_view::npos)
        file.remove_prefix(slash + 1);
    if (auto dot = file.rfind('.'); dot != std::string_view::npos && dot > 0) {
        file = file.substr(0, dot);
    }
    return std::string(file);
}

std::vector<BrowserCandidate> browserCandidates(platform::BrowserServices& services) {
    auto http = bestByBundle(services.applicationsForScheme("http"));
    auto https = bestByBundle(services.applicationsForScheme("https"));
    std::vector<BrowserCandidate> candidates;
    for (const auto& viaHttp : http) {
        auto viaHttps = std::find_if(https.begin(), https.end(), [&](const BrowserApp& app) {
            return app.bundleID == viaHttp.bundleID;
        });
        if (viaHttps == https.end()) continue;
        const BrowserApp& app =
            preferredPathScore(viaHttps->path) < preferredPathScore(viaHttp.path) ? *viaHttps
                                                                                  : viaHttp;
        if (!keepAsBrowser(app)) continue;
        candidates.push_back({appDisplayName(app), app.bundleID, app.path});
    }
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const BrowserCandidate& a, const BrowserCandidate& b) {
                         int scoreA = preferredPathScore(a.path);
                         int scoreB = preferredPathScore(b.path);
                         if (scoreA != scoreB) return scoreA < scoreB;
                         return support::asciiLowercase(a.name) < support::asciiLowercase(b.name);
                     });
    return candidates;
}

std::optional<BrowserCandidate> findBrowserByBundle(const std::vector<BrowserCandidate>& candidates,
                                                    const std::string& bundleID) {
    std::optional<BrowserCandidate> best;
    for (const auto& candidate : candidates) {
        if (candidate.bundleID != bundleID) continue;
        if (!best || preferredPathScore(candidate.path) < preferredPathScore(best->path)) {
            best = candidate;
        }
    }
    return best;
}

int handleBrowserDefault(const Args& args, CommandContext& context) {
    if (args.empty()) {
        context.err << kUsage;
        return 1;
    }
    const std::string& word = args[0];
    const Args rest(args.begin() + 1, args.end());
    if (word == "list") return list(context);
    if (word == "current") return current(context);
    if (word == "set") return set(rest, context);
    if (word == "toggle") return toggle(rest, context);
    context.err << "Unknown browser-default subcommand: " << word << '\n' << kUsage;
    return 1;
}

}  // namespace tarn::commands
