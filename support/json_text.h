#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace tarn::support {

// JSON values keep their members in insertion order; writers sort when asked to.
using Json = nlohmann::ordered_json;

struct JsonStyle {
    // Two-space indentation, one member or element a line, " : " between name and value.
    bool pretty = false;
    // Members ordered by name (byte order of their UTF-8 text).
    bool sortKeys = false;
};

// The one JSON writer of the project. Its text follows the platform encoder Tarn's files
// were first written with: "/" escaped as "\/", whole doubles without a fraction, empty
// containers in pretty mode written open ("{\n\n}"), non-ASCII text as UTF-8.
// Throws std::domain_error for a double that JSON cannot hold (infinite or NaN).
std::string writeJson(const Json& value, JsonStyle style = {});

// Parses a whole JSON text; absent when it is not JSON. Time grows linearly with the text,
// however many members an object has; a repeated name keeps its first place and last value.
std::optional<Json> parseJson(std::string_view text);

// Adds a member to an object without looking for one of the same name, for writers whose
// names are unique already (a std::map's keys): a name lookup in an ordered object is a
// scan, so filling a large one member by member with operator[] is quadratic.
void appendMember(Json& object, std::string name, Json value);

}  // namespace tarn::support
