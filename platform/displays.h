#pragma once

#include <cstdint>
#include <vector>

#include "platform/geometry.h"

namespace tarn::platform {

using DisplayId = std::uint32_t;

class Displays {
  public:
    virtual ~Displays() = default;
    // Active displays in the platform's order; the first one is the main (primary) display.
    // Empty when there are none.
    virtual std::vector<DisplayId> activeDisplays() = 0;
    // Bounds in the global display space; the zero rectangle for an unknown display.
    virtual Rect bounds(DisplayId display) = 0;
    // The main display (index 0 of the active list when there is one).
    virtual DisplayId mainDisplay() = 0;
    // Backends may remember the display list for the length of one operation (a command, or
    // one agent action); this drops it, so the next read asks the desktop again.
    virtual void forget() {}
};

}  // namespace tarn::platform
