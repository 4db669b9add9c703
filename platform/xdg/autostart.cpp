#include "platform/xdg/autostart.h"

#include <string_view>
#include <system_error>

#include "platform/xdg/autostart_template.h"
#include "platform/xdg/key_file.h"
#include "support/app_support.h"
#include "support/files.h"

namespace tarn::platform::xdg {
namespace {

// One argument of an Exec line: quoted when it holds a reserved character, with ", `, $ and
// \ escaped inside the quotes, and % doubled (a lone % starts a field code).
std::string execArgument(const std::string& argument) {
    static constexpr std::string_view reserved = " \t\n\"'\\><~|&;$*?#()`";
    bool quoted = argument.empty() || argument.find_first_of(reserved) != std::string::npos;
    std::string text;
    for (char c : argument) {
        if (c == '%') {
            text += "%%";
            continue;
        }
        if (quoted && (c == '"' || c == '`' || c == '$' || c == '\\')) text += '\\';
        text += c;
    }
    return quoted ? "\"" + text + "\"" : text;
}

// The same line as a key-file string value, whose own escapes come on top.
std::string keyFileValue(const std::string& value) {
    std::string text;
    for (char c : value) {
        if (c == '\\') {
            text += "\\\\";
        } else if (c == '\n') {
            text += "\\n";
        } else {
            text += c;
        }
    }
    return text;
}

}  // namespace

std::string autostartEntry(const std::vector<std::string>& command) {
    std::string exec;
    for (const auto& argument : command) {
        if (!exec.empty()) exec += ' ';
        exec += execArgument(argument);
    }
    std::string text = kAutostartTemplate;
    static constexpr std::string_view placeholder = "@EXEC@";
    if (auto at = text.find(placeholder); at != std::string::npos) {
        text.replace(at, placeholder.size(), keyFileValue(exec));
    }
    return text;
}

LoginItemStatus AutostartLoginItem::status() {
    auto text = file_.empty() ? std::nullopt : support::readFile(file_);
    if (!text) return LoginItemStatus::notRegistered;
    bool inEntry = false;
    bool off = false;
    forEachLine(*text, [&](std::string_view raw) {
        auto line = readKeyFileLine(raw);
        if (line.kind == KeyFileLine::Kind::group) inEntry = line.name == "Desktop Entry";
        if (!inEntry || line.kind != KeyFileLine::Kind::entry) return;
        off |= line.name == "Hidden" && line.value == "true";
        off |= line.name == "X-GNOME-Autostart-enabled" && line.value == "false";
    });
    return off ? LoginItemStatus::notRegistered : LoginItemStatus::enabled;
}

bool AutostartLoginItem::registerItem(std::string& error) {
    if (file_.empty()) {
        error = "no home directory to put the autostart entry in";
        return false;
    }
    std::error_code ec;
    std::filesystem::create_directories(file_.parent_path(), ec);
    if (auto failure = support::writeFileAtomically(file_, autostartEntry(command_))) {
        error = "cannot write " + file_.string() + ": " + *failure;
        return false;
    }
    return true;
}

bool AutostartLoginItem::unregisterItem(std::string& error) {
    if (file_.empty()) return true;
    std::error_code ec;
    std::filesystem::remove(file_, ec);
    if (ec) {
        error = "cannot remove " + file_.string() + ": " + ec.message();
        return false;
    }
    return true;
}

std::unique_ptr<AutostartLoginItem> makeLoginItem(std::vector<std::string> command) {
    auto configHome = support::xdgConfigHome();
    std::filesystem::path file;
    if (configHome) file = *configHome / "autostart" / "wendle.desktop";
    return std::make_unique<AutostartLoginItem>(std::move(file), std::move(command));
}

}  // namespace tarn::platform::xdg
