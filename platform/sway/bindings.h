#pragma once

// The agent's chords as sway bindings: their names in sway's `bindsym` words, the bindings
// sway's configuration holds already, and the gate through which the program's own typing
// gets past its bindings.

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "platform/key_source.h"

namespace tarn::platform::sway {

class Ipc;

// The chord in bindsym's words, modifiers first: "Ctrl+Mod1+Right". Absent when its key code
// names no key symbol.
std::optional<std::string> comboOf(const Chord& chord);
// A combo in one spelling per chord, for comparing bindings written by hand: modifiers
// under one name each (Control → ctrl, Alt → mod1, Super → mod4), sorted, the key symbol
// in lower case (sway looks key names up without regard to case).
std::string normalCombo(std::string_view combo);

// The combos a configuration text binds with `bindsym` (in the default mode, where the
// agent's bindings live), `$variables` set with `set` replaced, each normalised.
std::set<std::string> combosBoundBy(std::string_view config);

// The command of the agent's binding for a chord: a `nop` with the agent's own mark and the
// chord, which the binding event hands back; and the chord of such a command.
inline constexpr std::string_view kBindingMark = "tarn-wendle";
std::string bindingCommand(const Chord& chord);
std::optional<Chord> chordOfCommand(std::string_view command);

// What the key source has bound, shared with the keyboard outputs of the same program. sway
// tells a binding's key-down from no other, so a chord this program types itself would run
// its rule again: the keyboard releases the chord's binding around the key-down it types
// (while it is released, another program's press of the same chord is typed into the
// focused window instead of running the rule, a window as long as one round trip).
class BindingGate {
  public:
    using Bound = std::map<Chord, std::string>;  // chord → combo
    // The key source changes its bindings (and sway's) only through here, so that they never
    // change under a chord being typed.
    void change(const std::function<void(Bound& bound)>& apply);
    // Runs `type` with the chord's binding released on `ipc` when it is bound (and then
    // `settle`, which returns once sway has handled what `type` sent, before binding it
    // again), else just runs `type`.
    void aroundTyping(const Chord& chord, Ipc& ipc, const std::function<void()>& type,
                      const std::function<void()>& settle);

  private:
    std::mutex lock_;
    Bound bound_;
};

}  // namespace tarn::platform::sway
