#include "platform/gnome/keys.h"

#include <xkbcommon/xkbcommon.h>

#include <array>
#include <utility>

#include "platform/gnome/remote_desktop.h"
#include "platform/mac_keys.h"

namespace tarn::platform::gnome {
namespace {

// The chord bits of the agent's rules and the key-event flags, with the key that makes each
// and the accelerator's word for it, in the order a chord lists them.
struct Modifier {
    std::uint32_t chordBit;
    std::uint64_t flag;
    std::uint32_t keysym;
    const char* accelerator;
};
constexpr std::array<Modifier, 4> kModifiers{{
    {1, keyflags::shift, 0xffe1, "<Shift>"},      // Shift_L
    {2, keyflags::control, 0xffe3, "<Control>"},  // Control_L
    {4, keyflags::option, 0xffe9, "<Alt>"},       // Alt_L
    {8, keyflags::command, 0xffeb, "<Super>"},    // Super_L
}};

constexpr std::uint64_t kChordFlags =
    keyflags::shift | keyflags::control | keyflags::option | keyflags::command;

}  // namespace

LedgerKey ledgerKey(std::uint16_t keyCode, std::uint64_t flags) {
    return {keySymForMacKey(keyCode), flags & kChordFlags};
}

std::optional<std::string> acceleratorFor(const Chord& chord) {
    if (chord.keyCode < 0 || chord.keyCode > 0xffff) return std::nullopt;
    const std::uint32_t keysym = keySymForMacKey(static_cast<std::uint16_t>(chord.keyCode));
    if (keysym == 0) return std::nullopt;
    std::array<char, 64> name{};
    if (xkb_keysym_get_name(keysym, name.data(), name.size()) <= 0) return std::nullopt;
    std::string accelerator;
    for (const Modifier& modifier : kModifiers) {
        if (chord.modifiers & modifier.chordBit) accelerator += modifier.accelerator;
    }
    return accelerator + name.data();
}

KeyboardGnome::~KeyboardGnome() {
    holdModifiers(0);
}

bool KeyboardGnome::canPost(std::uint16_t keyCode) {
    return keySymForMacKey(keyCode) != 0;
}

void KeyboardGnome::post(const KeyEvent& event) {
    const std::uint32_t keysym = keySymForMacKey(event.keyCode);
    if (keysym == 0) return;
    if (event.down) holdModifiers(event.flags);
    if (event.down && event.marker && ledger_) {
        ledger_->expect(kLedgerDesktop, ledgerKey(event.keyCode, event.flags), *event.marker);
    }
    remote_.keysym(keysym, event.down);
    if (!event.down) holdModifiers(0);
}

void KeyboardGnome::holdModifiers(std::uint64_t flags) {
    for (const Modifier& modifier : kModifiers) {
        const bool want = flags & modifier.flag;
        const bool have = held_ & modifier.flag;
        if (want == have) continue;
        if (!remote_.keysym(modifier.keysym, want)) continue;
        held_ ^= modifier.flag;
    }
}

}  // namespace tarn::platform::gnome
