#include "platform/xdg/key_file.h"

#include <map>

#include "support/text.h"

namespace tarn::platform::xdg {
namespace {

constexpr std::string_view kBlanks = " \t\r";

std::string_view trim(std::string_view text) {
    auto first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    auto last = text.find_last_not_of(kBlanks);
    return text.substr(first, last - first + 1);
}

}  // namespace

KeyFileLine readKeyFileLine(std::string_view line) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    auto content = trim(line);
    if (content.empty()) return {KeyFileLine::Kind::blank, {}, {}};
    if (content.front() == '#') return {KeyFileLine::Kind::comment, {}, {}};
    if (content.front() == '[') {
        if (content.back() != ']' || content.size() < 3)
            return {KeyFileLine::Kind::invalid, {}, {}};
        return {KeyFileLine::Kind::group, content.substr(1, content.size() - 2), {}};
    }
    auto equals = content.find('=');
    if (equals == std::string_view::npos) return {KeyFileLine::Kind::invalid, {}, {}};
    auto key = trim(content.substr(0, equals));
    if (key.empty()) return {KeyFileLine::Kind::invalid, {}, {}};
    // Blanks around the value are not part of it: a stray space after a desktop id must not
    // make it name another file.
    return {KeyFileLine::Kind::entry, key, trim(content.substr(equals + 1))};
}

std::string unescapeValue(std::string_view value) {
    std::string text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] != '\\' || i + 1 == value.size()) {
            text += value[i];
            continue;
        }
        switch (char next = value[++i]) {
            case 's':
                text += ' ';
                break;
            case 'n':
                text += '\n';
                break;
            case 't':
                text += '\t';
                break;
            case 'r':
                text += '\r';
                break;
            case '\\':
                text += '\\';
                break;
            default:
                text += '\\';
                text += next;
        }
    }
    return text;
}

std::vector<std::string> splitList(std::string_view value) {
    std::vector<std::string> items;
    for (auto item : support::splitText(value, ";")) {
        if (!item.empty()) items.emplace_back(item);
    }
    return items;
}

bool isValidUtf8(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        auto byte = static_cast<unsigned char>(text[i]);
        std::size_t length = byte < 0x80           ? 1
                             : (byte >> 5) == 0x6  ? 2
                             : (byte >> 4) == 0xE  ? 3
                             : (byte >> 3) == 0x1E ? 4
                                                   : 0;
        if (length == 0 || i + length > text.size()) return false;
        char32_t code = length == 1 ? byte : byte & (0x7F >> length);
        for (std::size_t k = 1; k < length; ++k) {
            auto next = static_cast<unsigned char>(text[i + k]);
            if ((next >> 6) != 0x2) return false;
            code = (code << 6) | (next & 0x3F);
        }
        // Overlong forms, surrogates and values past the last code point are not UTF-8.
        static constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
        if (code < kLeast[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
            return false;
        }
        i += length;
    }
    return true;
}

std::optional<DesktopEntry> parseDesktopEntry(std::string_view text) {
    if (!isValidUtf8(text)) return std::nullopt;
    std::map<std::string_view, std::string_view> keys;
    bool inEntryGroup = false;
    bool seenGroup = false;
    bool malformed = false;
    forEachLine(text, [&](std::string_view raw) {
        auto line = readKeyFileLine(raw);
        switch (line.kind) {
            case KeyFileLine::Kind::blank:
            case KeyFileLine::Kind::comment:
                break;
            case KeyFileLine::Kind::invalid:
                malformed |= inEntryGroup || !seenGroup;
                break;
            case KeyFileLine::Kind::group:
                // The entry group comes first; later groups (actions) are not read.
                if (!seenGroup) malformed |= line.name != "Desktop Entry";
                inEntryGroup = !seenGroup;
                seenGroup = true;
                break;
            case KeyFileLine::Kind::entry:
                malformed |= !seenGroup;
                // The first of a repeated key counts.
                if (inEntryGroup) keys.emplace(line.name, line.value);
                break;
        }
    });
    auto name = keys.find("Name");
    auto type = keys.find("Type");
    if (malformed || name == keys.end() || type == keys.end()) return std::nullopt;
    auto flag = [&](std::string_view key) {
        auto found = keys.find(key);
        return found != keys.end() && found->second == "true";
    };
    DesktopEntry entry{.name = unescapeValue(name->second),
                       .type = unescapeValue(type->second),
                       .noDisplay = flag("NoDisplay"),
                       .hidden = flag("Hidden"),
                       .mimeTypes = {},
                       .icon = {},
                       .startupWMClass = {}};
    if (auto icon = keys.find("Icon"); icon != keys.end()) entry.icon = unescapeValue(icon->second);
    if (auto wmClass = keys.find("StartupWMClass"); wmClass != keys.end()) {
        entry.startupWMClass = unescapeValue(wmClass->second);
    }
    if (auto mime = keys.find("MimeType"); mime != keys.end()) {
        entry.mimeTypes = splitList(mime->second);
    }
    return entry;
}

}  // namespace tarn::platform::xdg
