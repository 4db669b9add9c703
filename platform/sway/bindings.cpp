#include "platform/sway/bindings.h"

#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <vector>

#include "platform/mac_keys.h"
#include "platform/sway/ipc.h"
#include "support/number_text.h"
#include "support/text.h"

namespace tarn::platform::sway {
namespace {

constexpr std::pair<std::uint32_t, const char*> kModifiers[] = {
    {1, "Shift"}, {2, "Ctrl"}, {4, "Mod1"}, {8, "Mod4"}};

std::string trim(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) return {};
    const auto last = text.find_last_not_of(" \t\r");
    return std::string(text.substr(first, last - first + 1));
}

// The words of a configuration line, split at blanks.
std::vector<std::string> words(std::string_view line) {
    std::vector<std::string> found;
    std::string word;
    for (char c : line) {
        if (c == ' ' || c == '\t') {
            if (!word.empty()) found.push_back(std::move(word));
            word.clear();
        } else {
            word += c;
        }
    }
    if (!word.empty()) found.push_back(std::move(word));
    return found;
}

}  // namespace

std::optional<std::string> comboOf(const Chord& chord) {
    if (chord.keyCode < 0 || chord.keyCode > 0xffff) return std::nullopt;
    const auto symbol = keySymForMacKey(static_cast<std::uint16_t>(chord.keyCode));
    char name[64];
    if (symbol == 0 || xkb_keysym_get_name(symbol, name, sizeof name) <= 0) return std::nullopt;
    std::string combo;
    for (const auto& [bit, word] : kModifiers) {
        if (chord.modifiers & bit) combo += std::string(word) + "+";
    }
    return combo + name;
}

std::string normalCombo(std::string_view combo) {
    auto parts = support::splitText(combo, "+");
    std::vector<std::string> modifiers;
    std::string key;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        std::string part = support::asciiLowercase(trim(parts[i]));
        if (i + 1 == parts.size()) {
            key = part;
            break;
        }
        if (part == "control") part = "ctrl";
        if (part == "alt") part = "mod1";
        if (part == "super") part = "mod4";
        modifiers.push_back(part);
    }
    std::sort(modifiers.begin(), modifiers.end());
    modifiers.erase(std::unique(modifiers.begin(), modifiers.end()), modifiers.end());
    std::string normal;
    for (const auto& modifier : modifiers) normal += modifier + "+";
    return normal + key;
}

std::set<std::string> combosBoundBy(std::string_view config) {
    std::set<std::string> combos;
    std::vector<std::pair<std::string, std::string>> variables;  // longest name first
    int depth = 0;                                               // braces open
    bool inMode = false;                                         // inside a `mode "name" {` block
    bool bindBlock = false;                                      // inside a `bindsym {` block
    for (auto raw : support::splitText(config, "\n")) {
        std::string line = trim(raw);
        if (line.empty() || line.front() == '#') continue;
        auto parts = words(line);
        if (parts[0] == "set" && parts.size() >= 3 && parts[1].starts_with("$")) {
            std::string value =
                trim(std::string_view(line).substr(line.find(parts[1]) + parts[1].size()));
            variables.emplace_back(parts[1], value);
            std::sort(variables.begin(), variables.end(),
                      [](const auto& a, const auto& b) { return a.first.size() > b.first.size(); });
            continue;
        }
        if (parts[0] == "mode" && line.back() == '{' && depth == 0) inMode = true;
        // `bindsym <combo> <command>`, or one `<combo> <command>` a line in a `bindsym {` block.
        std::size_t at = 0;
        if (parts[0] == "bindsym" && depth == 0 && line.back() == '{') {
            bindBlock = true;
            at = parts.size();
        } else if (parts[0] == "bindsym" && depth == 0) {
            at = 1;
        } else if (!(bindBlock && depth == 1 && parts[0] != "}")) {
            at = parts.size();
        }
        while (at < parts.size() && parts[at].starts_with("--")) ++at;
        if (!inMode && at < parts.size()) {
            std::string combo = parts[at];
            for (const auto& [name, value] : variables) {
                for (auto found = combo.find(name); found != std::string::npos;
                     found = combo.find(name, found + value.size())) {
                    combo.replace(found, name.size(), value);
                }
            }
            combos.insert(normalCombo(combo));
        }
        depth += static_cast<int>(std::count(line.begin(), line.end(), '{'));
        depth -= static_cast<int>(std::count(line.begin(), line.end(), '}'));
        if (depth <= 0) {
            depth = 0;
            inMode = false;
            bindBlock = false;
        }
    }
    return combos;
}

std::string bindingCommand(const Chord& chord) {
    return "nop " + std::string(kBindingMark) + " " + std::to_string(chord.keyCode) + " " +
           std::to_string(chord.modifiers);
}

std::optional<Chord> chordOfCommand(std::string_view command) {
    auto parts = words(command);
    if (parts.size() != 4 || parts[0] != "nop" || parts[1] != kBindingMark) return std::nullopt;
    auto keyCode = support::parseInt64(parts[2]);
    auto modifiers = support::parseInt64(parts[3]);
    if (!keyCode || !modifiers || *modifiers < 0 || *modifiers > 15) return std::nullopt;
    return Chord{*keyCode, static_cast<std::uint32_t>(*modifiers)};
}

void BindingGate::change(const std::function<void(Bound& bound)>& apply) {
    std::lock_guard guard(lock_);
    apply(bound_);
}

void BindingGate::aroundTyping(const Chord& chord, Ipc& ipc, const std::function<void()>& type,
                               const std::function<void()>& settle) {
    std::lock_guard guard(lock_);
    auto it = bound_.find(chord);
    if (it == bound_.end()) {
        type();
        return;
    }
    ipc.command("unbindsym " + it->second);
    type();
    settle();
    ipc.command("bindsym --no-repeat " + it->second + " " + bindingCommand(chord));
}

}  // namespace tarn::platform::sway
