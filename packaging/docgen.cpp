// tarn_docgen: writes, at build time, the installed texts that repeat what the programs say
// (the manual pages, the shell completions and wendle's autostart entry) from the programs'
// own help texts and key tables, so that they cannot drift apart. A help text whose shape it
// no longer understands fails the build rather than leaving a page out of date.
//
//   tarn_docgen man-tarn TEMPLATE OUTPUT
//   tarn_docgen man-wendle TEMPLATE WENDLE_HELP_FILE OUTPUT
//   tarn_docgen completion TEMPLATE OUTPUT
//   tarn_docgen autostart EXEC OUTPUT
//   tarn_docgen changelog TEMPLATE OUTPUT
//
// A template's placeholders are {{NAME}} on a line of their own or inside one; CMake has
// already put in its own @VALUES@ (paths, homepage).
#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "core/commands/help_text.h"
#include "core/commands/version.h"
#include "core/keys/escapes.h"
#include "core/keys/key_tables.h"
#include "platform/xdg/autostart.h"

namespace {

using Lines = std::vector<std::string>;

[[noreturn]] void fail(const std::string& why) {
    throw std::runtime_error(why);
}

Lines splitLines(std::string_view text) {
    Lines lines;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string_view::npos) end = text.size();
        lines.emplace_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

std::string trimRight(std::string text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.pop_back();
    return text;
}

std::string trim(const std::string& text) {
    std::string right = trimRight(text);
    std::size_t first = right.find_first_not_of(' ');
    return first == std::string::npos ? std::string() : right.substr(first);
}

bool blank(const std::string& line) {
    return trim(line).empty();
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) fail("cannot read " + path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    if (!out.flush()) fail("cannot write " + path);
}

// ---- What `tarn help` says, taken apart -------------------------------------------------

struct CommandHelp {
    std::string name;      // "move-app"
    std::string summary;   // its line in the "Commands:" list
    std::string synopsis;  // "tarn move-app <left|right|up|down>"
    Lines body;            // the lines under the synopsis, without their four-space indent
};

// The usage text: a "Commands:" list of names and summaries, then "Usage:" with one block per
// command, a synopsis at two spaces and its lines at four or more.
std::vector<CommandHelp> parseUsage(const std::string& text) {
    Lines lines = splitLines(text);
    auto at = std::find(lines.begin(), lines.end(), "Commands:");
    if (at == lines.end()) fail("usage text: no 'Commands:' line");
    std::vector<CommandHelp> commands;
    for (++at; at != lines.end() && !blank(*at); ++at) {
        std::string line = trim(*at);
        std::size_t gap = line.find(' ');
        if (!at->starts_with("  ") || gap == std::string::npos)
            fail("usage text: odd command line '" + *at + "'");
        commands.push_back({line.substr(0, gap), trim(line.substr(gap)), {}, {}});
    }
    at = std::find(at, lines.end(), "Usage:");
    if (at == lines.end()) fail("usage text: no 'Usage:' line");
    CommandHelp* current = nullptr;
    for (++at; at != lines.end(); ++at) {
        const std::string& line = *at;
        if (line.starts_with("  tarn ")) {
            std::string synopsis = trim(line);
            std::string name = synopsis.substr(5, synopsis.find(' ', 5) - 5);
            auto found = std::find_if(commands.begin(), commands.end(),
                                      [&](const CommandHelp& c) { return c.name == name; });
            if (found == commands.end())
                fail("usage text: '" + name + "' is not in the command list");
            if (!found->synopsis.empty()) fail("usage text: two blocks for '" + name + "'");
            found->synopsis = synopsis;
            current = &*found;
        } else if (blank(line)) {
            if (current) current->body.emplace_back();
        } else if (line.starts_with("    ") && current) {
            current->body.push_back(trimRight(line.substr(4)));
        } else {
            fail("usage text: line outside a command block: '" + line + "'");
        }
    }
    for (auto& command : commands) {
        if (command.synopsis.empty()) fail("usage text: no block for '" + command.name + "'");
        while (!command.body.empty() && command.body.back().empty()) command.body.pop_back();
        if (command.body.empty()) fail("usage text: '" + command.name + "' says nothing");
    }
    return commands;
}

const CommandHelp& command(const std::vector<CommandHelp>& commands, std::string_view name) {
    for (const auto& c : commands) {
        if (c.name == name) return c;
    }
    fail("usage text: no command '" + std::string(name) + "'");
}

// The choices of the synopsis's n-th group written with bars: "<left|right|up|down>" or
// "[home|center]".
Lines choices(const CommandHelp& help, std::size_t n) {
    std::size_t found = 0;
    for (std::size_t at = 0; (at = help.synopsis.find_first_of("<[", at)) != std::string::npos;) {
        std::size_t end = help.synopsis.find_first_of(">]", at);
        std::string group = help.synopsis.substr(at + 1, end - at - 1);
        at = end;
        if (group.find('|') == std::string::npos) continue;
        if (found++ != n) continue;
        Lines words;
        std::stringstream split(group);
        for (std::string word; std::getline(split, word, '|');) words.push_back(word);
        return words;
    }
    fail("usage text: '" + help.synopsis + "' has no choice group " + std::to_string(n));
}

// The options ("--word") that the lines of a command's block give after `lead`, in order.
Lines optionsAfter(const CommandHelp& help, std::string_view lead) {
    Lines options;
    for (const auto& line : help.body) {
        if (!line.starts_with(lead)) continue;
        std::stringstream words(line);
        for (std::string word; words >> word;) {
            while (!word.empty() && (word.back() == ':' || word.back() == ',')) word.pop_back();
            if (word.starts_with("--") &&
                std::find(options.begin(), options.end(), word) == options.end()) {
                options.push_back(word);
            }
        }
    }
    if (options.empty())
        fail("usage text: no options after '" + std::string(lead) + "' in " + help.name);
    return options;
}

// ---- Key names, from the tables the parser uses -----------------------------------------

int keyGroup(const std::string& name) {
    if (name.size() == 1 && std::isalpha(static_cast<unsigned char>(name[0]))) return 0;
    if (name.size() == 1 && std::isdigit(static_cast<unsigned char>(name[0]))) return 1;
    if (name.size() > 1 && name[0] == 'f' && std::isdigit(static_cast<unsigned char>(name[1])))
        return 2;
    if (name.starts_with("keypad")) return 4;
    return 3;
}

// Every key name, letters, digits, function keys in their order, the named keys, the keypad.
Lines keyNames() {
    Lines names;
    for (const auto& [name, code] : tarn::keys::keyMap()) names.push_back(name);
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
        int ga = keyGroup(a), gb = keyGroup(b);
        if (ga != gb) return ga < gb;
        if (ga == 2 && a.size() != b.size()) return a.size() < b.size();
        return a < b;
    });
    return names;
}

Lines modifierNames() {
    // The order of the help text: cmd, command, ctrl, control, alt, option, shift.
    Lines names;
    for (const auto& [name, flag] : tarn::keys::modifierMap()) names.push_back(name);
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
        auto flagA = tarn::keys::modifierMap().find(a)->second;
        auto flagB = tarn::keys::modifierMap().find(b)->second;
        if (flagA != flagB) return flagA > flagB;
        return a.size() < b.size();
    });
    return names;
}

std::vector<std::pair<std::string, std::string>> escapeNames() {
    std::vector<std::pair<std::string, std::string>> names(tarn::keys::escapeTable().begin(),
                                                           tarn::keys::escapeTable().end());
    std::sort(names.begin(), names.end(), [](const auto& a, const auto& b) {
        return a.second != b.second ? a.second < b.second : a.first < b.first;
    });
    return names;
}

// The words of a keys string's braces that stand alone: modifiers, keys, and the commands
// without an argument (pause takes one, after a space).
Lines braceWords() {
    Lines words = modifierNames();
    for (const auto& name : keyNames()) words.push_back(name);
    for (const char* word : {"grab", "put", "paste", "pause"}) words.push_back(word);
    return words;
}

// ---- roff -------------------------------------------------------------------------------

// Text for a roff input line: backslashes and minus signs escaped, a leading control
// character defused.
std::string roff(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '\\') {
            out += "\\e";
        } else if (c == '-') {
            out += "\\-";
        } else {
            out += c;
        }
    }
    if (!out.empty() && (out[0] == '.' || out[0] == '\'')) out = "\\&" + out;
    return out;
}

// Lines shown as they are printed, indented (`indent` empty: as deep as a tagged
// paragraph's text), blank lines kept.
std::string literalBlock(const Lines& lines, const std::string& indent) {
    std::string out = ".RS" + (indent.empty() ? "" : " " + indent) + "\n.nf\n";
    for (const auto& line : lines) out += blank(line) ? ".sp\n" : roff(trimRight(line)) + "\n";
    return out + ".fi\n.RE\n";
}

// "tarn move-app <left|right|up|down>" with the command words in bold.
std::string synopsisLine(const std::string& synopsis) {
    std::size_t cut = synopsis.find(' ', 5);
    std::string words = cut == std::string::npos ? synopsis : synopsis.substr(0, cut);
    std::string rest = cut == std::string::npos ? "" : synopsis.substr(cut);
    return "\\fB" + roff(words) + "\\fR" + roff(rest);
}

std::string commaList(const Lines& words) {
    std::string out;
    for (const auto& word : words)
        out += (out.empty() ? "" : ", ") + ("\\fB" + roff(word) + "\\fR");
    return out;
}

// ---- Templates --------------------------------------------------------------------------

std::string fill(std::string text, const std::map<std::string, std::string>& values) {
    for (const auto& [name, value] : values) {
        const std::string placeholder = "{{" + name + "}}";
        for (std::size_t at; (at = text.find(placeholder)) != std::string::npos;) {
            text.replace(at, placeholder.size(), value);
        }
    }
    if (auto at = text.find("{{"); at != std::string::npos) {
        fail("template: unknown placeholder " + text.substr(at, text.find("}}", at) + 2 - at));
    }
    return text;
}

std::map<std::string, std::string> versionValues() {
    return {{"VERSION", tarn::commands::TarnVersion::versionString()},
            {"DATE", tarn::commands::TarnVersion::buildDate}};
}

std::string manTarn(const std::string& templateText) {
    auto commands = parseUsage(tarn::commands::usageText());
    auto values = versionValues();

    std::string synopsis = ".nf\n";
    for (const auto& c : commands) synopsis += synopsisLine(c.synopsis) + "\n";
    values["SYNOPSIS"] = synopsis + ".fi\n";

    std::string list;
    for (const auto& c : commands) {
        list += ".TP\n" + synopsisLine(c.synopsis) + "\n" + roff(c.summary) + ".\n";
        Lines rest(c.body.begin() + (c.body.front() == c.summary ? 1 : 0), c.body.end());
        if (!rest.empty()) list += literalBlock(rest, "");
    }
    values["COMMANDS"] = list;

    values["KEY_HELP"] = literalBlock(splitLines(tarn::commands::keyNamesText()), "4");
    std::string names;
    names += ".TP\nModifiers\n" + commaList(modifierNames()) + "\n";
    const char* groups[] = {"Letters", "Digits", "Function keys", "Named keys", "Keypad"};
    for (int group = 0; group < 5; ++group) {
        Lines inGroup;
        for (const auto& name : keyNames()) {
            if (keyGroup(name) == group) inGroup.push_back(name);
        }
        names += ".TP\n" + std::string(groups[group]) + "\n" + commaList(inGroup) + "\n";
    }
    values["KEY_NAMES"] = names;

    std::string escapes;
    std::string lastCharacter;
    for (const auto& [name, character] : escapeNames()) {
        if (character != lastCharacter) {
            std::string shown = character == " " ? "a space" : "\\(lq" + roff(character) + "\\(rq";
            escapes += (lastCharacter.empty() ? "" : "\n") + std::string(".TP\n") + shown + "\n";
            lastCharacter = character;
        } else {
            escapes += ", ";
        }
        escapes += "\\fB{" + roff(name) + "}\\fR";
    }
    values["ESCAPE_NAMES"] = escapes + "\n";
    return fill(templateText, values);
}

// wendle --help: a usage line, a paragraph, the options at two spaces, then paragraphs.
std::string manWendle(const std::string& templateText, const std::string& help) {
    Lines lines = splitLines(help);
    if (lines.empty() || !lines[0].starts_with("Usage: wendle "))
        fail("wendle help: no usage line");
    auto values = versionValues();
    values["SYNOPSIS"] = "\\fBwendle\\fR " + roff(lines[0].substr(14)) + "\n";
    std::string description, options, more;
    std::size_t at = 1;
    while (at < lines.size() && blank(lines[at])) ++at;
    for (; at < lines.size() && !blank(lines[at]); ++at)
        description += roff(trim(lines[at])) + "\n";
    while (at < lines.size() && blank(lines[at])) ++at;
    for (; at < lines.size() && lines[at].starts_with("  -"); ++at) {
        std::string line = trim(lines[at]);
        std::size_t gap = line.find("  ");
        if (gap == std::string::npos) fail("wendle help: odd option line '" + line + "'");
        std::string text = trim(line.substr(gap));
        text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
        options += ".TP\n.B " + roff(line.substr(0, gap)) + "\n" + roff(text) + ".\n";
    }
    if (options.empty()) fail("wendle help: no options");
    for (; at < lines.size(); ++at)
        more += blank(lines[at]) ? ".PP\n" : roff(trim(lines[at])) + "\n";
    if (description.empty() || more.empty()) fail("wendle help: missing paragraphs");
    values["DESCRIPTION"] = description;
    values["OPTIONS"] = options;
    values["MORE"] = more;
    return fill(templateText, values);
}

std::string joined(const Lines& words) {
    std::string out;
    for (const auto& word : words) out += (out.empty() ? "" : " ") + word;
    return out;
}

std::string completion(const std::string& templateText) {
    auto commands = parseUsage(tarn::commands::usageText());
    auto values = versionValues();
    Lines names;
    std::string described;  // name<TAB>summary, one a line
    for (const auto& c : commands) {
        // The scripts hold the summaries in single quotes.
        if (c.summary.find('\'') != std::string::npos)
            fail("usage text: a quote in '" + c.summary + "'");
        names.push_back(c.name);
        described += c.name + "\t" + c.summary + "\n";
    }
    values["COMMANDS"] = joined(names);
    values["COMMANDS_DESCRIBED"] = described;
    // zsh's _describe wants name:summary.
    std::string zsh;
    for (const auto& c : commands) zsh += "    '" + c.name + ":" + c.summary + "'\n";
    values["COMMANDS_ZSH"] = zsh;
    values["MOVE_APP_DIRECTIONS"] = joined(choices(command(commands, "move-app"), 0));
    values["MOVE_MOUSE_TARGETS"] = joined(choices(command(commands, "move-mouse"), 0));
    values["MOVE_MOUSE_POSITIONS"] = joined(choices(command(commands, "move-mouse"), 1));
    const auto& browserDefault = command(commands, "browser-default");
    values["BROWSER_DEFAULT_SUBCOMMANDS"] = joined(choices(browserDefault, 0));
    values["BROWSER_DEFAULT_SET_OPTIONS"] = joined(optionsAfter(browserDefault, "set "));
    values["BROWSER_DEFAULT_TOGGLE_OPTIONS"] = joined(optionsAfter(browserDefault, "toggle "));
    values["SETTINGS_OPTIONS"] = joined(optionsAfter(command(commands, "settings"), "--"));
    values["KEY_WORDS"] = joined(braceWords());
    return fill(templateText, values);
}

// The build date as a changelog's trailer wants it: "Mon, 26 Jan 2026 00:00:00 +0000".
std::string changelogDate(const std::string& isoDate) {
    int year = 0;
    unsigned month = 0, day = 0;
    if (std::sscanf(isoDate.c_str(), "%d-%u-%u", &year, &month, &day) != 3)
        fail("odd build date " + isoDate);
    std::chrono::year_month_day date{std::chrono::year{year}, std::chrono::month{month},
                                     std::chrono::day{day}};
    if (!date.ok()) fail("odd build date " + isoDate);
    static const char* days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    unsigned weekday = std::chrono::weekday{std::chrono::sys_days{date}}.c_encoding();
    char text[64];
    std::snprintf(text, sizeof text, "%s, %02u %s %04d 00:00:00 +0000", days[weekday], day,
                  months[month - 1], year);
    return text;
}

std::string changelog(const std::string& templateText) {
    auto values = versionValues();
    values["CHANGELOG_DATE"] = changelogDate(tarn::commands::TarnVersion::buildDate);
    return fill(templateText, values);
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    try {
        if (args.size() == 3 && args[0] == "man-tarn") {
            writeFile(args[2], manTarn(readFile(args[1])));
        } else if (args.size() == 4 && args[0] == "man-wendle") {
            writeFile(args[3], manWendle(readFile(args[1]), readFile(args[2])));
        } else if (args.size() == 3 && args[0] == "completion") {
            writeFile(args[2], completion(readFile(args[1])));
        } else if (args.size() == 3 && args[0] == "autostart") {
            writeFile(args[2], tarn::platform::xdg::autostartEntry({args[1]}));
        } else if (args.size() == 3 && args[0] == "changelog") {
            writeFile(args[2], changelog(readFile(args[1])));
        } else {
            std::cerr
                << "usage: tarn_docgen man-tarn|man-wendle|completion|autostart|changelog ...\n";
            return 2;
        }
    } catch (const std::exception& error) {
        std::cerr << "tarn_docgen: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
