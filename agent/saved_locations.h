#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "agent/config.h"

namespace tarn::agent {

// The settings window shows this many saved locations per application; further entries (from
// an imported or hand-edited file) are kept but not shown.
inline constexpr std::size_t kSavedLocationSlots = 3;

// The display a window is on: the first, in display order, that holds strictly more than half
// of the window's area; 0 when none does (a window exactly half on each of two).
std::int64_t screenIndexOf(const platform::Rect& window,
                           const std::vector<platform::Rect>& screens);

// Puts the location in the slot (counted from 0): an existing entry there is replaced; a list
// too short for it is first filled up with placeholders (zero frame, screen 0).
void storeInSlot(std::vector<SavedWindowLocation>& locations, std::size_t slot,
                 const SavedWindowLocation& location);

}  // namespace tarn::agent
