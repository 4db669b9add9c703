#include "agent/rule_engine.h"

#include <algorithm>

namespace tarn::agent {

void RuleEngine::rebuildIndex(const RootConfig& config) {
    // The copies and the log lines are made before taking the lock and the old index is freed
    // after it, so a key press waits for two swaps, never for the whole rebuild.
    std::vector<HotkeyRule> rules = config.globalRules;
    OverrideMap overrides;
    if (log_.enabled()) {
        log_.error("Rebuilding index...");
        log_.error("Loaded " + std::to_string(rules.size()) + " global rules:");
        for (const HotkeyRule& rule : rules) {
            log_.error("  - " + rule.chord.displayName() +
                       " (mod=" + std::to_string(rule.chord.modifiers.rawValue) + ") → " +
                       describeAction(rule.action));
        }
    }
    for (const AppConfig& app : config.appConfigs) {
        // A later entry for the same application replaces an earlier one.
        overrides.insert_or_assign(app.bundleID, app.ruleOverrides);
        if (log_.enabled()) {
            log_.error("Loaded " + std::to_string(app.ruleOverrides.size()) +
                       " rule overrides for " + app.bundleID);
        }
    }
    {
        std::lock_guard guard(lock_);
        globalRules_.swap(rules);
        appOverrides_.swap(overrides);
    }
}

std::optional<RuleMatch> RuleEngine::match(std::optional<std::string_view> bundleID,
                                           const KeyChord& chord) {
    std::optional<RuleMatch> result;
    bool disabled = false;
    {
        std::lock_guard guard(lock_);
        auto candidate = std::find_if(globalRules_.begin(), globalRules_.end(),
                                      [&](const HotkeyRule& rule) { return rule.chord == chord; });
        if (candidate == globalRules_.end()) return std::nullopt;
        const RuleOverride* override = nullptr;
        if (bundleID) {
            if (auto app = appOverrides_.find(*bundleID); app != appOverrides_.end()) {
                if (auto found = app->second.find(candidate->id); found != app->second.end()) {
                    override = &found->second;
                }
            }
        }
        disabled = override && !override->enabled;
        if (!disabled) {
            result = RuleMatch{*candidate, override ? std::optional(*override) : std::nullopt};
        }
    }
    if (log_.enabled()) {
        std::string name = chord.displayName();
        if (disabled) {
            log_.error("Rule " + name + " disabled for " + std::string(*bundleID));
        } else if (result->override) {
            log_.error("Matched global rule with app override for " + std::string(*bundleID) +
                       ": " + name);
        } else {
            log_.error("Matched global rule: " + name);
        }
    }
    return result;
}

}  // namespace tarn::agent
