#pragma once

#include <cstdint>
#include <exception>
#include <ostream>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/keys/key_tables.h"

namespace tarn::keys {

// What one piece of a keys string asks for.
struct TypeKey {  // press and release one key with exactly these modifier flags
    KeyCode code = 0;
    KeyFlags flags = 0;
    friend bool operator==(const TypeKey&, const TypeKey&) = default;
};
struct Pause {  // wait
    std::int64_t milliseconds = 0;
    friend bool operator==(const Pause&, const Pause&) = default;
};
struct InsertBefore {  // put the text in front of the buffer
    std::string text;
    friend bool operator==(const InsertBefore&, const InsertBefore&) = default;
};
struct InsertAfter {  // append the text to the buffer
    std::string text;
    friend bool operator==(const InsertAfter&, const InsertAfter&) = default;
};
struct TrimBefore {  // cut the buffer up to and including the text
    std::string text;
    friend bool operator==(const TrimBefore&, const TrimBefore&) = default;
};
struct TrimAfter {  // cut the buffer from the text onward, text included
    std::string text;
    friend bool operator==(const TrimAfter&, const TrimAfter&) = default;
};
struct GrabClipboard {  // buffer = clipboard text
    friend bool operator==(const GrabClipboard&, const GrabClipboard&) = default;
};
struct PutToClipboard {  // clipboard = buffer
    friend bool operator==(const PutToClipboard&, const PutToClipboard&) = default;
};
struct PasteBuffer {  // type the buffer
    friend bool operator==(const PasteBuffer&, const PasteBuffer&) = default;
};

using KeyAction = std::variant<TypeKey, Pause, InsertBefore, InsertAfter, TrimBefore, TrimAfter,
                               GrabClipboard, PutToClipboard, PasteBuffer>;

// How an action reads in diagnostics and test failures: typeKey(8, 0x100000), pause(500),
// insertBefore("x").
std::string describe(const KeyAction& action);
std::ostream& operator<<(std::ostream& out, const KeyAction& action);

// Why a keys string does not parse. what() is the printed form: the case name, and for the
// cases with a payload the payload in parentheses and double quotes.
class KeysParseError : public std::exception {
  public:
    enum class Kind { unknownKeyName, invalidPauseValue, unclosedBrace };

    KeysParseError(Kind kind, std::string payload = {});

    Kind kind() const { return kind_; }
    // unknownKeyName: the whole lower-cased group; invalidPauseValue: the trimmed argument.
    const std::string& payload() const { return payload_; }
    const char* what() const noexcept override { return printed_.c_str(); }

  private:
    Kind kind_;
    std::string payload_;
    std::string printed_;
};

// The longest pause a keyboard sleep can take: its count of microseconds is 32 bits wide.
inline constexpr std::int64_t kMaxPauseMilliseconds = 4294967;

// Turns a keys string into its actions: plain text becomes one key press per character on
// a US layout, "{...}" groups name keys, chords, pauses and buffer commands. Throws
// KeysParseError at the first error and returns nothing partial. Any signed 64-bit pause
// is accepted here.
std::vector<KeyAction> parseKeysString(std::string_view keys);

// parseKeysString for strings about to be typed: a pause outside 0..kMaxPauseMilliseconds
// fails the whole string as an invalid pause value, so that nothing is typed.
std::vector<KeyAction> parseKeysStringForExecution(std::string_view keys);

}  // namespace tarn::keys
