#include "agent/config.h"

#include <utility>

#include "agent/overloaded.h"
#include "support/json_text.h"

namespace tarn::agent {
namespace {

constexpr std::array<std::pair<Action::MoveDirection, std::string_view>, 5> kDirectionNames{{
    {Action::MoveDirection::left, "left"},
    {Action::MoveDirection::right, "right"},
    {Action::MoveDirection::up, "up"},
    {Action::MoveDirection::down, "down"},
    {Action::MoveDirection::maximize, "maximize"},
}};

constexpr std::array<std::pair<Action::MousePosition, std::string_view>, 2> kPositionNames{{
    {Action::MousePosition::upperCorner, "Upper Corner"},
    {Action::MousePosition::center, "Center"},
}};

template <class Table, class Value>
std::string_view nameIn(const Table& table, Value value) {
    for (const auto& [candidate, name] : table) {
        if (candidate == value) return name;
    }
    return {};
}

template <class Value, class Table>
std::optional<Value> valueIn(const Table& table, std::string_view name) {
    for (const auto& [value, candidate] : table) {
        if (candidate == name) return value;
    }
    return std::nullopt;
}

// Names and key codes side by side, in the order of the key-name table.
struct KeyGroup {
    std::vector<std::string_view> names;
    std::vector<std::int64_t> codes;
};

std::map<std::int64_t, std::string_view> buildKeyNames() {
    const std::vector<KeyGroup> groups{
        {{"A", "B", "C", "D", "E", "F", "G", "H", "I", "J", "K", "L", "M",
          "N", "O", "P", "Q", "R", "S", "T", "U", "V", "W", "X", "Y", "Z"},
         {0,  11, 8,  2,  14, 3, 5,  4,  34, 38, 40, 37, 46,
          45, 31, 35, 12, 15, 1, 17, 32, 9,  13, 7,  16, 6}},
        {{"0", "1", "2", "3", "4", "5", "6", "7", "8", "9"},
         {29, 18, 19, 20, 21, 23, 22, 26, 28, 25}},
        {{"F1",  "F2",  "F3",  "F4",  "F5",  "F6",  "F7",  "F8",  "F9",  "F10",
          "F11", "F12", "F13", "F14", "F15", "F16", "F17", "F18", "F19", "F20"},
         {122, 120, 99,  118, 96,  97,  98, 100, 101, 109,
          103, 111, 105, 107, 113, 106, 64, 79,  80,  90}},
        {{"Return", "Tab", "Space", "Delete", "Esc"}, {36, 48, 49, 51, 53}},
        {{"←", "→", "↓", "↑"}, {123, 124, 125, 126}},
        {{"-", "=", "[", "]", "'", ";", "\\", ",", "/", ".", "`"},
         {27, 24, 33, 30, 39, 41, 42, 43, 44, 47, 50}},
        {{"Home", "PgUp", "Del→", "End", "PgDn"}, {115, 116, 117, 119, 121}},
        {{"Vol+", "Vol-", "Mute"}, {72, 73, 74}},
    };
    std::map<std::int64_t, std::string_view> table;
    for (const KeyGroup& group : groups) {
        for (std::size_t i = 0; i < group.names.size(); ++i) {
            table.emplace(group.codes[i], group.names[i]);
        }
    }
    return table;
}

std::string describeTarget(const Action::MouseTarget& target) {
    return std::visit(Overloaded{
                          [](const Action::MouseTarget::App&) { return std::string("app"); },
                          [](const Action::MouseTarget::Screen& screen) {
                              return "screen(" + std::to_string(screen.index) + ")";
                          },
                      },
                      target.value);
}

}  // namespace

std::string KeyChord::Modifiers::description() const {
    std::string text;
    if (contains(control)) text += "⌃";
    if (contains(option)) text += "⌥";
    if (contains(shift)) text += "⇧";
    if (contains(command)) text += "⌘";
    return text;
}

const std::map<std::int64_t, std::string_view>& KeyChord::keyCodeToName() {
    static const std::map<std::int64_t, std::string_view> table = buildKeyNames();
    return table;
}

std::optional<std::string_view> KeyChord::keyName() const {
    const auto& table = keyCodeToName();
    auto found = table.find(keyCode);
    if (found == table.end()) return std::nullopt;
    return found->second;
}

std::string KeyChord::displayName() const {
    std::string text = modifiers.description();
    if (auto name = keyName()) {
        text += *name;
    } else {
        text += "keyCode:" + std::to_string(keyCode);
    }
    return text;
}

std::string KeyChord::description() const {
    return modifiers.description() + std::to_string(keyCode);
}

std::string_view directionName(Action::MoveDirection direction) {
    return nameIn(kDirectionNames, direction);
}

std::optional<Action::MoveDirection> parseMoveDirection(std::string_view name) {
    return valueIn<Action::MoveDirection>(kDirectionNames, name);
}

std::string_view positionName(Action::MousePosition position) {
    return nameIn(kPositionNames, position);
}

std::optional<Action::MousePosition> parseMousePosition(std::string_view name) {
    return valueIn<Action::MousePosition>(kPositionNames, name);
}

std::string describeAction(const Action& action) {
    return std::visit(
        Overloaded{
            [](const Action::MoveWindow& move) {
                return "moveWindow(" + std::string(directionName(move.direction)) + ")";
            },
            [](const Action::SendKeystrokeSequence& keys) {
                // JSON string text keeps a sequence with line breaks on one log line.
                return "sendKeystrokeSequence(" + support::writeJson(keys.sequence) + ")";
            },
            [](const Action::MoveMouse& mouse) {
                return "moveMouse(" + describeTarget(mouse.target) + ", " +
                       std::string(positionName(mouse.position)) + ")";
            },
        },
        action.value);
}

}  // namespace tarn::agent
