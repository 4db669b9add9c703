#pragma once

#include <cstdint>
#include <ostream>

#include "core/window/window_state.h"
#include "platform/displays.h"
#include "platform/geometry.h"

// One press of left, right or up: where it puts the window, and what the record remembers of
// it. Pure computation over the record, the window's frame and the display list; the caller
// applies the frame and saves the record.
namespace tarn::window {

// The horizontalState code of a step: 0 original, 1 fullWidth, 2 alignRight, 3 alignLeft,
// 4 + i for saved location i (0 for a saved step that names none).
std::int64_t horizontalStateCode(const WindowState::WindowStep& step);

// "left" walks the step list forward (alignRight, original, fullWidth, alignLeft, saved
// locations, then the next screen), "right" backward, both wrapping around. The current step
// is the one nearest to currentFrame, whatever horizontalState says. Returns the frame to
// apply (currentFrame when there is nowhere to go) and records the step in horizontalState.
Rect handleLeftDirection(WindowState& state, const Rect& currentFrame,
                         std::int64_t currentScreenIndex, bool isPrimaryScreen,
                         const StateFilters& filters, platform::Displays& displays,
                         std::ostream& diagnostics);
Rect handleRightDirection(WindowState& state, const Rect& currentFrame,
                          std::int64_t currentScreenIndex, bool isPrimaryScreen,
                          const StateFilters& filters, platform::Displays& displays,
                          std::ostream& diagnostics);

// Steps verticalState 0 -> 1 -> 2 -> 0: full height of screenBounds, then screenBounds with
// a 5-point margin on every side, then the exact home frame.
Rect handleUpDirection(WindowState& state, const Rect& currentFrame, const Rect& screenBounds,
                       std::ostream& diagnostics);

}  // namespace tarn::window
