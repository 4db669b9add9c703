#pragma once

#include <memory>
#include <string>

#include "platform/key_source.h"
#include "platform/sway/bindings.h"

namespace tarn::platform::sway {

// The agent's key source on sway. sway owns the keyboard, so each chord is a binding made
// at run time over IPC (`bindsym --no-repeat <combo> nop tarn-wendle <chord>`), and its
// key-downs arrive as `binding` events on the source's own thread and connection.
//
// - A chord the configuration binds already (a `bindsym` line of sway's configuration, its
//   `$variables` replaced) is reported takenByOther and left alone; one whose key code names
//   no key is noKey. (Bindings other programs made at run time cannot be seen: sway does not
//   list them, and a new bindsym silently replaces them.)
// - sway consumes every bound chord. A chord whose rule lets it pass is typed again into the
//   focused window by the source itself, through a virtual keyboard of its own, its binding
//   released around it (ChordPass::retyped).
// - sway forgets run-time bindings when it reloads its configuration: the source binds its
//   chords again after every reload (and reads the configuration again).
// - The combos bound are listed in a file beside sway's socket. Stopping unbinds them and
//   empties it; starting unbinds those an earlier agent left there (it died without
//   stopping) unless the configuration binds them now.
// - What it binds is published on `gate`, through which the program's own keyboard types a
//   bound chord without triggering it.
//
// When sway goes away the lost callback is called once on the thread, which then ends.
std::unique_ptr<KeySource> makeKeySource(std::string socket, std::string waylandDisplay,
                                         std::shared_ptr<BindingGate> gate);

}  // namespace tarn::platform::sway
