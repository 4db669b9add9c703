// What the sway backend reads from sway's IPC answers and configuration, on texts shaped like
// sway's own.
#include <gtest/gtest.h>

#include "platform/sway/bindings.h"
#include "platform/sway/tree.h"
#include "platform/sway/windows.h"

namespace tarn::platform::sway {
namespace {

using support::Json;

Json output(DisplayId id, const char* name, int x, int y, int w, int h, bool active = true) {
    return {{"id", id},
            {"name", name},
            {"active", active},
            {"rect", {{"x", x}, {"y", y}, {"width", w}, {"height", h}}}};
}

TEST(SwayOutputs, OriginFirstThenLeftToRightAndOnlyActiveOnes) {
    // sway lists outputs in the order they came; the one at the origin is the primary.
    Json outputs = Json::array(
        {output(7, "DP-2", 1920, 0, 1280, 1024), output(9, "HDMI-1", -1080, -500, 1080, 1920),
         output(4, "eDP-1", 0, 0, 1920, 1080), output(5, "DP-3", 0, 0, 800, 600, false)});
    std::vector<std::string> names;
    for (const auto& found : activeOutputs(outputs)) names.push_back(found.name);
    EXPECT_EQ(names, (std::vector<std::string>{"eDP-1", "HDMI-1", "DP-2"}));
    // None at the origin: the left-most, top-most first.
    names.clear();
    for (const auto& found :
         activeOutputs(Json::array({output(1, "B", 100, 0, 10, 10), output(2, "A", 50, 9, 10, 10),
                                    output(3, "C", 50, 0, 10, 10)}))) {
        names.push_back(found.name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"C", "A", "B"}));
    EXPECT_TRUE(activeOutputs(Json("not a list")).empty());
    // Read from the tree: its outputs, less the scratchpad's pseudo-output.
    Json tree = {{"type", "root"},
                 {"nodes", Json::array({output(1, "__i3", 0, 0, 3200, 1080),
                                        output(7, "DP-2", 1920, 0, 1280, 1024),
                                        output(4, "eDP-1", 0, 0, 1920, 1080)})}};
    for (auto& node : tree["nodes"]) node["type"] = "output";
    auto fromTree = outputsOfTree(tree);
    ASSERT_EQ(fromTree.size(), 2u);
    EXPECT_EQ(fromTree[0].id, 4u);
    EXPECT_EQ(fromTree[1].bounds, (Rect{1920, 0, 1280, 1024}));
}

TEST(SwayTree, WindowsWithOuterFramesIdentityAndScratchpad) {
    auto rect = [](int x, int y, int w, int h) {
        return Json{{"x", x}, {"y", y}, {"width", w}, {"height", h}};
    };
    Json tree = Json::parse(R"({"type":"root","nodes":[
      {"type":"output","name":"__i3","nodes":[{"type":"workspace","name":"__i3_scratch",
        "nodes":[],"floating_nodes":[{"type":"floating_con","id":12,"pid":30,"app_id":"Hidden",
          "marks":["_tarn-frame:1:2:3:4"],"rect":{},"deco_rect":{}}]}]},
      {"type":"output","name":"HEADLESS-1","nodes":[{"type":"workspace","name":"1",
        "nodes":[{"type":"con","id":3,"layout":"splith","nodes":[
          {"type":"con","id":10,"pid":20,"app_id":null,"name":"xterm","focused":true,
           "window_properties":{"class":"XTerm"}}]}],
        "floating_nodes":[{"type":"floating_con","id":11,"pid":21,"app_id":"Editor"}]}]}]})");
    tree["nodes"][1]["nodes"][0]["nodes"][0]["nodes"][0]["rect"] = rect(100, 125, 800, 555);
    tree["nodes"][1]["nodes"][0]["nodes"][0]["nodes"][0]["deco_rect"] = rect(0, 0, 800, 25);
    auto windows = windowsOfTree(tree);
    ASSERT_EQ(windows.size(), 3u);
    EXPECT_EQ(windows[0].id, 12u);
    EXPECT_TRUE(windows[0].inScratchpad);
    EXPECT_EQ(windows[0].marks, std::vector<std::string>{"_tarn-frame:1:2:3:4"});
    // The split container that holds it is no window; an XWayland window is its X class.
    EXPECT_EQ(windows[1].id, 10u);
    EXPECT_EQ(windows[1].appId, "XTerm");
    EXPECT_FALSE(windows[1].inScratchpad);
    EXPECT_EQ(windows[1].frame, (Rect{100, 100, 800, 580}));  // the title bar is the frame's
    EXPECT_EQ(windows[2].appId, "Editor");
    EXPECT_EQ(frontmostOf(windows)->pid, 20);
    EXPECT_EQ(applicationsOf(windows).size(), 3u);
}

TEST(SwayTree, AMinimisedWindowKeepsItsFrameInAMark) {
    for (Rect frame : {Rect{100, 25, 800, 605}, Rect{-1080, -500, 1, 1}}) {
        EXPECT_EQ(frameOfMark(frameMark(frame)), frame);
    }
    for (const char* other : {"_tarn-frame:1:2:3", "_tarn-frame:a:2:3:4", "frame:1:2:3:4", ""}) {
        EXPECT_FALSE(frameOfMark(other)) << other;
    }
}

TEST(SwayBindings, ChordsInBindsymWordsAndBack) {
    EXPECT_EQ(comboOf({124, 2 | 4}), "Ctrl+Mod1+Right");
    EXPECT_EQ(comboOf({0, 1 | 8}), "Shift+Mod4+a");
    EXPECT_FALSE(comboOf({0x7fff, 2}));  // no key there
    EXPECT_EQ(chordOfCommand(bindingCommand({124, 6})), (Chord{124, 6}));
    for (const char* other : {"nop tarn-wendle 124", "nop other 124 6", "exec tarn-wendle 1 2",
                              "nop tarn-wendle 124 99"}) {
        EXPECT_FALSE(chordOfCommand(other)) << other;
    }
}

TEST(SwayBindings, TheConfigurationsOwnBindingsInEverySpelling) {
    const auto bound = combosBoundBy(R"(# a user's config
set $mod Mod4
set $left h
bindsym $mod+$left focus left
  bindsym --no-repeat --to-code Control+Alt+Right exec foo
bindsym {
    $mod+Shift+e exit
}
mode "resize" {
    bindsym Ctrl+Alt+Up resize grow height
}
# bindsym Ctrl+Alt+Down commented out
)");
    EXPECT_EQ(bound, (std::set<std::string>{"mod4+h", "ctrl+mod1+right", "mod4+shift+e"}));
    EXPECT_TRUE(bound.count(normalCombo("Alt+Ctrl+right")));
    EXPECT_FALSE(bound.count(normalCombo("Ctrl+Alt+Up")));  // only in the resize mode
}

}  // namespace
}  // namespace tarn::platform::sway
