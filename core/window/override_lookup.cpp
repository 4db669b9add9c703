#include "core/window/override_lookup.h"

#include "support/app_support.h"
#include "support/files.h"
#include "support/number_text.h"

namespace tarn::window {
namespace {

using support::Json;

const Json* member(const Json& object, std::string_view name) {
    auto it = object.find(name);
    return it == object.end() ? nullptr : &*it;
}

// A rule's filters: a present member that is not a boolean spoils the whole object.
std::optional<WendleStateFilters> strictFilters(const Json* value) {
    if (!value || !value->is_object()) return std::nullopt;
    WendleStateFilters filters;
    for (std::size_t i = 0; i < kStateFilterNames.size(); ++i) {
        const Json* flag = member(*value, kStateFilterNames[i]);
        if (!flag) continue;
        if (!flag->is_boolean()) return std::nullopt;
        filters.flags[i] = flag->get<bool>();
    }
    return filters;
}

// An app override's filters: whatever flags are booleans count, the rest are absent.
WendleStateFilters lenientFilters(const Json& value) {
    WendleStateFilters filters;
    for (std::size_t i = 0; i < kStateFilterNames.size(); ++i) {
        const Json* flag = member(value, kStateFilterNames[i]);
        if (flag && flag->is_boolean()) filters.flags[i] = flag->get<bool>();
    }
    return filters;
}

std::optional<double> number(const Json& value) {
    if (!value.is_number()) return std::nullopt;
    return value.get<double>();
}

std::optional<std::int64_t> integer(const Json& value) {
    if (value.is_number_integer()) return value.get<std::int64_t>();
    if (value.is_number_float()) return support::exactInt64(value.get<double>());
    return std::nullopt;
}

// [[x, y], [width, height]]
std::optional<platform::Rect> rectangle(const Json* value) {
    if (!value || !value->is_array() || value->size() < 2) return std::nullopt;
    const Json& origin = (*value)[0];
    const Json& size = (*value)[1];
    if (!origin.is_array() || origin.size() < 2 || !size.is_array() || size.size() < 2) {
        return std::nullopt;
    }
    auto x = number(origin[0]), y = number(origin[1]);
    auto width = number(size[0]), height = number(size[1]);
    if (!x || !y || !width || !height) return std::nullopt;
    return platform::Rect{*x, *y, *width, *height};
}

std::optional<WendleRule> decodeRule(const Json& value) {
    if (!value.is_object()) return std::nullopt;
    const Json* id = member(value, "id");
    if (!id || !id->is_string()) return std::nullopt;
    WendleRule rule;
    rule.id = id->get<std::string>();
    if (const Json* direction = member(value, "overrideTarn");
        direction && direction->is_string()) {
        rule.overrideTarn = direction->get<std::string>();
    }
    rule.stateFilters = strictFilters(member(value, "stateFilters"));
    return rule;
}

std::optional<WendleSavedLocation> decodeLocation(const Json& value) {
    if (!value.is_object()) return std::nullopt;
    auto frame = rectangle(member(value, "frame"));
    const Json* index = member(value, "screenIndex");
    auto screenIndex = index ? integer(*index) : std::nullopt;
    if (!frame || !screenIndex) return std::nullopt;
    WendleSavedLocation location{.frame = *frame, .screenIndex = *screenIndex};
    if (const Json* specific = member(value, "screenSpecific");
        specific && specific->is_boolean()) {
        location.screenSpecific = specific->get<bool>();
    }
    return location;
}

// The agent writes its map as [id1, override1, id2, override2, ...]. Pairs that do not look
// like (text, object with a boolean "enabled") are skipped one by one.
std::vector<std::pair<std::string, WendleRuleOverride>> decodeOverrides(const Json* value) {
    std::vector<std::pair<std::string, WendleRuleOverride>> overrides;
    if (!value || !value->is_array()) return overrides;
    for (std::size_t i = 0; i + 1 < value->size(); i += 2) {
        const Json& key = (*value)[i];
        const Json& object = (*value)[i + 1];
        if (!key.is_string() || !object.is_object()) continue;
        const Json* enabled = member(object, "enabled");
        if (!enabled || !enabled->is_boolean()) continue;
        WendleRuleOverride entry{.enabled = enabled->get<bool>(), .stateFilters = {}};
        if (const Json* filters = member(object, "stateFilters"); filters && filters->is_object()) {
            entry.stateFilters = lenientFilters(*filters);
        }
        overrides.emplace_back(key.get<std::string>(), std::move(entry));
    }
    return overrides;
}

std::optional<WendleAppConfig> decodeAppConfig(const Json& value) {
    if (!value.is_object()) return std::nullopt;
    const Json* bundleID = member(value, "bundleID");
    const Json* locations = member(value, "savedLocations");
    if (!bundleID || !bundleID->is_string() || !locations || !locations->is_array()) {
        return std::nullopt;
    }
    WendleAppConfig config;
    config.bundleID = bundleID->get<std::string>();
    for (const Json& entry : *locations) {
        auto location = decodeLocation(entry);
        if (!location) return std::nullopt;
        config.savedLocations.push_back(*location);
    }
    config.ruleOverrides = decodeOverrides(member(value, "ruleOverrides"));
    return config;
}

// A list decodes whole or not at all: one bad element empties it.
template <typename T, typename Decode>
std::vector<T> decodeList(const Json& document, const char* name, Decode decode) {
    std::vector<T> list;
    const Json* value = member(document, name);
    if (!value || !value->is_array()) return list;
    for (const Json& element : *value) {
        auto decoded = decode(element);
        if (!decoded) return {};
        list.push_back(std::move(*decoded));
    }
    return list;
}

StateFilters applied(StateFilters base, const WendleStateFilters& changes) {
    auto flags = stateFlags(base);
    for (std::size_t i = 0; i < flags.size(); ++i) {
        if (changes.flags[i]) *flags[i] = *changes.flags[i];
    }
    return base;
}

}  // namespace

const WendleRuleOverride* WendleAppConfig::overrideFor(const std::string& ruleID) const {
    for (auto it = ruleOverrides.rbegin(); it != ruleOverrides.rend(); ++it) {
        if (it->first == ruleID) return &it->second;
    }
    return nullptr;
}

std::optional<WendleConfig> decodeWendleConfig(const Json& document) {
    if (!document.is_object()) return std::nullopt;
    WendleConfig config;
    config.globalRules = decodeList<WendleRule>(document, "globalRules", decodeRule);
    config.appConfigs = decodeList<WendleAppConfig>(document, "appConfigs", decodeAppConfig);
    return config;
}

std::optional<TarnOverride> checkTarnOverride(const std::string& direction,
                                              const std::optional<std::string>& bundleID,
                                              std::ostream& err) {
    auto base = support::applicationSupportBase();
    if (!base) {
        err << "DEBUG: Could not get Application Support directory\n";
        return std::nullopt;
    }
    auto path = *base / support::kAppDirName / "wendle-config.json";
    err << "DEBUG: Looking for Wendle config at: " << path.string() << "\n";
    auto bytes = support::readFile(path);
    if (!bytes) {
        err << "DEBUG: Could not load Wendle config file (file not found or unreadable)\n";
        return std::nullopt;
    }
    err << "DEBUG: Loaded " << bytes->size() << " bytes from config file\n";
    auto document = support::parseJson(*bytes);
    auto config = document ? decodeWendleConfig(*document) : std::nullopt;
    if (!config) {
        err << "DEBUG: Could not decode Wendle config JSON\n";
        return std::nullopt;
    }
    err << "DEBUG: Successfully decoded config with " << config->globalRules.size() << " rules\n";

    const WendleRule* rule = nullptr;
    for (const auto& candidate : config->globalRules) {
        if (candidate.overrideTarn == direction) {
            rule = &candidate;
            break;
        }
    }
    if (!rule) {
        err << "DEBUG: No override rule found for direction '" << direction << "'\n";
        return std::nullopt;
    }
    err << "DEBUG: Found override rule '" << rule->id << "' for direction '" << direction << "'\n";

    StateFilters filters;
    if (rule->stateFilters) filters = applied(filters, *rule->stateFilters);

    const WendleAppConfig* app = nullptr;
    if (bundleID) {
        for (const auto& candidate : config->appConfigs) {
            if (candidate.bundleID == *bundleID) {
                app = &candidate;
                break;
            }
        }
    }
    if (!app) {
        err << "DEBUG: Using override with no app-specific customization\n";
        return TarnOverride{{}, filters};
    }
    if (const WendleRuleOverride* entry = app->overrideFor(rule->id)) {
        if (!entry->enabled) {
            err << "DEBUG: Override rule is disabled for app " << app->bundleID << "\n";
            return std::nullopt;
        }
        if (entry->stateFilters) filters = applied(filters, *entry->stateFilters);
    }
    TarnOverride result{{}, filters};
    for (const auto& location : app->savedLocations) {
        result.savedLocations.push_back({location.frame, location.screenSpecific});
    }
    err << "DEBUG: Using override for app " << app->bundleID << " with "
        << result.savedLocations.size() << " saved locations\n";
    return result;
}

}  // namespace tarn::window
