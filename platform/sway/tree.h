#pragma once

// What Tarn reads of sway's layout tree (`get_tree`) and output list (`get_outputs`).

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/displays.h"
#include "platform/geometry.h"
#include "platform/window_system.h"
#include "support/json_text.h"

namespace tarn::platform::sway {

struct SwayWindow {
    std::uint64_t id = 0;  // the container's id, what `[con_id=N]` selects
    Pid pid = 0;
    // The application's identity: the Wayland app_id, or the X class of an XWayland window.
    std::string appId;
    std::string title;
    Rect frame;  // outer frame: the container's rect with its title bar above it
    bool focused = false;
    bool inScratchpad = false;
    std::vector<std::string> marks;
};

// Every window of the tree, in tree order (an output's tiled windows before its floating
// ones, outputs in sway's order; the scratchpad's first, where sway keeps it).
std::vector<SwayWindow> windowsOfTree(const support::Json& tree);

struct SwayOutput {
    DisplayId id = 0;
    std::string name;
    Rect bounds;
};

// The active outputs, the primary first. sway has no primary output: ours is the one whose
// top-left corner is the origin of the layout (the global display space has its origin at
// the primary display's top-left corner, and sway's layout coordinates are used unchanged),
// or, when no output sits there, the top-most of the left-most ones. The others follow left
// to right, top to bottom, so a screen's index does not change with the focus or with the
// order in which outputs were plugged in.
std::vector<SwayOutput> activeOutputs(const support::Json& outputs);
// The same, read from the tree (whose outputs are the active ones): a window move needs the
// windows and the outputs, and one request is a round trip less than two.
std::vector<SwayOutput> outputsOfTree(const support::Json& tree);

}  // namespace tarn::platform::sway
