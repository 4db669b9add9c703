#pragma once

// The agent's persistent data: global hotkey rules and per-application settings. Plain
// values, compared field by field; their JSON form lives in config_json.h.

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "agent/uuid.h"
#include "core/window/move_types.h"
#include "platform/geometry.h"
#include "platform/key_source.h"

namespace tarn::agent {

struct KeyChord {
    // A bit set over a signed 64-bit value. Only four bits have a meaning; any others a file
    // holds are kept as they are (and then never match a pressed key).
    struct Modifiers {
        enum Bit : std::int64_t {
            shift = platform::chordbits::shift,
            control = platform::chordbits::control,
            option = platform::chordbits::option,
            command = platform::chordbits::command
        };

        std::int64_t rawValue = 0;

        bool contains(Bit bit) const { return (rawValue & bit) != 0; }
        // "⌃", "⌥", "⇧", "⌘" for the bits present, always in that order; empty for none.
        std::string description() const;
        friend bool operator==(const Modifiers&, const Modifiers&) = default;
    };

    std::int64_t keyCode = 0;  // the macOS virtual key code
    Modifiers modifiers{};

    // The key's name ("A", "F5", "→", "Del→"), absent for codes without one.
    std::optional<std::string_view> keyName() const;
    // "⌃⌥→"; a key without a name shows its code: "⌘keyCode:200".
    std::string displayName() const;
    // "⌃⌥124".
    std::string description() const;

    // The 84 named keys, by key code.
    static const std::map<std::int64_t, std::string_view>& keyCodeToName();

    friend bool operator==(const KeyChord&, const KeyChord&) = default;
};

// Which placements a left or right move may visit, on the primary screen and on the others.
using StateFilters = window::StateFilters;

struct Action {
    using MoveDirection = window::MoveDirection;
    static constexpr std::array<MoveDirection, 5> allMoveDirections{
        MoveDirection::left, MoveDirection::right, MoveDirection::up, MoveDirection::down,
        MoveDirection::maximize};

    struct MouseTarget {
        struct App {
            friend bool operator==(const App&, const App&) = default;
        };
        struct Screen {
            std::int64_t index = 0;
            friend bool operator==(const Screen&, const Screen&) = default;
        };
        std::variant<App, Screen> value{App{}};
        friend bool operator==(const MouseTarget&, const MouseTarget&) = default;
    };

    enum class MousePosition { upperCorner, center };
    static constexpr std::array<MousePosition, 2> allMousePositions{MousePosition::upperCorner,
                                                                    MousePosition::center};

    struct MoveWindow {
        MoveDirection direction = MoveDirection::left;
        friend bool operator==(const MoveWindow&, const MoveWindow&) = default;
    };
    struct SendKeystrokeSequence {
        std::string sequence{};
        friend bool operator==(const SendKeystrokeSequence&,
                               const SendKeystrokeSequence&) = default;
    };
    struct MoveMouse {
        MouseTarget target{};
        MousePosition position = MousePosition::upperCorner;
        friend bool operator==(const MoveMouse&, const MoveMouse&) = default;
    };

    std::variant<MoveWindow, SendKeystrokeSequence, MoveMouse> value{MoveWindow{}};
    friend bool operator==(const Action&, const Action&) = default;
};

// "left", "right", "up", "down", "maximize".
std::string_view directionName(Action::MoveDirection direction);
std::optional<Action::MoveDirection> parseMoveDirection(std::string_view name);
// "Upper Corner", "Center": the file's words and the settings window's labels alike.
std::string_view positionName(Action::MousePosition position);
std::optional<Action::MousePosition> parseMousePosition(std::string_view name);
// One line naming the case and its payload, for the log: moveWindow(right),
// sendKeystrokeSequence("{cmd}c"), moveMouse(screen(1), Center).
std::string describeAction(const Action& action);

struct HotkeyRule {
    Uuid id{};
    KeyChord chord{};
    Action action{};
    bool swallow = true;
    std::optional<StateFilters> stateFilters{};
    // Direct move-app calls of this direction, made from outside the agent, take this rule's
    // settings. The agent's own matching does not read it.
    std::optional<Action::MoveDirection> overrideTarn{};
    friend bool operator==(const HotkeyRule&, const HotkeyRule&) = default;
};

struct RuleOverride {
    bool enabled = true;
    std::optional<StateFilters> stateFilters{};  // replaces the rule's own when present
    friend bool operator==(const RuleOverride&, const RuleOverride&) = default;
};

struct SavedWindowLocation {
    platform::Rect frame{};
    std::int64_t screenIndex = 0;
    bool screenSpecific = true;
    friend bool operator==(const SavedWindowLocation&, const SavedWindowLocation&) = default;
};

struct AppConfig {
    std::string bundleID{};
    std::string displayName{};
    std::vector<SavedWindowLocation> savedLocations{};
    std::map<Uuid, RuleOverride> ruleOverrides{};
    friend bool operator==(const AppConfig&, const AppConfig&) = default;
};

struct RootConfig {
    std::vector<HotkeyRule> globalRules{};  // the first rule whose chord matches wins
    std::vector<AppConfig> appConfigs{};
    friend bool operator==(const RootConfig&, const RootConfig&) = default;
};

}  // namespace tarn::agent
