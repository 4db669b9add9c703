#pragma once

// Keys on GNOME: macOS key codes as key symbols, typed through Mutter's RemoteDesktop
// session, and chords named as the shell's accelerators.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/input.h"
#include "platform/key_source.h"
#include "platform/marker_ledger.h"

namespace tarn::platform::gnome {

class RemoteDesktop;

// The agent's own typed keys are told from everybody else's through the ledger the key
// source shares with the keyboard (the X11 backend's; the shell's accelerator signal carries
// no more than its action), under this name for the desktop.
inline constexpr const char* kLedgerDesktop = "gnome";
using LedgerKey = platform::MarkerLedger::Key;
// The ledger's key for a key code and modifier flags: the key symbol and the four chord flags.
LedgerKey ledgerKey(std::uint16_t keyCode, std::uint64_t flags);

// The shell's accelerator for a chord ("<Control><Alt>Left", "<Super>e"); absent when the key
// code has no key symbol.
std::optional<std::string> acceleratorFor(const Chord& chord);

// Each key is its key symbol (Mutter finds its key on the current keymap); exactly the
// chord's modifiers are pressed as keys around it.
class KeyboardGnome final : public KeyboardOutput {
  public:
    KeyboardGnome(RemoteDesktop& remote, std::shared_ptr<platform::MarkerLedger> ledger)
        : remote_(remote), ledger_(std::move(ledger)) {}
    ~KeyboardGnome() override;
    bool canPost(std::uint16_t keyCode) override;
    void post(const KeyEvent& event) override;

  private:
    void holdModifiers(std::uint64_t flags);

    RemoteDesktop& remote_;
    std::shared_ptr<platform::MarkerLedger> ledger_;
    std::uint64_t held_ = 0;  // the modifiers this keyboard has down
};

}  // namespace tarn::platform::gnome
