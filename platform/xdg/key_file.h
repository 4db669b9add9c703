#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The key-file text format shared by desktop entries and mimeapps.list: "[Group]" headers,
// "Key=Value" entries (blanks around "=" ignored), "#" comments and blank lines.
namespace tarn::platform::xdg {

struct KeyFileLine {
    enum class Kind { blank, comment, group, entry, invalid };
    Kind kind = Kind::blank;
    std::string_view name;   // group name, or entry key (with any "[locale]" suffix)
    std::string_view value;  // entry value, raw
};

// One line, without its line feed; a trailing carriage return is ignored.
KeyFileLine readKeyFileLine(std::string_view line);

// Calls visit(line) for every line of the text, without line feeds.
template <typename Visit>
void forEachLine(std::string_view text, Visit visit) {
    while (!text.empty()) {
        auto end = text.find('\n');
        visit(text.substr(0, end));
        if (end == std::string_view::npos) break;
        text.remove_prefix(end + 1);
    }
}

// A string value with its escapes (\s \n \t \r \\) resolved.
std::string unescapeValue(std::string_view value);

// The elements of a ";"-separated list value, empty elements dropped.
std::vector<std::string> splitList(std::string_view value);

bool isValidUtf8(std::string_view text);

// The "[Desktop Entry]" group of a .desktop file, as far as choosing a browser and showing an
// application's icon need it.
struct DesktopEntry {
    std::string name;
    std::string type;
    bool noDisplay = false;
    bool hidden = false;
    std::vector<std::string> mimeTypes;
    std::string icon;            // an icon theme name or an absolute path; empty when none
    std::string startupWMClass;  // the WM_CLASS its windows carry, when it says
};

// Absent for a file that is no desktop entry: not UTF-8, something other than comments
// before "[Desktop Entry]", a line in that group that is no entry, or no Name or Type.
std::optional<DesktopEntry> parseDesktopEntry(std::string_view text);

}  // namespace tarn::platform::xdg
