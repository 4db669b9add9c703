#include "platform/mac_keys.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tarn::platform {

std::uint32_t keySymForMacKey(std::uint16_t macKeyCode) {
    // Key symbol values are the same in X11 and xkbcommon; the names are the X ones.
    static constexpr std::pair<std::uint16_t, std::uint32_t> table[] = {
        // Letters
        {0, 0x61},   // a
        {11, 0x62},  // b
        {8, 0x63},   // c
        {2, 0x64},   // d
        {14, 0x65},  // e
        {3, 0x66},   // f
        {5, 0x67},   // g
        {4, 0x68},   // h
        {34, 0x69},  // i
        {38, 0x6a},  // j
        {40, 0x6b},  // k
        {37, 0x6c},  // l
        {46, 0x6d},  // m
        {45, 0x6e},  // n
        {31, 0x6f},  // o
        {35, 0x70},  // p
        {12, 0x71},  // q
        {15, 0x72},  // r
        {1, 0x73},   // s
        {17, 0x74},  // t
        {32, 0x75},  // u
        {9, 0x76},   // v
        {13, 0x77},  // w
        {7, 0x78},   // x
        {16, 0x79},  // y
        {6, 0x7a},   // z
        // Digits
        {29, 0x30},  // 0
        {18, 0x31},  // 1
        {19, 0x32},  // 2
        {20, 0x33},  // 3
        {21, 0x34},  // 4
        {23, 0x35},  // 5
        {22, 0x36},  // 6
        {26, 0x37},  // 7
        {28, 0x38},  // 8
        {25, 0x39},  // 9
        // Punctuation
        {27, 0x2d},  // minus
        {24, 0x3d},  // equal
        {33, 0x5b},  // bracketleft
        {30, 0x5d},  // bracketright
        {39, 0x27},  // apostrophe
        {41, 0x3b},  // semicolon
        {42, 0x5c},  // backslash
        {43, 0x2c},  // comma
        {44, 0x2f},  // slash
        {47, 0x2e},  // period
        {50, 0x60},  // grave
        // Editing and navigation (the Help key sits where PC keyboards have Insert)
        {36, 0xff0d},   // Return
        {48, 0xff09},   // Tab
        {49, 0x20},     // space
        {51, 0xff08},   // BackSpace
        {53, 0xff1b},   // Escape
        {117, 0xffff},  // Delete
        {114, 0xff63},  // Insert
        {115, 0xff50},  // Home
        {119, 0xff57},  // End
        {116, 0xff55},  // Prior
        {121, 0xff56},  // Next
        {123, 0xff51},  // Left
        {124, 0xff53},  // Right
        {125, 0xff54},  // Down
        {126, 0xff52},  // Up
        // Modifier keys themselves
        {55, 0xffeb},  // Super_L
        {54, 0xffec},  // Super_R
        {56, 0xffe1},  // Shift_L
        {60, 0xffe2},  // Shift_R
        {57, 0xffe5},  // Caps_Lock
        {58, 0xffe9},  // Alt_L
        {61, 0xffea},  // Alt_R
        {59, 0xffe3},  // Control_L
        {62, 0xffe4},  // Control_R
        // Function keys
        {122, 0xffbe},  // F1
        {120, 0xffbf},  // F2
        {99, 0xffc0},   // F3
        {118, 0xffc1},  // F4
        {96, 0xffc2},   // F5
        {97, 0xffc3},   // F6
        {98, 0xffc4},   // F7
        {100, 0xffc5},  // F8
        {101, 0xffc6},  // F9
        {109, 0xffc7},  // F10
        {103, 0xffc8},  // F11
        {111, 0xffc9},  // F12
        {105, 0xffca},  // F13
        {107, 0xffcb},  // F14
        {113, 0xffcc},  // F15
        {106, 0xffcd},  // F16
        {64, 0xffce},   // F17
        {79, 0xffcf},   // F18
        {80, 0xffd0},   // F19
        {90, 0xffd1},   // F20
        // Keypad
        {82, 0xffb0},  // KP_0
        {83, 0xffb1},  // KP_1
        {84, 0xffb2},  // KP_2
        {85, 0xffb3},  // KP_3
        {86, 0xffb4},  // KP_4
        {87, 0xffb5},  // KP_5
        {88, 0xffb6},  // KP_6
        {89, 0xffb7},  // KP_7
        {91, 0xffb8},  // KP_8
        {92, 0xffb9},  // KP_9
        {65, 0xffae},  // KP_Decimal
        {67, 0xffaa},  // KP_Multiply
        {69, 0xffab},  // KP_Add
        {71, 0xff0b},  // Clear
        {75, 0xffaf},  // KP_Divide
        {76, 0xff8d},  // KP_Enter
        {78, 0xffad},  // KP_Subtract
        {81, 0xffbd},  // KP_Equal
        // Media
        {72, 0x1008ff13},  // XF86AudioRaiseVolume
        {73, 0x1008ff11},  // XF86AudioLowerVolume
        {74, 0x1008ff12},  // XF86AudioMute
    };
    auto it = std::find_if(std::begin(table), std::end(table),
                           [&](const auto& entry) { return entry.first == macKeyCode; });
    return it == std::end(table) ? 0 : it->second;
}

}  // namespace tarn::platform
