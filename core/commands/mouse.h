#pragma once

#include <cstdint>
#include <vector>

#include "core/context.h"
#include "platform/displays.h"

namespace tarn::commands {

// Puts the pointer on the focused window of the frontmost application, at its centre or
// 10 points in from its upper-left corner. Problems are one line on standard output.
void moveMouseToActiveWindow(bool toHome, CommandContext& context);

// Puts the pointer on a screen counted from the left, the main display being screen 0.
// Numbers wrap around both ways: with two screens, 2 is the main display again and -1 is
// the last screen from the left.
void moveMouseToScreen(std::int64_t screenNumber, bool toHome, CommandContext& context);

// The main display, then every other active display from left to right (displays with the
// same left edge keep the order the desktop lists them in).
std::vector<platform::DisplayId> screensFromLeft(platform::Displays& displays);

// The move-mouse command.
int moveMouse(const Args& args, CommandContext& context);

}  // namespace tarn::commands
