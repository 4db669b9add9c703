#include "core/keys/escapes.h"

#include "core/keys/key_tables.h"
#include "support/unicode_text.h"

namespace tarn::keys {

const NameMap<std::string>& escapeTable() {
    static const NameMap<std::string> table = {
        {"slash", "/"},       {"backslash", "\\"},  {"colon", ":"},        {"semicolon", ";"},
        {"question", "?"},    {"period", "."},      {"dot", "."},          {"comma", ","},
        {"quote", "'"},       {"singlequote", "'"}, {"apostrophe", "'"},   {"doublequote", "\""},
        {"leftbrace", "{"},   {"openbrace", "{"},   {"rightbrace", "}"},   {"closebrace", "}"},
        {"leftbracket", "["}, {"openbracket", "["}, {"rightbracket", "]"}, {"closebracket", "]"},
        {"leftparen", "("},   {"openparen", "("},   {"rightparen", ")"},   {"closeparen", ")"},
        {"at", "@"},          {"hash", "#"},        {"pound", "#"},        {"dollar", "$"},
        {"percent", "%"},     {"caret", "^"},       {"ampersand", "&"},    {"and", "&"},
        {"asterisk", "*"},    {"star", "*"},        {"equals", "="},       {"plus", "+"},
        {"minus", "-"},       {"dash", "-"},        {"hyphen", "-"},       {"underscore", "_"},
        {"pipe", "|"},        {"tilde", "~"},       {"backtick", "`"},     {"grave", "`"},
        {"less", "<"},        {"lessthan", "<"},    {"greater", ">"},      {"greaterthan", ">"},
        {"exclamation", "!"}, {"bang", "!"},        {"space", " "},
    };
    return table;
}

std::string expandEscapeSequences(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    // Once a "{" finds no "}" after it, no later one can: they are all literal from there.
    bool closable = true;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = support::characterEnd(text, at);
        if (!closable || !support::isCharacter(text, at, end, '{')) {
            result.append(text.substr(at, end - at));
            at = end;
            continue;
        }
        std::size_t close = end;
        while (close < text.size()) {
            std::size_t next = support::characterEnd(text, close);
            if (support::isCharacter(text, close, next, '}')) break;
            close = next;
        }
        if (close >= text.size()) {
            closable = false;
            result += '{';
            at = end;
            continue;
        }
        std::string name = support::toLowerCase(text.substr(end, close - end));
        if (auto found = escapeTable().find(name); found != escapeTable().end()) {
            result += found->second;
        } else {
            result += '{';
            result += name;
            result += '}';
        }
        at = close + 1;
    }
    return result;
}

}  // namespace tarn::keys
