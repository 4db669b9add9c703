#pragma once

#include "platform/geometry.h"

namespace tarn::window {

// TEMPORARY until the window engine lands: its StateFilters replaces this.
struct StateFilters {
    bool fullWidthOnPrimary = true;
    bool fullWidthOnSecondary = true;
    bool alignRightOnPrimary = true;
    bool alignRightOnSecondary = true;
    bool alignLeftOnPrimary = true;
    bool alignLeftOnSecondary = true;
};

// A saved frame offered to a move-app call, as the agent keeps it for an application.
struct MoveAppLocation {
    platform::Rect frame;
    bool screenSpecific = true;
    friend bool operator==(const MoveAppLocation&, const MoveAppLocation&) = default;
};

}  // namespace tarn::window
