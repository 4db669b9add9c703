#include "agent/config_json.h"

#include <initializer_list>
#include <span>
#include <utility>

#include "agent/overloaded.h"
#include "support/number_text.h"

namespace tarn::agent {
namespace {

using support::Json;

constexpr std::string_view kOneCaseMessage = "Invalid number of keys found, expected one.";

// ---------------------------------------------------------------------------------------------
// Writing

Json encodeFilters(const StateFilters& filters) {
    Json json = Json::object();
    auto flags = window::stateFlags(filters);
    for (std::size_t i = 0; i < flags.size(); ++i) json[window::kStateFilterNames[i]] = *flags[i];
    return json;
}

Json encodeTarget(const Action::MouseTarget& target) {
    Json json = Json::object();
    std::visit(Overloaded{
                   [&](const Action::MouseTarget::App&) { json["app"] = Json::object(); },
                   [&](const Action::MouseTarget::Screen& screen) {
                       json["screen"] = Json::object({{"index", screen.index}});
                   },
               },
               target.value);
    return json;
}

Json encodeAction(const Action& action) {
    Json json = Json::object();
    std::visit(
        Overloaded{
            [&](const Action::MoveWindow& move) {
                json["moveWindow"] = Json::object({{"direction", directionName(move.direction)}});
            },
            [&](const Action::SendKeystrokeSequence& keys) {
                json["sendKeystrokeSequence"] = Json::object({{"sequence", keys.sequence}});
            },
            [&](const Action::MoveMouse& mouse) {
                Json payload = Json::object();
                payload["target"] = encodeTarget(mouse.target);
                payload["position"] = positionName(mouse.position);
                json["moveMouse"] = std::move(payload);
            },
        },
        action.value);
    return json;
}

Json encodeRule(const HotkeyRule& rule) {
    Json json = Json::object();
    json["id"] = rule.id.text();
    Json chord = Json::object();
    chord["keyCode"] = rule.chord.keyCode;
    chord["modifiers"] = rule.chord.modifiers.rawValue;
    json["chord"] = std::move(chord);
    json["action"] = encodeAction(rule.action);
    json["swallow"] = rule.swallow;
    if (rule.stateFilters) json["stateFilters"] = encodeFilters(*rule.stateFilters);
    if (rule.overrideTarn) json["overrideTarn"] = directionName(*rule.overrideTarn);
    return json;
}

Json encodeLocation(const SavedWindowLocation& location) {
    const platform::Rect& frame = location.frame;
    Json json = Json::object();
    json["frame"] =
        Json::array({Json::array({frame.x, frame.y}), Json::array({frame.width, frame.height})});
    json["screenIndex"] = location.screenIndex;
    json["screenSpecific"] = location.screenSpecific;
    return json;
}

Json encodeApp(const AppConfig& app) {
    Json json = Json::object();
    json["bundleID"] = app.bundleID;
    json["displayName"] = app.displayName;
    Json locations = Json::array();
    for (const auto& location : app.savedLocations) locations.push_back(encodeLocation(location));
    json["savedLocations"] = std::move(locations);
    // A map keyed by identifiers is written as one array alternating keys and values.
    Json overrides = Json::array();
    for (const auto& [id, override] : app.ruleOverrides) {
        overrides.push_back(id.text());
        Json value = Json::object();
        value["enabled"] = override.enabled;
        if (override.stateFilters) value["stateFilters"] = encodeFilters(*override.stateFilters);
        overrides.push_back(std::move(value));
    }
    json["ruleOverrides"] = std::move(overrides);
    return json;
}

// ---------------------------------------------------------------------------------------------
// Reading

// A required member that cannot be read: the object holding it fails, and with it the
// nearest tolerant level (an optional member, or a whole list).
struct Failure {
    std::string where;
    std::string message;
};

std::string memberPath(const std::string& path, std::string_view name) {
    std::string result = path;
    if (!result.empty()) result += '.';
    result += name;
    return result;
}

std::string elementPath(const std::string& path, std::size_t index) {
    return path + "[" + std::to_string(index) + "]";
}

class Decoder {
  public:
    std::vector<ConfigIssue> issues;

    RootConfig root(const Json& document) {
        RootConfig config;
        config.globalRules = list<HotkeyRule>(document, "globalRules", &Decoder::rule);
        config.appConfigs = list<AppConfig>(document, "appConfigs", &Decoder::app);
        keepOnly(document, "", {"globalRules", "appConfigs"});
        return config;
    }

  private:
    [[noreturn]] static void fail(std::string where, std::string message) {
        throw Failure{std::move(where), std::move(message)};
    }

    void note(std::string where, std::string message) {
        issues.push_back({std::move(where), std::move(message)});
    }
    void note(const Failure& failure) { note(failure.where, failure.message); }

    // Members that hold nothing (absent or null) count as absent, as optional members do.
    static const Json* present(const Json& object, std::string_view name) {
        auto found = object.find(name);
        if (found == object.end() || found->is_null()) return nullptr;
        return &*found;
    }

    static const Json& required(const Json& object, std::string_view name,
                                const std::string& path) {
        const Json* value = present(object, name);
        if (!value) fail(memberPath(path, name), "required member is missing");
        return *value;
    }

    static void expectObject(const Json& value, const std::string& path) {
        if (!value.is_object()) fail(path, "expected an object");
    }

    static std::int64_t integer(const Json& value, const std::string& path) {
        if (value.is_number_unsigned()) {
            if (value.get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX)) {
                fail(path, "integer out of range");
            }
            return static_cast<std::int64_t>(value.get<std::uint64_t>());
        }
        if (value.is_number_integer()) return value.get<std::int64_t>();
        if (value.is_number_float()) {
            // A whole number written with a fraction ("124.0") is still that integer.
            if (auto whole = support::exactInt64(value.get<double>())) return *whole;
        }
        fail(path, "expected an integer");
    }

    static double number(const Json& value, const std::string& path) {
        if (!value.is_number()) fail(path, "expected a number");
        return value.get<double>();
    }

    static bool boolean(const Json& value, const std::string& path) {
        if (!value.is_boolean()) fail(path, "expected true or false");
        return value.get<bool>();
    }

    static const std::string& string(const Json& value, const std::string& path) {
        if (!value.is_string()) fail(path, "expected a string");
        return value.get_ref<const std::string&>();
    }

    // Members outside `known` are not read, so a save would drop them.
    void keepOnly(const Json& object, const std::string& path,
                  std::initializer_list<std::string_view> known) {
        keepOnly(object, path, std::span(known.begin(), known.size()));
    }
    void keepOnly(const Json& object, const std::string& path,
                  std::span<const std::string_view> known) {
        for (auto it = object.begin(); it != object.end(); ++it) {
            bool isKnown = false;
            for (std::string_view name : known) isKnown = isKnown || it.key() == name;
            if (!isKnown) note(memberPath(path, it.key()), "unknown member, not kept");
        }
    }

    // An optional boolean: absent means `fallback`; anything but a boolean too, noted.
    bool flag(const Json& object, std::string_view name, const std::string& path, bool fallback) {
        const Json* value = present(object, name);
        if (!value) return fallback;
        if (!value->is_boolean()) {
            note(memberPath(path, name),
                 "expected true or false; read as " + std::string(fallback ? "true" : "false"));
            return fallback;
        }
        return value->get<bool>();
    }

    // Runs `read`, a tolerant level: when it fails, what it noted goes with it, its failure
    // (and what became of the member) is noted instead, and the result is absent.
    template <class Read>
    auto tolerate(Read read, std::string_view consequence) -> std::optional<decltype(read())> {
        std::size_t issuesBefore = issues.size();
        try {
            return read();
        } catch (const Failure& failure) {
            issues.resize(issuesBefore);
            note(failure.where, failure.message + "; " + std::string(consequence));
            return std::nullopt;
        }
    }

    // A list decoded as a whole: one element that fails empties it.
    template <class T>
    std::vector<T> list(const Json& object, std::string_view name,
                        T (Decoder::*element)(const Json&, const std::string&)) {
        const Json* value = present(object, name);
        if (!value) return {};
        std::string path(name);
        auto result = tolerate(
            [&] {
                if (!value->is_array()) fail(path, "expected an array");
                std::vector<T> elements;
                elements.reserve(value->size());
                for (std::size_t i = 0; i < value->size(); ++i) {
                    elements.push_back((this->*element)((*value)[i], elementPath(path, i)));
                }
                return elements;
            },
            "the whole list was left empty");
        return result ? std::move(*result) : std::vector<T>{};
    }

    StateFilters filters(const Json& json, const std::string& path) {
        expectObject(json, path);
        auto read = [&](std::string_view name) {
            return boolean(required(json, name, path), memberPath(path, name));
        };
        StateFilters filters;
        auto flags = window::stateFlags(filters);
        for (std::size_t i = 0; i < flags.size(); ++i)
            *flags[i] = read(window::kStateFilterNames[i]);
        keepOnly(json, path, window::kStateFilterNames);
        return filters;
    }

    // Optional filters: all six flags or none at all.
    std::optional<StateFilters> optionalFilters(const Json& object, const std::string& path) {
        const Json* value = present(object, "stateFilters");
        if (!value) return std::nullopt;
        return tolerate([&] { return filters(*value, memberPath(path, "stateFilters")); },
                        "all states stay enabled");
    }

    KeyChord chord(const Json& json, const std::string& path) {
        expectObject(json, path);
        KeyChord chord;
        chord.keyCode = integer(required(json, "keyCode", path), memberPath(path, "keyCode"));
        chord.modifiers.rawValue =
            integer(required(json, "modifiers", path), memberPath(path, "modifiers"));
        keepOnly(json, path, {"keyCode", "modifiers"});
        return chord;
    }

    Action::MoveDirection direction(const Json& value, const std::string& path) {
        auto direction = parseMoveDirection(string(value, path));
        if (!direction) fail(path, "unknown direction \"" + value.get<std::string>() + "\"");
        return *direction;
    }

    // An enumeration case is an object with exactly one member naming the case; members
    // naming no case are not read.
    std::string_view oneCase(const Json& json, const std::string& path,
                             std::initializer_list<std::string_view> cases) {
        expectObject(json, path);
        std::string_view found;
        int count = 0;
        for (std::string_view name : cases) {
            if (json.contains(name)) {
                found = name;
                ++count;
            }
        }
        if (count != 1) fail(path, std::string(kOneCaseMessage));
        keepOnly(json, path, cases);
        return found;
    }

    Action::MouseTarget target(const Json& json, const std::string& path) {
        std::string_view which = oneCase(json, path, {"app", "screen"});
        std::string payloadPath = memberPath(path, which);
        const Json& payload = json.at(which);
        expectObject(payload, payloadPath);
        if (which == "app") {
            keepOnly(payload, payloadPath, {});
            return {Action::MouseTarget::App{}};
        }
        Action::MouseTarget::Screen screen{
            integer(required(payload, "index", payloadPath), memberPath(payloadPath, "index"))};
        keepOnly(payload, payloadPath, {"index"});
        return {screen};
    }

    Action action(const Json& json, const std::string& path) {
        std::string_view which =
            oneCase(json, path, {"moveWindow", "sendKeystrokeSequence", "moveMouse"});
        std::string payloadPath = memberPath(path, which);
        const Json& payload = json.at(which);
        expectObject(payload, payloadPath);
        if (which == "moveWindow") {
            Action::MoveWindow move{direction(required(payload, "direction", payloadPath),
                                              memberPath(payloadPath, "direction"))};
            keepOnly(payload, payloadPath, {"direction"});
            return {move};
        }
        if (which == "sendKeystrokeSequence") {
            Action::SendKeystrokeSequence keys{string(required(payload, "sequence", payloadPath),
                                                      memberPath(payloadPath, "sequence"))};
            keepOnly(payload, payloadPath, {"sequence"});
            return {keys};
        }
        Action::MoveMouse mouse;
        mouse.target =
            target(required(payload, "target", payloadPath), memberPath(payloadPath, "target"));
        const std::string positionPath = memberPath(payloadPath, "position");
        const std::string& position =
            string(required(payload, "position", payloadPath), positionPath);
        auto parsed = parseMousePosition(position);
        if (!parsed) fail(positionPath, "unknown position \"" + position + "\"");
        mouse.position = *parsed;
        keepOnly(payload, payloadPath, {"target", "position"});
        return {mouse};
    }

    HotkeyRule rule(const Json& json, const std::string& path) {
        expectObject(json, path);
        HotkeyRule rule;
        rule.chord = chord(required(json, "chord", path), memberPath(path, "chord"));
        rule.action = action(required(json, "action", path), memberPath(path, "action"));

        std::optional<Uuid> id;
        if (const Json* value = present(json, "id")) {
            if (value->is_string()) id = Uuid::parse(value->get_ref<const std::string&>());
            if (!id) note(memberPath(path, "id"), "not a UUID; the rule was given a new id");
        }
        rule.id = id.value_or(Uuid::random());
        rule.swallow = flag(json, "swallow", path, true);
        rule.stateFilters = optionalFilters(json, path);
        if (const Json* value = present(json, "overrideTarn")) {
            if (value->is_string())
                rule.overrideTarn = parseMoveDirection(value->get<std::string>());
            if (!rule.overrideTarn)
                note(memberPath(path, "overrideTarn"), "not a direction, not kept");
        }
        keepOnly(json, path, {"id", "chord", "action", "swallow", "stateFilters", "overrideTarn"});
        return rule;
    }

    platform::Point pair(const Json& json, const std::string& path) {
        if (!json.is_array() || json.size() != 2) fail(path, "expected an array of two numbers");
        return {number(json[0], elementPath(path, 0)), number(json[1], elementPath(path, 1))};
    }

    SavedWindowLocation location(const Json& json, const std::string& path) {
        expectObject(json, path);
        std::string framePath = memberPath(path, "frame");
        const Json& frame = required(json, "frame", path);
        if (!frame.is_array() || frame.size() != 2) {
            fail(framePath, "expected [[x, y], [width, height]]");
        }
        platform::Point origin = pair(frame[0], elementPath(framePath, 0));
        platform::Point size = pair(frame[1], elementPath(framePath, 1));
        SavedWindowLocation location;
        location.frame = {origin.x, origin.y, size.x, size.y};
        location.screenIndex =
            integer(required(json, "screenIndex", path), memberPath(path, "screenIndex"));
        location.screenSpecific = flag(json, "screenSpecific", path, true);
        keepOnly(json, path, {"frame", "screenIndex", "screenSpecific"});
        return location;
    }

    std::vector<SavedWindowLocation> locationList(const Json& json, const std::string& path) {
        if (!json.is_array()) fail(path, "expected an array");
        std::vector<SavedWindowLocation> locations;
        for (std::size_t i = 0; i < json.size(); ++i) {
            locations.push_back(location(json[i], elementPath(path, i)));
        }
        return locations;
    }

    // The current layout's list, else an earlier layout's single location, else nothing.
    std::vector<SavedWindowLocation> savedLocations(const Json& json, const std::string& path) {
        std::optional<std::vector<SavedWindowLocation>> locations;
        if (const Json* list = present(json, "savedLocations")) {
            locations =
                tolerate([&] { return locationList(*list, memberPath(path, "savedLocations")); },
                         "the saved locations were not kept");
        }
        const Json* single = present(json, "savedLocation");
        if (locations) {
            if (single) {
                note(memberPath(path, "savedLocation"),
                     "an earlier layout's member beside \"savedLocations\", not kept");
            }
            return *locations;
        }
        if (!single) return {};
        auto one = tolerate([&] { return location(*single, memberPath(path, "savedLocation")); },
                            "the saved location was not kept");
        if (!one) return {};
        return {*one};
    }

    RuleOverride ruleOverride(const Json& json, const std::string& path) {
        expectObject(json, path);
        RuleOverride override;
        override.enabled = flag(json, "enabled", path, true);
        override.stateFilters = optionalFilters(json, path);
        keepOnly(json, path, {"enabled", "stateFilters"});
        return override;
    }

    std::map<Uuid, RuleOverride> ruleOverrides(const Json& json, const std::string& path) {
        const Json* list = present(json, "ruleOverrides");
        if (!list) return {};
        std::string listPath = memberPath(path, "ruleOverrides");
        if (!list->is_array()) fail(listPath, "expected an array of rule ids and overrides");
        if (list->size() % 2 != 0) fail(listPath, "a rule id without its override");
        std::map<Uuid, RuleOverride> overrides;
        for (std::size_t i = 0; i < list->size(); i += 2) {
            std::string keyPath = elementPath(listPath, i);
            std::optional<Uuid> id = Uuid::parse(string((*list)[i], keyPath));
            if (!id) fail(keyPath, "not a UUID");
            RuleOverride value = ruleOverride((*list)[i + 1], elementPath(listPath, i + 1));
            auto [slot, inserted] = overrides.try_emplace(*id, value);
            if (!inserted) {
                note(keyPath, "a second override for the same rule; the later one is kept");
                slot->second = value;
            }
        }
        return overrides;
    }

    AppConfig app(const Json& json, const std::string& path) {
        expectObject(json, path);
        AppConfig app;
        app.bundleID = string(required(json, "bundleID", path), memberPath(path, "bundleID"));
        app.displayName =
            string(required(json, "displayName", path), memberPath(path, "displayName"));
        app.ruleOverrides = ruleOverrides(json, path);
        app.savedLocations = savedLocations(json, path);
        for (std::string_view earlier : {"rules", "stateFilters"}) {
            if (json.contains(earlier)) {
                note(memberPath(path, earlier), "an earlier layout's member, not kept");
            }
        }
        keepOnly(json, path,
                 {"bundleID", "displayName", "savedLocations", "ruleOverrides", "savedLocation",
                  "rules", "stateFilters"});
        return app;
    }
};

}  // namespace

Json encodeConfig(const RootConfig& config) {
    Json rules = Json::array();
    for (const auto& rule : config.globalRules) rules.push_back(encodeRule(rule));
    Json apps = Json::array();
    for (const auto& app : config.appConfigs) apps.push_back(encodeApp(app));
    Json json = Json::object();
    json["globalRules"] = std::move(rules);
    json["appConfigs"] = std::move(apps);
    return json;
}

std::string configText(const RootConfig& config) {
    return support::writeJson(encodeConfig(config));
}

std::optional<DecodedConfig> decodeConfig(const Json& document) {
    if (!document.is_object()) return std::nullopt;
    Decoder decoder;
    RootConfig config = decoder.root(document);
    return DecodedConfig{std::move(config), std::move(decoder.issues)};
}

std::optional<DecodedConfig> decodeConfigText(std::string_view text) {
    auto document = support::parseJson(text);
    if (!document) return std::nullopt;
    return decodeConfig(*document);
}

}  // namespace tarn::agent
