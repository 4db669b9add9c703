#pragma once

#include <string>
#include <string_view>

#include "core/keys/key_tables.h"

namespace tarn::keys {

// The character names of insert and trim texts, each with the text it stands for (the
// manual page lists them from here).
const NameMap<std::string>& escapeTable();

// Turns brace-enclosed character names in the text of insert and trim commands into the
// characters themselves: "path{slash}to" -> "path/to". Names are matched without regard to
// case; the first "}" after a "{" closes it, with no nesting; an unknown name is kept in
// lower case within its braces; a "{" that nothing closes stays as it is. Never fails.
std::string expandEscapeSequences(std::string_view text);

}  // namespace tarn::keys
