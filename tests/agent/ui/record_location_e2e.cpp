// "Record Here" on the private X server of with-x11.sh: the settings window's saved locations
// editor reads a real window of the test client through the X11 backend, and the agent then
// cycles that window through the recorded location when its hotkey is pressed. The window's
// published icon stands in for a desktop entry. Checked with xwininfo/xprop (the harness's
// oracles), never through the code under test.
#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>

#include "agent/ui/app_icons.h"
#include "agent/ui/saved_locations_editor.h"
#include "platform/backend.h"
#include "support/files.h"
#include "tests/agent/ui/ui_fixture.h"
#include "tests/x11/harness.h"

namespace tarn::x11test {
namespace {

TEST(RecordHereOnX11, StoresTheOuterFrameAndScreenAndTheAgentCyclesThroughIt) {
    testing::TempDir home;
    std::string p = home.path().string();
    for (const char* sub : {"/.config/Tarn", "/run"}) std::filesystem::create_directories(p + sub);
    TestApp app = startApp(home, {"--class", "Editor", "--geometry", "640x480+2300+300"});
    std::string window = std::to_string(app.window());
    auto recorded = outerFrame(app.window());
    ASSERT_TRUE(recorded);

    agent::DiscardLog log;
    testing::ManualScheduler scheduler;
    agent::ConfigStore store(scheduler, agent::Logger(log, agent::LogCategory::appDelegate),
                             [&] { return p + "/.config/Tarn/wendle-config.json"; });
    auto right = testing::rule(124, 6, testing::moveWindow(agent::Action::MoveDirection::right));
    store.setConfig(  // ⌃⌥→
        {.globalRules = {right}, .appConfigs = {{.bundleID = "Editor", .displayName = "Editor"}}});
    auto desktop = platform::Backend().openDesktop();
    ASSERT_TRUE(desktop.desktop) << desktop.error;
    agent::ui::DesktopWindowAccess windows(desktop.desktop.get());
    testing::RecordingAlerts alerts;
    agent::ui::SavedLocationEditor(store, "Editor", windows, alerts).recordCurrentLocation(0);
    ASSERT_TRUE(alerts.shown.empty()) << alerts.shown[0].informative.toStdString();
    const auto& saved = store.config().appConfigs.at(0).savedLocations;
    ASSERT_EQ(saved.size(), 1u);
    EXPECT_TRUE(near(saved[0].frame, *recorded)) << describe(saved[0].frame);
    EXPECT_EQ(saved[0].screenIndex, 1);

    // Without a desktop entry, the icon is the window's own: of a 1×1 red and a 2×2 blue one,
    // the larger.
    run({"xprop", "-id", window, "-f", "_NET_WM_ICON", "32c", "-set", "_NET_WM_ICON",
         "1,1,4294901760,2,2,4278190335,4278190335,4278190335,4278190335"});
    QImage icon = agent::ui::DesktopAppIcons(windows, nullptr).icon("Editor").pixmap(18).toImage();
    EXPECT_EQ(QColor(icon.pixel(8, 8)).name().toStdString(), "#0000ff");
    scheduler.advance(agent::ConfigStore::kSaveDelay);

    // Elsewhere on the primary monitor, then through the right-hand cycle of both monitors:
    // the recorded frame comes up among the second monitor's steps.
    run({"xdotool", "windowmove", window, "200", "200"});
    ASSERT_TRUE(eventually([&] { return outerFrame(app.window()) != recorded; }));
    Child agent({"env", "HOME=" + p, "XDG_CONFIG_HOME=" + p + "/.config",
                 "XDG_RUNTIME_DIR=" + p + "/run", "WENDLE_LOG_STDERR=1", "DISPLAY=" + display(),
                 "sh", "-c", "exec \"$0\" --headless 2>>\"$1\"", WENDLE_BINARY, p + "/wendle.log"});
    auto logged = [&](const std::string& text) {
        return support::readFile(p + "/wendle.log").value_or("").find(text) != std::string::npos;
    };
    ASSERT_TRUE(
        eventually([&] { return logged("Keystroke interceptor started successfully"); }, 10s));
    bool reached = false;
    for (int press = 0; press < 12 && !reached; ++press) {
        auto before = outerFrame(app.window());
        run({"xdotool", "key", "ctrl+alt+Right"});
        eventually([&] { return outerFrame(app.window()) != before; });
        auto now = outerFrame(app.window());
        reached = now && near(*now, *recorded);
    }
    EXPECT_TRUE(reached) << support::readFile(p + "/wendle.log").value_or("");
    EXPECT_TRUE(logged("Found 1 saved location(s)"));
}

}  // namespace
}  // namespace tarn::x11test

int main(int argc, char** argv) {
    // The editor's widgets need an application; they are never shown.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication qt(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
