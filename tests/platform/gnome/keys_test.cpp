// Chords as the shell's accelerators: the modifiers in the order the shell writes them, the
// key by its xkbcommon name, and no accelerator for a key code without a key.
#include <gtest/gtest.h>

#include "platform/gnome/keys.h"

namespace tarn::platform::gnome {
namespace {

struct Case {
    Chord chord;
    std::optional<std::string> accelerator;
};

const Case kCases[] = {
    {{123, 6}, "<Control><Alt>Left"},
    {{124, 14}, "<Control><Alt><Super>Right"},
    {{37, 15}, "<Shift><Control><Alt><Super>l"},
    {{33, 2}, "<Control>bracketleft"},
    {{36, 0}, "Return"},
    {{18, 8}, "<Super>1"},
    {{0x7fff, 2}, std::nullopt},
    {{-1, 2}, std::nullopt},
};

TEST(GnomeAccelerators, NameTheChordsKeyAndModifiers) {
    for (const Case& c : kCases) {
        EXPECT_EQ(acceleratorFor(c.chord), c.accelerator)
            << c.chord.keyCode << "/" << c.chord.modifiers;
    }
}

}  // namespace
}  // namespace tarn::platform::gnome
