#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace tarn::support {

// JSON values keep their members in insertion order; writers sort when asked to.
using Json = nlohmann::ordered_json;

// How deep arrays and objects may nest in any JSON Tarn reads or writes: the top-level
// container is level 1. Deeper text is refused by the reader and deeper values by the writer,
// so neither (nor anything walking a value read) can exhaust the stack.
inline constexpr int kMaxJsonDepth = 512;

struct JsonStyle {
    // Two-space indentation, one member or element a line, " : " between name and value.
    bool pretty = false;
    // Members ordered by name (byte order of their UTF-8 text).
    bool sortKeys = false;
};

// The one JSON writer of the project. Its text follows the platform encoder Tarn's files
// were first written with: "/" escaped as "\/", whole doubles without a fraction, empty
// containers in pretty mode written open ("{\n\n}"), non-ASCII text as UTF-8.
// It writes only what parseJson reads back: it throws std::domain_error for a double that
// JSON cannot hold (infinite or NaN), for a string or name that is not valid UTF-8, and for
// containers nested deeper than kMaxJsonDepth.
std::string writeJson(const Json& value, JsonStyle style = {});

struct JsonParse {
    std::optional<Json> value;  // absent when the text is refused
    // Why it was refused, as a clause: "it is not JSON", or "it is nested more than 512
    // levels deep".
    std::string problem;
};

// Parses a whole JSON text; refuses anything but one JSON text, and containers nested deeper
// than kMaxJsonDepth. Time grows linearly with the text, however many members an object
// has; a repeated name keeps its first place and last value. Never recurses.
JsonParse parseJsonText(std::string_view text);
// The value parseJsonText reads; absent when it is refused.
std::optional<Json> parseJson(std::string_view text);

// Adds a member to an object without looking for one of the same name, for writers whose
// names are unique already (a std::map's keys): a name lookup in an ordered object is a
// scan, so filling a large one member by member with operator[] is quadratic.
void appendMember(Json& object, std::string name, Json value);

}  // namespace tarn::support
