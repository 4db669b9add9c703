#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "agent/config.h"
#include "agent/logger.h"

namespace tarn::agent {

struct RuleMatch {
    HotkeyRule rule;
    std::optional<RuleOverride> override;  // the frontmost application's, when it has one
    friend bool operator==(const RuleMatch&, const RuleMatch&) = default;
};

// The rules and every application's overrides of them, asked on the key tap's thread which
// rule a chord triggers. Rebuilt on the main thread after each configuration change; one
// lock guards both, and neither side calls out while holding it.
class RuleEngine {
  public:
    explicit RuleEngine(Logger log) : log_(log) {}

    void rebuildIndex(const RootConfig& config);

    // The first rule with exactly this chord, with the frontmost application's override of
    // it. Nothing when no rule has the chord, or when the application disables that rule
    // (the key then passes; later rules with the same chord are not tried).
    std::optional<RuleMatch> match(std::optional<std::string_view> bundleID, const KeyChord& chord);

  private:
    struct StringHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const noexcept {
            return std::hash<std::string_view>{}(text);
        }
    };
    using OverrideMap =
        std::unordered_map<std::string, std::map<Uuid, RuleOverride>, StringHash, std::equal_to<>>;

    Logger log_;
    std::mutex lock_;
    std::vector<HotkeyRule> globalRules_;
    OverrideMap appOverrides_;
};

}  // namespace tarn::agent
