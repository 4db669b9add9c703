#include "agent/app_delegate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "agent/config_json.h"
#include "support/files.h"
#include "tests/agent/agent_fakes.h"
#include "tests/common/golden.h"

namespace tarn::agent {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

RootConfig withRule(std::int64_t keyCode) {
    return {.globalRules = {{.id = testing::ruleId(1), .chord = {keyCode, {6}}}}};
}

class AppDelegateTest : public ::testing::Test, public testing::FakeAgent<> {
  protected:
    void writeFile(const std::string& text) { std::ofstream(file()) << text; }
    // The log without the rule engine's own lines, which its tests cover.
    std::string transcript() {
        std::string text;
        for (const auto& entry : log.entries()) {
            if (entry.category != LogCategory::ruleEngine) text += entry.message + "\n";
        }
        return text;
    }
    AppDelegate& launch() {
        delegate.emplace(parts(
            [this] {
                auto desktop = std::make_unique<testing::FakeDesktop>();
                desktop->trusted = trusted;
                desktop->untrusted = "no XTEST";
                if (windowManager) {
                    desktop->addApp(20, "org.other", "Other");
                } else {
                    desktop->focusedElement = platform::ax::failure;  // nothing to probe
                }
                return platform::DesktopChoice{std::move(desktop), {}};
            },
            [this](const std::string& why) { lost = why; }));
        delegate->applicationDidFinishLaunching();
        return *delegate;
    }

    bool trusted = true;
    bool windowManager = true;
    std::optional<std::string> lost;
    std::optional<AppDelegate> delegate;
};

TEST_F(AppDelegateTest, AFirstLaunchLeavesAFileBehindAndQuittingWritesAPendingChange) {
    launch();
    EXPECT_TRUE(source.running());
    EXPECT_NE(delegate->interceptor(), nullptr);
    EXPECT_FALSE(std::filesystem::exists(file()));
    mainLoop.advance(ConfigStore::kSaveDelay);
    EXPECT_TRUE(std::filesystem::exists(file()));

    // Quitting writes a pending change; a lost display reaches the entry on the main loop.
    mainLoop.advance(1s);
    store.setConfig(withRule(126));
    delegate->prepareToQuit();
    EXPECT_FALSE(source.running());
    EXPECT_THAT(source.chords, ElementsAre(platform::Chord{126, 6}));
    EXPECT_EQ(support::readFile(file()), configText(withRule(126)));

    delegate->startInterceptionIfPossible();
    source.loseDisplay("the X server closed the connection");
    EXPECT_FALSE(lost);
    mainLoop.advance(0ms);
    EXPECT_EQ(lost, "the X server closed the connection");
}

// The trust check is logged at each of its three askings; the instructions line by line.
TEST_F(AppDelegateTest, WithoutTrustThereIsNoInterceptorAndTheInstructionsAreLogged) {
    writeFile(configText(withRule(124)));
    trusted = false;
    launch();
    EXPECT_EQ(transcript(), testing::golden("agent/golden/untrusted_launch.txt"));
    EXPECT_EQ(source.starts, 0);
    EXPECT_EQ(delegate->interceptor(), nullptr);
}

TEST_F(AppDelegateTest, ANonFunctionalDesktopOrARefusedKeySourceLeavesNoInterceptor) {
    windowManager = false;
    launch();
    EXPECT_THAT(
        transcript(),
        HasSubstr("\n⚠️ Accessibility appears enabled but is non-functional: failure\n"));
    EXPECT_THAT(transcript(), HasSubstr("\nAccessibility Permission Required\n"));
    EXPECT_EQ(source.starts, 0);

    windowManager = true;
    source.refuseStart = true;
    launch();
    EXPECT_THAT(transcript(), HasSubstr("\n❌ Failed to start keystroke interceptor: The event tap "
                                        "could not be created: no keyboard here\n"));
    EXPECT_EQ(delegate->interceptor(), nullptr);
}

TEST_F(AppDelegateTest, TheChordSetFollowsTheFileAndOnlyOutsideEditsAreReloaded) {
    writeFile(configText(withRule(124)));
    launch();
    EXPECT_THAT(source.chords, ElementsAre(platform::Chord{124, 6}));
    mainLoop.advance(1s);

    // An edit by hand is loaded once the file has held still, and left as it was written.
    const std::string edit = "{ " + configText(withRule(123)).substr(1);  // not the agent's form
    writeFile(edit);
    mainLoop.advance(ConfigWatch::kInterval * 2 + ConfigStore::kSaveDelay);
    EXPECT_THAT(source.chords, ElementsAre(platform::Chord{123, 6}));
    EXPECT_THAT(transcript(), HasSubstr("\nReloading the configuration: the configuration file "
                                        "changed outside Wendle\n"));
    mainLoop.advance(10s);
    EXPECT_EQ(support::readFile(file()), edit);

    log.takeMessages();
    store.setConfig(withRule(125));
    mainLoop.advance(2s);
    EXPECT_THAT(source.chords, ElementsAre(platform::Chord{125, 6}));
    EXPECT_THAT(transcript(), Not(HasSubstr("Reloading")));
}

// The fault: with `wendle` running, `{ head -c 700 demo.json; sleep 1; tail -c +701
// demo.json; } > wendle-config.json` left {"globalRules":[],"appConfigs":[]} in the file and
// every hotkey unbound: the half was read once it had held still for half a second, copied
// aside, and an empty configuration renamed over the path, so the writer's second half went
// to a file no longer there.
TEST_F(AppDelegateTest, AFileWrittenSlowlyIsReadWholeInTheEndAndNeverWrittenBack) {
    const std::string before = configText(withRule(124));
    writeFile(before);
    launch();
    mainLoop.advance(1s);
    const std::string demo = testing::golden("../scripts/demo-wendle-config.json");
    ASSERT_GT(demo.size(), 700u);
    std::ofstream writer(file(), std::ios::binary | std::ios::trunc);
    writer << demo.substr(0, 700) << std::flush;
    mainLoop.advance(1s);  // the pause: the half holds still for four looks
    EXPECT_THAT(transcript(),
                HasSubstr("\nwendle-config.json could not be read (it is not a readable "
                          "configuration); Wendle keeps the configuration it has and reads the "
                          "file again when it next changes\n"));
    EXPECT_THAT(source.chords, ElementsAre(platform::Chord{124, 6}));  // still bound
    writer << demo.substr(700) << std::flush;
    writer.close();
    mainLoop.advance(2s);
    EXPECT_EQ(support::readFile(file()), demo);
    EXPECT_THAT(testing::backupsOf(file()), ::testing::IsEmpty());
    EXPECT_EQ(store.config(), decodeConfigText(demo)->config);
    EXPECT_THAT(source.chords, ::testing::SizeIs(7));
}

TEST_F(AppDelegateTest, ARefusedChordIsReportedOnceWhileItStaysRefused) {
    writeFile(configText(withRule(124)));
    source.status = {{{124, 6}, platform::ChordGrab::takenByOther},
                     {{125, 6}, platform::ChordGrab::grabbed}};
    launch();
    mainLoop.advance(1s);
    const std::string refused = "Hotkey ⌃⌥→ is already taken by another program; it stays unbound";
    EXPECT_THAT(log.takeMessages(), Contains(refused));
    store.setConfig(withRule(124));
    mainLoop.advance(1s);
    EXPECT_THAT(log.takeMessages(), Not(Contains(refused)));
    source.status.clear();  // freed by the other program, then taken again
    store.setConfig(withRule(124));
    mainLoop.advance(1s);
    source.status = {{{124, 6}, platform::ChordGrab::takenByOther}};
    store.setConfig(withRule(124));
    mainLoop.advance(1s);
    EXPECT_THAT(log.takeMessages(), Contains(refused));
}

}  // namespace
}  // namespace tarn::agent
