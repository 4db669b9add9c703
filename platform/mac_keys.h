#pragma once

#include <cstdint>

namespace tarn::platform {

// The key symbol a macOS virtual key code (ANSI layout) stands for: the unshifted symbol of
// the key at that place on a US keyboard, as X11 and xkbcommon number key symbols; 0 for
// codes without one. Every Linux backend maps chords and typed keys through this one table,
// so a chord and the keys typed for it agree.
std::uint32_t keySymForMacKey(std::uint16_t macKeyCode);

}  // namespace tarn::platform
