#pragma once

// Keys and the pointer through KWin's fake-input protocol (org_kde_kwin_fake_input).
//
// KWin offers the protocol only to a program whose desktop entry asks for it
// (X-KDE-Wayland-Interfaces=org_kde_kwin_fake_input), matched by the absolute path of the
// program in the entry's Exec line; the installed entries of tarn and wendle carry it. KWin
// 6.1 and later also serve input emulation through EIS (libei); fake input still works there
// and is the one protocol both 5.27 and 6 offer, so it is the one used.
//
// Fake input sends evdev key codes, which KWin reads through its own keymap. A macOS key
// code names a key symbol (mac_keys.h), found on the US keymap's keys; a chord's modifiers
// are pressed as the left Shift, Control, Alt and Meta keys around the key and released
// after it. The protocol has no way to upload a keymap, so only what the keymap holds can
// be typed: every key of the keys language does (they are the keys of a US keyboard).

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/geometry.h"
#include "platform/input.h"
#include "platform/wayland/wayland.h"

struct org_kde_kwin_fake_input;

namespace tarn::platform::kde {

// The evdev key code of a macOS virtual key code on a US keyboard; absent for codes without
// a key there.
std::optional<std::uint32_t> evdevKeyForMacKey(std::uint16_t macKeyCode);

// The process's one connection to the compositor, made at its first use; every use that
// cannot be made throws DesktopError saying what to do.
class WaylandLink {
  public:
    WaylandLink();
    ~WaylandLink();
    WaylandLink(const WaylandLink&) = delete;
    WaylandLink& operator=(const WaylandLink&) = delete;

    std::shared_ptr<wayland::Connection> connection();
    // KWin's fake input, bound and introduced at its first use.
    ::org_kde_kwin_fake_input* fakeInput();
    // Sends what was made and waits until KWin has handled it, so that what comes next (the
    // application's reaction, another command) sees it.
    void sync();
    void flush();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

struct FakeInputParts {
    std::unique_ptr<KeyboardOutput> keyboard;
    std::unique_ptr<Pointer> pointer;
};

// The keyboard and pointer of the link; an event that cannot be made (no compositor, no fake
// input for this program) throws DesktopError saying what to do. `origin` gives where the primary
// display's top-left corner is in KWin's coordinates and `location` where the pointer is (null:
// unknown), both asked at the time of use.
// `blockShortcuts`, when given, is called with true before a run of keys that carries the
// agent's marker and with false once KWin has handled them: the agent's own keys must reach
// the focused window, never fire a global shortcut (its own or KWin's).
FakeInputParts openFakeInput(std::shared_ptr<WaylandLink> link, std::function<Point()> origin,
                             std::function<std::optional<Point>()> location,
                             std::function<void(bool)> blockShortcuts = {});

// The clipboard through the data-control protocol (platform/wayland), on the link's
// connection when first used.
std::unique_ptr<Clipboard> makeClipboard(std::shared_ptr<WaylandLink> link, bool outlivesProcess);

}  // namespace tarn::platform::kde
