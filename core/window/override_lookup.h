#pragma once

#include <array>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "core/window/window_state.h"
#include "support/json_text.h"

namespace tarn::window {

// Read-only mirror of the agent's configuration file: just the members a direct move-app
// call needs, read leniently so that whatever else the agent writes there never matters.
struct WendleStateFilters {
    // In StateFilters order; absent where the file does not say.
    std::array<std::optional<bool>, 6> flags;
};

struct WendleRule {
    std::string id;
    std::optional<std::string> overrideTarn;
    std::optional<WendleStateFilters> stateFilters;
};

struct WendleRuleOverride {
    bool enabled = true;
    std::optional<WendleStateFilters> stateFilters;
};

struct WendleSavedLocation {
    platform::Rect frame;
    std::int64_t screenIndex = 0;
    bool screenSpecific = true;
};

struct WendleAppConfig {
    std::string bundleID;
    std::vector<WendleSavedLocation> savedLocations;
    std::vector<std::pair<std::string, WendleRuleOverride>> ruleOverrides;  // last one wins

    const WendleRuleOverride* overrideFor(const std::string& ruleID) const;
};

struct WendleConfig {
    std::vector<WendleRule> globalRules;
    std::vector<WendleAppConfig> appConfigs;
};

// Absent when the document is not a JSON object; malformed lists come back empty.
std::optional<WendleConfig> decodeWendleConfig(const support::Json& document);

// A saved frame offered to a move-app call, as the agent keeps it for an application.
struct MoveAppLocation {
    MoveAppLocation(platform::Rect frame = {}, bool screenSpecific = true,
                    std::optional<std::int64_t> screenIndex = std::nullopt)
        : frame(frame), screenSpecific(screenSpecific), screenIndex(screenIndex) {}
    platform::Rect frame;
    bool screenSpecific = true;
    // The screen the agent recorded it on; absent: the screen its origin lies on.
    std::optional<std::int64_t> screenIndex;
    friend bool operator==(const MoveAppLocation&, const MoveAppLocation&) = default;
};

struct TarnOverride {
    std::vector<MoveAppLocation> savedLocations;
    StateFilters stateFilters;
};

// The filters and saved locations the agent would use for a direct move-app call in this
// direction, when one of its global rules asks to take such calls over. Diagnostics go to
// err as DEBUG lines; every problem with the file just means no override.
std::optional<TarnOverride> checkTarnOverride(const std::string& direction,
                                              const std::optional<std::string>& bundleID,
                                              std::ostream& err);

}  // namespace tarn::window
