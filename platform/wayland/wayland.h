#pragma once

// What every Wayland backend shares: one connection to the compositor, and the input and
// clipboard protocols that wlroots compositors and KWin serve to ordinary clients. No
// Wayland header appears here: backends that need the protocol objects themselves include
// platform/wayland/connection.h.

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/geometry.h"
#include "platform/input.h"

namespace tarn::platform::wayland {

// One connection to the compositor (a wl_display with its registry's globals bound). Shared
// by the parts made from it; closed when the last of them goes. Not for use from two threads
// at once: the parts made from one connection run on the thread that uses them.
class Connection;

struct Connected {
    std::shared_ptr<Connection> connection;
    std::string error;  // why there is none, when connection is null
};
// Connects to the named display (WAYLAND_DISPLAY's value; empty: the compositor's default).
Connected connect(const std::string& display);

// Keys through zwp_virtual_keyboard_v1. Each posted key carries exactly its event's
// modifiers. One keymap, built once, holds every key the macOS key table names, so nothing
// is remapped while keys are typed. Null, with the reason, when the compositor offers no
// virtual keyboard. (Backends that need more, such as knowing their own marked keys, use
// VirtualKeyboard from platform/wayland/keyboard.h.)
std::unique_ptr<KeyboardOutput> makeKeyboard(std::shared_ptr<Connection> connection,
                                             std::string& error);

// The pointer through zwlr_virtual_pointer_v1, moved in absolute coordinates over the whole
// layout: `layout` gives the bounding box of every output in the global display space at the
// time of the move. `location` reads where the pointer is, where the backend can tell (null:
// it cannot). Null, with the reason, when the compositor offers no virtual pointer.
std::unique_ptr<Pointer> makePointer(std::shared_ptr<Connection> connection,
                                     std::function<Rect()> layout,
                                     std::function<std::optional<Point>()> location,
                                     std::string& error);

// The clipboard through the wlr data-control protocol (ext-data-control is not yet in the
// wayland-protocols of the distributions we build on). With `outlivesProcess`, text written stays
// served after the process exits, as the X11 backend does for the one-shot command; the
// long-running agent serves it itself.
std::unique_ptr<Clipboard> makeClipboard(std::shared_ptr<Connection> connection,
                                         bool outlivesProcess, std::string& error);

}  // namespace tarn::platform::wayland
