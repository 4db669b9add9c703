#include "platform/sim/sim_agent.h"

#include <gtest/gtest.h>

#include "support/files.h"
#include "tests/common/temp_dir.h"

namespace tarn::platform::sim {
namespace {

TEST(SimKeySource, CallsBackForInstalledChordsOnlyWhileRunning) {
    SimKeySource source;
    std::vector<KeyDown> seen;
    std::vector<std::string> lost;
    const Chord ctrlT{17, 2};
    source.setChords({ctrlT, {0, 8}});
    source.holdElsewhere({{0, 8}});
    const KeyDown press{.keyCode = 17, .flags = keyflags::control | 0x10000, .marker = {}};
    EXPECT_EQ(source.press(press), std::nullopt);  // not started

    std::string error;
    ASSERT_TRUE(source.start(
        [&](const KeyDown& key) {
            seen.push_back(key);
            return KeyVerdict::swallow;
        },
        [&](const std::string& reason) { lost.push_back(reason); }, error));
    EXPECT_EQ(source.chordStatus(), (std::vector<ChordStatus>{{{0, 8}, ChordGrab::takenByOther},
                                                              {ctrlT, ChordGrab::grabbed}}));
    EXPECT_EQ(source.press(press), KeyVerdict::swallow);
    EXPECT_EQ(source.press({.keyCode = 17, .flags = 0, .marker = {}}), std::nullopt);
    EXPECT_EQ(source.press({.keyCode = 0, .flags = keyflags::command, .marker = {}}), std::nullopt);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].flags, press.flags);

    source.loseDisplay("gone");
    source.loseDisplay("gone again");
    EXPECT_EQ(lost, std::vector<std::string>{"gone"});
    EXPECT_FALSE(source.running());
}

TEST(SimAppEvents, ReadsTheDesktopFileAndNotifiesOnRequest) {
    testing::TempDir dir;
    const auto file = dir.path() / "desktop.json";
    ASSERT_FALSE(support::writeFileAtomically(file, R"({"apps": [
        {"pid": 1, "bundleID": "org.example.Zed", "name": "Zed"},
        {"pid": 2, "bundleID": "org.example.Daemon", "regular": false}],
        "frontmost": {"pid": 2}})"));
    SimAppEvents events(file);
    int activations = 0, changes = 0;
    std::string error;
    ASSERT_TRUE(events.start([&] { ++activations; }, [&] { ++changes; }, error));
    events.activated();
    events.launchedOrTerminated();
    events.launchedOrTerminated();
    EXPECT_EQ(activations, 1);
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(events.frontmostApplication()->bundleID, "org.example.Daemon");
    auto apps = events.runningApplications();
    ASSERT_EQ(apps.size(), 2u);
    EXPECT_TRUE(apps[0].regularActivationPolicy);
    EXPECT_FALSE(apps[1].regularActivationPolicy);

    events.stop();
    events.activated();
    EXPECT_EQ(activations, 1);
}

}  // namespace
}  // namespace tarn::platform::sim
