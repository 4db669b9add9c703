#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// UTF-8 text walked the way people see it. Text that reaches Tarn from the command line or
// the clipboard is matched character by character, and a character is what the reader
// sees: "e" followed by a combining accent is one character "é", not an "e".
namespace tarn::support {

namespace detail {
std::size_t characterEndBeyondAscii(std::string_view text, std::size_t start);
}

// One past the last byte of the character (extended grapheme cluster) that starts at
// text[start]; start must be below text.size(). Marks, joiners, variation selectors and
// emoji modifiers stay with the character before them, prepended signs with the one after,
// and CR LF is one character. Hangul syllable parts and flag pairs are counted one scalar
// at a time, which gives the same answers wherever a character is compared with ASCII. A
// malformed sequence counts as one character of its own.
inline std::size_t characterEnd(std::string_view text, std::size_t start) {
    // Plain ASCII followed by ASCII, the common case, needs no decoding.
    auto first = static_cast<unsigned char>(text[start]);
    if (first < 0x80 && first != '\r' &&
        (start + 1 == text.size() || static_cast<unsigned char>(text[start + 1]) < 0x80)) {
        return start + 1;
    }
    return detail::characterEndBeyondAscii(text, start);
}

// Whether the character text[start, end) is the ASCII character c alone, without marks.
inline bool isCharacter(std::string_view text, std::size_t start, std::size_t end, char c) {
    return end == start + 1 && text[start] == c;
}

// The Unicode lower case of every scalar ("Ä" -> "ä", "İ" -> "i̇"); bytes that are not
// UTF-8 are kept as they are.
std::string toLowerCase(std::string_view text);

// Whether the text is well-formed UTF-8 (no overlong forms, surrogates or scalars beyond
// U+10FFFF): the only text a JSON reader accepts.
bool isValidUtf8(std::string_view text);

// Latin-1 (ISO 8859-1) bytes as UTF-8: every byte is the scalar of its value.
std::string latin1ToUtf8(std::string_view bytes);

// The text with each malformed UTF-8 sequence replaced by U+FFFD, as the system's own
// string conversion does for command-line words and clipboard contents.
std::string repairUtf8(std::string_view text);

}  // namespace tarn::support
