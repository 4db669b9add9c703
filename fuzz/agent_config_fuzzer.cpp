// Feeds arbitrary bytes to the agent's configuration reader. Whatever it reads, the agent
// must be able to save, and the saved file must read back whole as the same configuration,
// both by the agent and, for what it looks at, by the core's override lookup.
#include <algorithm>
#include <optional>

#include "agent/config_json.h"
#include "core/window/override_lookup.h"
#include "fuzz/fuzz_check.h"
#include "support/json_text.h"

namespace {

using namespace tarn;
using fuzz::check;

bool sameFilters(const std::optional<agent::StateFilters>& written,
                 const std::optional<window::WendleStateFilters>& seen) {
    if (!written || !seen) return !written && !seen;
    const agent::StateFilters& f = *written;
    const std::array<bool, 6> flags = {f.fullWidthOnPrimary,  f.fullWidthOnSecondary,
                                       f.alignRightOnPrimary, f.alignRightOnSecondary,
                                       f.alignLeftOnPrimary,  f.alignLeftOnSecondary};
    return std::equal(flags.begin(), flags.end(), seen->flags.begin());
}

// The core reads the agent's file on its own, leniently, for direct move-app calls.
void checkOverrideLookupSees(const agent::RootConfig& config, const support::Json& document) {
    auto seen = window::decodeWendleConfig(document);
    check(seen && seen->globalRules.size() == config.globalRules.size() &&
          seen->appConfigs.size() == config.appConfigs.size());
    for (std::size_t i = 0; i < config.globalRules.size(); ++i) {
        const auto& rule = config.globalRules[i];
        const auto& seenRule = seen->globalRules[i];
        check(seenRule.id == rule.id.text());
        check(rule.overrideTarn ? seenRule.overrideTarn == agent::directionName(*rule.overrideTarn)
                                : !seenRule.overrideTarn);
        check(sameFilters(rule.stateFilters, seenRule.stateFilters));
    }
    for (std::size_t i = 0; i < config.appConfigs.size(); ++i) {
        const auto& app = config.appConfigs[i];
        const auto& seenApp = seen->appConfigs[i];
        check(seenApp.bundleID == app.bundleID &&
              seenApp.savedLocations.size() == app.savedLocations.size());
        for (std::size_t k = 0; k < app.savedLocations.size(); ++k) {
            const auto& location = app.savedLocations[k];
            const auto& seenLocation = seenApp.savedLocations[k];
            check(seenLocation.frame == location.frame &&
                  seenLocation.screenIndex == location.screenIndex &&
                  seenLocation.screenSpecific == location.screenSpecific);
        }
        for (const auto& [id, override] : app.ruleOverrides) {
            const auto* seenOverride = seenApp.overrideFor(id.text());
            check(seenOverride && seenOverride->enabled == override.enabled &&
                  sameFilters(override.stateFilters, seenOverride->stateFilters));
        }
    }
}

}  // namespace

TARN_FUZZ_TARGET(text) {
    auto decoded = agent::decodeConfigText(text);
    if (!decoded) return;

    std::string saved = agent::configText(decoded->config);
    auto reread = agent::decodeConfigText(saved);
    check(reread && reread->readWhole() && reread->config == decoded->config);

    auto document = support::parseJson(saved);
    check(document.has_value());
    checkOverrideLookupSees(decoded->config, *document);
}
