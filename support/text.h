#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarn::support {

// The text with A-Z turned into a-z; every other byte (UTF-8 included) as it was. For
// names compared without regard to letter case: browser names, MIME types, desktop names.
std::string asciiLowercase(std::string_view text);

// The pieces between the separators, left to right, empty ones included: "a||b||" split at
// "||" is "a", "b", ""; an empty text is one empty piece. The pieces point into the text.
std::vector<std::string_view> splitText(std::string_view text, std::string_view separator);

}  // namespace tarn::support
