#include "core/keys/key_tables.h"

#include <initializer_list>
#include <utility>

#include "platform/input.h"

namespace tarn::keys {
namespace {

namespace flag = platform::keyflags;

// Punctuation typed without Shift, by the name of its key. Plain text types these too, so
// that "cd .." types two periods.
const std::initializer_list<std::pair<char, const char*>> kUnshiftedSymbols = {
    {'-', "minus"},     {'=', "equal"},      {'[', "leftbracket"}, {']', "rightbracket"},
    {';', "semicolon"}, {'\'', "quote"},     {',', "comma"},       {'.', "period"},
    {'/', "slash"},     {'\\', "backslash"}, {'`', "grave"},
};

}  // namespace

const NameMap<KeyCode>& keyMap() {
    static const NameMap<KeyCode> map = {
        // Letters
        {"a", 0},
        {"b", 11},
        {"c", 8},
        {"d", 2},
        {"e", 14},
        {"f", 3},
        {"g", 5},
        {"h", 4},
        {"i", 34},
        {"j", 38},
        {"k", 40},
        {"l", 37},
        {"m", 46},
        {"n", 45},
        {"o", 31},
        {"p", 35},
        {"q", 12},
        {"r", 15},
        {"s", 1},
        {"t", 17},
        {"u", 32},
        {"v", 9},
        {"w", 13},
        {"x", 7},
        {"y", 16},
        {"z", 6},
        // Digits
        {"0", 29},
        {"1", 18},
        {"2", 19},
        {"3", 20},
        {"4", 21},
        {"5", 23},
        {"6", 22},
        {"7", 26},
        {"8", 28},
        {"9", 25},
        // Function keys
        {"f1", 122},
        {"f2", 120},
        {"f3", 99},
        {"f4", 118},
        {"f5", 96},
        {"f6", 97},
        {"f7", 98},
        {"f8", 100},
        {"f9", 101},
        {"f10", 109},
        {"f11", 103},
        {"f12", 111},
        {"f13", 105},
        {"f14", 107},
        {"f15", 113},
        {"f16", 106},
        {"f17", 64},
        {"f18", 79},
        {"f19", 80},
        {"f20", 90},
        // Editing and navigation; "enter" is the main Return key, not the keypad's.
        {"return", 36},
        {"enter", 36},
        {"tab", 48},
        {"space", 49},
        {"delete", 51},
        {"backspace", 51},
        {"escape", 53},
        {"esc", 53},
        {"left", 123},
        {"right", 124},
        {"down", 125},
        {"up", 126},
        {"home", 115},
        {"pageup", 116},
        {"forwarddelete", 117},
        {"end", 119},
        {"pagedown", 121},
        // Punctuation
        {"minus", 27},
        {"equal", 24},
        {"leftbracket", 33},
        {"rightbracket", 30},
        {"quote", 39},
        {"apostrophe", 39},
        {"singlequote", 39},
        {"semicolon", 41},
        {"backslash", 42},
        {"comma", 43},
        {"slash", 44},
        {"period", 47},
        {"grave", 50},
        // Literal characters, on the keys they share with brackets and the quote
        {"leftbrace", 33},
        {"rightbrace", 30},
        {"doublequote", 39},
        // Keypad
        {"keypad0", 82},
        {"keypad1", 83},
        {"keypad2", 84},
        {"keypad3", 85},
        {"keypad4", 86},
        {"keypad5", 87},
        {"keypad6", 88},
        {"keypad7", 89},
        {"keypad8", 91},
        {"keypad9", 92},
        {"keypaddecimal", 65},
        {"keypadmultiply", 67},
        {"keypadplus", 69},
        {"keypadclear", 71},
        {"keypaddivide", 75},
        {"keypadenter", 76},
        {"keypadminus", 78},
        {"keypadequals", 81},
        // Media
        {"volumeup", 72},
        {"volumedown", 73},
        {"mute", 74},
    };
    return map;
}

const NameMap<KeyFlags>& modifierMap() {
    static const NameMap<KeyFlags> map = {
        {"cmd", flag::command},     {"command", flag::command}, {"ctrl", flag::control},
        {"control", flag::control}, {"alt", flag::option},      {"option", flag::option},
        {"shift", flag::shift},
    };
    return map;
}

const std::unordered_map<char, std::string>& shiftedSymbolMap() {
    static const std::unordered_map<char, std::string> map = {
        {'!', "1"},           {'@', "2"},
        {'#', "3"},           {'$', "4"},
        {'%', "5"},           {'^', "6"},
        {'&', "7"},           {'*', "8"},
        {'(', "9"},           {')', "0"},
        {'_', "minus"},       {'+', "equal"},
        {'{', "leftbracket"}, {'}', "rightbracket"},
        {'|', "backslash"},   {':', "semicolon"},
        {'"', "quote"},       {'<', "comma"},
        {'>', "period"},      {'?', "slash"},
        {'~', "grave"},
    };
    return map;
}

const std::array<PlainKey, 128>& plainKeys() {
    static const std::array<PlainKey, 128> table = [] {
        std::array<PlainKey, 128> keys{};
        const auto& codes = keyMap();
        auto set = [&](char c, std::string_view name, KeyFlags flags) {
            keys[static_cast<unsigned char>(c)] = {codes.find(name)->second, flags, true};
        };
        for (char c = 'a'; c <= 'z'; ++c) {
            set(c, std::string(1, c), 0);
            set(static_cast<char>(c - 'a' + 'A'), std::string(1, c), flag::shift);
        }
        for (char c = '0'; c <= '9'; ++c) set(c, std::string(1, c), 0);
        set(' ', "space", 0);
        for (const auto& [c, name] : kUnshiftedSymbols) set(c, name, 0);
        for (const auto& [c, name] : shiftedSymbolMap()) set(c, name, flag::shift);
        // "{" always opens a group; it is never typed as itself.
        keys[static_cast<unsigned char>('{')] = {};
        return keys;
    }();
    return table;
}

KeyFlags impliedFlags(std::string_view keyName) {
    return keyName == "leftbrace" || keyName == "rightbrace" || keyName == "doublequote"
               ? flag::shift
               : 0;
}

}  // namespace tarn::keys
