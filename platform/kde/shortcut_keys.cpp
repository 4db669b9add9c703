#include "platform/kde/shortcut_keys.h"

#include <cctype>
#include <utility>

#include "platform/mac_keys.h"

namespace tarn::platform::kde {
namespace {

// Qt's modifier bits and the names a key sequence gives them, in the order it writes them.
struct Modifier {
    std::uint32_t chordBit;  // shift 1, control 2, option 4, command 8
    int qtBit;
    const char* name;
};
constexpr Modifier kModifiers[] = {{8, 0x10000000, "Meta"},
                                   {2, 0x04000000, "Ctrl"},
                                   {4, 0x08000000, "Alt"},
                                   {1, 0x02000000, "Shift"}};

// Key symbols (X numbering) of the keys that are not characters, with Qt's number and name.
struct Special {
    std::uint32_t keysym;
    int qtKey;
    const char* name;
};
constexpr Special kSpecial[] = {
    {0xff0d, 0x01000004, "Return"}, {0xff09, 0x01000001, "Tab"},  {0xff08, 0x01000003, "Backspace"},
    {0xff1b, 0x01000000, "Esc"},    {0xffff, 0x01000007, "Del"},  {0xff63, 0x01000006, "Ins"},
    {0xff50, 0x01000010, "Home"},   {0xff57, 0x01000011, "End"},  {0xff55, 0x01000016, "PgUp"},
    {0xff56, 0x01000017, "PgDown"}, {0xff51, 0x01000012, "Left"}, {0xff52, 0x01000013, "Up"},
    {0xff53, 0x01000014, "Right"},  {0xff54, 0x01000015, "Down"}, {0x20, 0x20, "Space"},
};

std::optional<std::pair<int, std::string>> keyOf(std::uint32_t keysym) {
    for (const Special& special : kSpecial)
        if (special.keysym == keysym) return std::pair{special.qtKey, std::string(special.name)};
    if (keysym >= 0xffbe && keysym <= 0xffd1) {  // F1 .. F20
        const int n = static_cast<int>(keysym - 0xffbe) + 1;
        return std::pair{0x01000030 + n - 1, "F" + std::to_string(n)};
    }
    if (keysym > 0x20 && keysym < 0x7f) {  // a character: Qt numbers letters by capital
        const char c = static_cast<char>(std::toupper(static_cast<unsigned char>(keysym)));
        return std::pair{static_cast<int>(static_cast<unsigned char>(c)), std::string(1, c)};
    }
    return std::nullopt;
}

}  // namespace

std::optional<ShortcutKey> shortcutKeyFor(const Chord& chord) {
    if (chord.keyCode < 0 || chord.keyCode > 0xffff) return std::nullopt;
    auto key = keyOf(keySymForMacKey(static_cast<std::uint16_t>(chord.keyCode)));
    if (!key) return std::nullopt;
    ShortcutKey shortcut{"", key->first};
    for (const Modifier& modifier : kModifiers) {
        if (!(chord.modifiers & modifier.chordBit)) continue;
        shortcut.text += std::string(modifier.name) + "+";
        shortcut.code |= modifier.qtBit;
    }
    shortcut.text += key->second;
    return shortcut;
}

}  // namespace tarn::platform::kde
