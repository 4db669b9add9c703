#pragma once

#include <string>
#include <string_view>

namespace tarn::keys {

// Turns brace-enclosed character names in the text of insert and trim commands into the
// characters themselves: "path{slash}to" -> "path/to". Names are matched without regard to
// case; the first "}" after a "{" closes it, with no nesting; an unknown name is kept in
// lower case within its braces; a "{" that nothing closes stays as it is. Never fails.
std::string expandEscapeSequences(std::string_view text);

}  // namespace tarn::keys
