#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

// The fixed tables that give key names their meaning, for a US (ANSI) keyboard. Each is
// built once, on first use, and never changes, so any thread may read it after that.
namespace tarn::keys {

using KeyCode = std::uint16_t;   // macOS virtual key code
using KeyFlags = std::uint64_t;  // modifier bits of a keyboard event

// Lets the maps be searched with a string_view, without building a string per lookup.
struct NameHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const {
        return std::hash<std::string_view>{}(name);
    }
};

template <typename Value>
using NameMap = std::unordered_map<std::string, Value, NameHash, std::equal_to<>>;

// Key name (lower case) to virtual key code; several names share a code.
const NameMap<KeyCode>& keyMap();
// Modifier name to its event flag.
const NameMap<KeyFlags>& modifierMap();
// Plain-text symbol to the name of the key that types it together with Shift.
const std::unordered_map<char, std::string>& shiftedSymbolMap();

// The key a single ASCII character types in plain text, with its flags; typed is false for
// characters no key types (control characters, and "{", which opens a group instead).
struct PlainKey {
    KeyCode code = 0;
    KeyFlags flags = 0;
    bool typed = false;
};
const std::array<PlainKey, 128>& plainKeys();

// Extra flags a chord of this key name carries: the names that stand for "{", "}" and the
// double quote share their keys with "[", "]" and "'", and type their own character only
// with Shift.
KeyFlags impliedFlags(std::string_view keyName);

}  // namespace tarn::keys
