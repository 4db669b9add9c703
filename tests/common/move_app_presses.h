#pragma once

// The whole move-app cycle from a window whose outer frame is 100,100 800x605, the left
// screen primary: the presses in order and the outer frame each one must land. Every
// desktop's end-to-end tier walks one of these tables: equal screens (X11, KWin) or screens
// of different sizes (sway, GNOME Shell).

#include "platform/geometry.h"

namespace tarn::testing {

using platform::Rect;

struct Press {
    const char* direction;
    Rect frame;
    bool minimised = false;
};

// Worked by hand. Usable areas (the monitor less the 25-pixel band at the top):
// LEFT 0,25 1920x1055 and RIGHT 1920,25 1920x1055. The step list is, per monitor, alignRight,
// original, fullWidth, alignLeft; right walks it backwards, left forwards, wrapping.
// Home 100,100 800x605 is nearest the LEFT alignLeft (0,100: 100 off; original is 610 off).
// Original centres home: x = (1920 - 800) / 2 = 560, y = 25 + (1055 - 605) / 2 = 250.
// On its own monitor a window keeps its y and height; moved to the other one it keeps its
// share of the usable height, the same here (equal monitors): y 250, height 605.
// Up steps full height (the usable height), then full screen (the usable area less 5 on
// every side), then home. Down minimises; with the window iconic nothing has the focus, and
// the next down finds the window through state.json and restores it.
inline constexpr Press kPresses[] = {
    {"right", {0, 100, 1920, 605}},     // LEFT fullWidth, keeping y 100 and the height
    {"right", {560, 250, 800, 605}},    // LEFT original
    {"right", {1120, 250, 800, 605}},   // LEFT alignRight: 1920 - 800
    {"right", {1920, 250, 800, 605}},   // RIGHT alignLeft (wrapped)
    {"right", {1920, 250, 1920, 605}},  // RIGHT fullWidth
    {"right", {2480, 250, 800, 605}},   // RIGHT original: 1920 + 560
    {"right", {3040, 250, 800, 605}},   // RIGHT alignRight: 3840 - 800
    {"right", {0, 250, 800, 605}},      // LEFT alignLeft: the whole cycle, wrapped
    {"left", {3040, 250, 800, 605}},    // forwards (wrapped) to RIGHT alignRight
    {"left", {2480, 250, 800, 605}},    // RIGHT original
    {"up", {2480, 25, 800, 1055}},      // full height on RIGHT
    {"up", {1925, 30, 1910, 1045}},     // full screen on RIGHT
    {"up", {100, 100, 800, 605}},       // home, back on LEFT
    {"down", {100, 100, 800, 605}, true}, {"down", {100, 100, 800, 605}},  // restored where it was
};

// The same cycle on LEFT 1920x1080 at 0,0 and RIGHT 1280x1024 at 1920,0. Usable areas:
// LEFT 0,25 1920x1055 and RIGHT 1920,25 1280x999. Moved to the other monitor a window keeps
// its share of the usable width and height and of the space above it: 800 * 1280 / 1920 =
// 533.3, 605 * 999 / 1055 = 572.9, y = 25 + 225 * 999 / 1055 = 238.1; centred there
// x = 1920 + (1280 - 533.3) / 2 = 2293.3. Desktops place whole pixels and every frame is
// checked within one, so halves may round either way.
inline constexpr Press kPressesOnUnequalScreens[] = {
    {"right", {0, 100, 1920, 605}},     // LEFT fullWidth, keeping y 100 and the height
    {"right", {560, 250, 800, 605}},    // LEFT original
    {"right", {1120, 250, 800, 605}},   // LEFT alignRight: 1920 - 800
    {"right", {1920, 238, 533, 573}},   // RIGHT alignLeft (wrapped), scaled
    {"right", {1920, 238, 1280, 573}},  // RIGHT fullWidth
    {"right", {2293, 238, 533, 573}},   // RIGHT original
    {"right", {2667, 238, 533, 573}},   // RIGHT alignRight: 3200 - 533
    {"right", {0, 250, 800, 605}},      // LEFT alignLeft: the whole cycle, wrapped
    {"left", {2667, 238, 533, 573}},    // forwards (wrapped) to RIGHT alignRight
    {"left", {2293, 238, 533, 573}},    // RIGHT original
    {"up", {2293, 25, 533, 999}},       // full height on RIGHT
    {"up", {1925, 30, 1270, 989}},      // full screen on RIGHT, 5 short on every side
    {"up", {100, 100, 800, 605}},       // home, back on LEFT
    {"down", {100, 100, 800, 605}, true}, {"down", {100, 100, 800, 605}},  // restored where it was
};

}  // namespace tarn::testing
