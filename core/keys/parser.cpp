#include "core/keys/parser.h"

#include <cstdio>

#include "core/keys/escapes.h"
#include "platform/input.h"
#include "support/number_text.h"
#include "support/unicode_text.h"

namespace tarn::keys {
namespace {

using Kind = KeysParseError::Kind;

const char* kindName(Kind kind) {
    switch (kind) {
        case Kind::unknownKeyName:
            return "unknownKeyName";
        case Kind::invalidPauseValue:
            return "invalidPauseValue";
        case Kind::unclosedBrace:
            return "unclosedBrace";
    }
    return "unclosedBrace";
}

// A payload in double quotes, escaped the way the system prints a string value: backslash,
// both quotes, line feed, carriage return, tab and NUL by name, other ASCII control
// characters as \u{XX}; everything else as it is.
std::string quoted(std::string_view text) {
    std::string out = "\"";
    for (char c : text) {
        switch (c) {
            case '\\':
                out += "\\\\";
                break;
            case '"':
                out += "\\\"";
                break;
            case '\'':
                out += "\\'";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\0':
                out += "\\0";
                break;
            default:
                if ((c >= 0 && c < 0x20) || c == 0x7F) {
                    char hex[8];
                    std::snprintf(hex, sizeof hex, "\\u{%02X}", static_cast<unsigned>(c));
                    out += hex;
                } else {
                    out += c;
                }
        }
    }
    return out + "\"";
}

std::string quotedCall(const char* name, std::string_view text) {
    return std::string(name) + "(" + quoted(text) + ")";
}

bool equalsIgnoringCase(std::string_view text, std::string_view word) {
    if (text.size() != word.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (c != word[i]) return false;
    }
    return true;
}

// The prefix must end where a character ends: "pause " followed by a combining mark does
// not start with "pause ", whose space has become another character.
bool startsWithIgnoringCase(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() &&
           equalsIgnoringCase(text.substr(0, prefix.size()), prefix) &&
           support::characterEnd(text, prefix.size() - 1) == prefix.size();
}

// Spaces and tabs: the white space that is not a line break.
std::size_t blankLength(std::string_view text, std::size_t at) {
    static constexpr std::string_view kMultiByteBlanks[] = {
        "\u00A0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005",
        "\u2006", "\u2007", "\u2008", "\u2009", "\u200A", "\u202F", "\u205F", "\u3000"};
    if (text[at] == ' ' || text[at] == '\t') return 1;
    for (std::string_view blank : kMultiByteBlanks) {
        if (text.substr(at, blank.size()) == blank) return blank.size();
    }
    return 0;
}

std::string_view trimBlanks(std::string_view text) {
    while (!text.empty()) {
        std::size_t length = blankLength(text, 0);
        if (length == 0) break;
        text.remove_prefix(length);
    }
    // From the end: find the last non-blank scalar by walking forward once.
    std::size_t keep = 0;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t length = blankLength(text, at);
        if (length == 0) {
            ++at;
            keep = at;
        } else {
            at += length;
        }
    }
    return text.substr(0, keep);
}

KeyAction parsePause(std::string_view rest) {
    std::string value = support::toLowerCase(trimBlanks(rest));
    auto milliseconds = support::parseInt64(value);
    if (!milliseconds) throw KeysParseError(Kind::invalidPauseValue, value);
    return Pause{*milliseconds};
}

KeyAction parseChord(std::string_view content) {
    const std::string lower = support::toLowerCase(content);
    const std::string_view text = lower;
    KeyFlags flags = 0;
    std::string_view keyName;
    bool anyPiece = false;
    std::size_t pieceStart = 0;
    for (std::size_t at = 0; at <= text.size();) {
        std::size_t end = at < text.size() ? support::characterEnd(text, at) : at + 1;
        if (at == text.size() || support::isCharacter(text, at, end, '+')) {
            std::string_view piece = text.substr(pieceStart, at - pieceStart);
            if (!piece.empty()) {
                anyPiece = true;
                if (auto modifier = modifierMap().find(piece); modifier != modifierMap().end()) {
                    flags |= modifier->second;
                } else {
                    keyName = piece;
                }
            }
            pieceStart = end;
        }
        at = end;
    }
    if (!anyPiece || keyName.empty()) throw KeysParseError(Kind::unknownKeyName, lower);
    auto key = keyMap().find(keyName);
    if (key == keyMap().end()) throw KeysParseError(Kind::unknownKeyName, lower);
    return TypeKey{key->second, flags | impliedFlags(keyName)};
}

// The meaning of a group's content, by the first rule that matches.
KeyAction parseGroup(std::string_view content) {
    if (equalsIgnoringCase(content, "grab")) return GrabClipboard{};
    if (equalsIgnoringCase(content, "put")) return PutToClipboard{};
    if (equalsIgnoringCase(content, "paste")) return PasteBuffer{};
    // Texts keep the letter case the user wrote; only the command word is case-blind.
    struct TextCommand {
        std::string_view prefix;
        KeyAction (*make)(std::string text);
    };
    static constexpr TextCommand kTextCommands[] = {
        {"insert before ", [](std::string t) -> KeyAction { return InsertBefore{std::move(t)}; }},
        {"insert after ", [](std::string t) -> KeyAction { return InsertAfter{std::move(t)}; }},
        {"trim before ", [](std::string t) -> KeyAction { return TrimBefore{std::move(t)}; }},
        {"trim after ", [](std::string t) -> KeyAction { return TrimAfter{std::move(t)}; }},
    };
    for (const auto& command : kTextCommands) {
        if (startsWithIgnoringCase(content, command.prefix)) {
            return command.make(expandEscapeSequences(content.substr(command.prefix.size())));
        }
    }
    constexpr std::string_view kPause = "pause ";
    if (startsWithIgnoringCase(content, kPause)) {
        return parsePause(content.substr(kPause.size()));
    }
    return parseChord(content);
}

// Appends the key press of a plain character, if a key types it.
void appendPlainCharacter(std::string_view character, std::vector<KeyAction>& actions) {
    auto first = static_cast<unsigned char>(character[0]);
    if (character.size() == 1 && first < 0x80) {
        const PlainKey& key = plainKeys()[first];
        if (key.typed) actions.emplace_back(TypeKey{key.code, key.flags});
        return;
    }
    // ASCII with marks, CR LF and malformed bytes type nothing.
    if (first < 0x80 || character.size() == 1) return;
    // Beyond ASCII only a character whose lower case is a key name is typed (the Kelvin
    // sign lowers to "k"); it is upper case exactly when lowering changed it.
    std::string lower = support::toLowerCase(character);
    if (auto key = keyMap().find(lower); key != keyMap().end()) {
        actions.emplace_back(
            TypeKey{key->second, lower != character ? platform::keyflags::shift : 0});
    }
}

}  // namespace

KeysParseError::KeysParseError(Kind kind, std::string payload)
    : kind_(kind), payload_(std::move(payload)) {
    printed_ = kind == Kind::unclosedBrace ? kindName(kind) : quotedCall(kindName(kind), payload_);
}

std::string describe(const KeyAction& action) {
    struct Describer {
        std::string operator()(const TypeKey& a) const {
            char flags[24];
            std::snprintf(flags, sizeof flags, "0x%llX", static_cast<unsigned long long>(a.flags));
            return "typeKey(" + std::to_string(a.code) + ", " + flags + ")";
        }
        std::string operator()(const Pause& a) const {
            return "pause(" + std::to_string(a.milliseconds) + ")";
        }
        std::string operator()(const InsertBefore& a) const {
            return quotedCall("insertBefore", a.text);
        }
        std::string operator()(const InsertAfter& a) const {
            return quotedCall("insertAfter", a.text);
        }
        std::string operator()(const TrimBefore& a) const {
            return quotedCall("trimBefore", a.text);
        }
        std::string operator()(const TrimAfter& a) const { return quotedCall("trimAfter", a.text); }
        std::string operator()(const GrabClipboard&) const { return "grabClipboard"; }
        std::string operator()(const PutToClipboard&) const { return "putToClipboard"; }
        std::string operator()(const PasteBuffer&) const { return "pasteBuffer"; }
    };
    return std::visit(Describer{}, action);
}

std::ostream& operator<<(std::ostream& out, const KeyAction& action) {
    return out << describe(action);
}

std::vector<KeyAction> parseKeysString(std::string_view keys) {
    std::vector<KeyAction> actions;
    actions.reserve(keys.size());
    const auto& plain = plainKeys();
    for (std::size_t at = 0; at < keys.size();) {
        // A lone ASCII character, the common case, goes straight to its key. (CR LF would be
        // one character, but neither byte types anything either way.)
        auto byte = static_cast<unsigned char>(keys[at]);
        if (byte < 0x80 && byte != '{' &&
            (at + 1 == keys.size() || static_cast<unsigned char>(keys[at + 1]) < 0x80)) {
            if (plain[byte].typed) {
                actions.emplace_back(TypeKey{plain[byte].code, plain[byte].flags});
            }
            ++at;
            continue;
        }
        std::size_t end = support::characterEnd(keys, at);
        if (!support::isCharacter(keys, at, end, '{')) {
            appendPlainCharacter(keys.substr(at, end - at), actions);
            at = end;
            continue;
        }
        // The group runs to the "}" that balances its "{"; braces nest to any depth.
        std::size_t depth = 1;
        std::size_t close = end;
        while (close < keys.size()) {
            std::size_t next = support::characterEnd(keys, close);
            if (support::isCharacter(keys, close, next, '{')) {
                ++depth;
            } else if (support::isCharacter(keys, close, next, '}') && --depth == 0) {
                break;
            }
            close = next;
        }
        if (close >= keys.size()) throw KeysParseError(Kind::unclosedBrace);
        actions.push_back(parseGroup(keys.substr(end, close - end)));
        at = close + 1;
    }
    return actions;
}

std::vector<KeyAction> parseKeysStringForExecution(std::string_view keys) {
    auto actions = parseKeysString(keys);
    for (const auto& action : actions) {
        const auto* pause = std::get_if<Pause>(&action);
        if (pause && (pause->milliseconds < 0 || pause->milliseconds > kMaxPauseMilliseconds)) {
            throw KeysParseError(Kind::invalidPauseValue, std::to_string(pause->milliseconds));
        }
    }
    return actions;
}

}  // namespace tarn::keys
