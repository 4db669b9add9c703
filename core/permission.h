#pragma once

#include "core/context.h"

namespace tarn {

// Whether this process may drive windows and post events. When it may not, asks the system
// to show its permission prompt and prints instructions to standard error. Every keystroke,
// mouse and window path checks this first.
bool ensureAccessibilityTrusted(CommandContext& context);

}  // namespace tarn
