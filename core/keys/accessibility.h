#pragma once

#include "core/commands/context.h"

namespace tarn::keys {

// Whether this process may drive windows and post events. When it may not, asks the system
// to show its permission prompt and prints instructions to standard error. Every keystroke,
// mouse and window path checks this first.
bool ensureAccessibilityTrusted(commands::CommandContext& context);

}  // namespace tarn::keys
