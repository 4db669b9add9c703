#include <gtest/gtest.h>

#include "agent/config.h"

namespace tarn::agent {
namespace {

using Mod = KeyChord::Modifiers;

TEST(KeyChord, DisplayNameAndDescription) {
    struct Case {
        KeyChord chord;
        const char* displayName;
        const char* description;
    };
    const Case cases[] = {
        {{124, {Mod::control | Mod::option}}, "⌃⌥→", "⌃⌥124"},
        {{200, {Mod::command}}, "⌘keyCode:200", "⌘200"},  // a code without a name
        {{0, {15}}, "⌃⌥⇧⌘A", "⌃⌥⇧⌘0"},                    // always in this order
        {{117, {0}}, "Del→", "117"},
        {{50, {Mod::shift}}, "⇧`", "⇧50"},
        {{36, {16 | Mod::option}}, "⌥Return", "⌥36"},  // unknown bits show nothing
        {{-1, {0}}, "keyCode:-1", "-1"},
        {{42, {Mod::control}}, "⌃\\", "⌃42"},
        {{90, {0}}, "F20", "90"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.chord.displayName(), c.displayName);
        EXPECT_EQ(c.chord.description(), c.description) << c.displayName;
    }
}

}  // namespace
}  // namespace tarn::agent
