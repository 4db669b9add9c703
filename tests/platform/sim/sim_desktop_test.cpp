#include "platform/sim/sim_desktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/files.h"
#include "support/json_text.h"
#include "tests/common/golden.h"
#include "tests/common/temp_dir.h"

namespace tarn::platform::sim {
namespace {

using support::Json;
using ::testing::HasSubstr;

class SimDesktopTest : public ::testing::Test {
  protected:
    // Two displays, an editor with two windows (one with size limits, one fixed) and a nameless
    // background application whose one window cannot be read.
    void SetUp() override { write(testing::golden("platform/sim/golden/desktop.json")); }
    void write(const std::string& json) {
        ASSERT_FALSE(support::writeFileAtomically(file(), json));
        desktop_ = openSimDesktop(file());
    }
    std::filesystem::path file() const { return dir_.path() / "desktop.json"; }
    Json read() const { return *support::parseJson(*support::readFile(file())); }
    Desktop& desktop() { return *desktop_; }

  private:
    testing::TempDir dir_;
    std::unique_ptr<Desktop> desktop_;
};

// The command tests drive most of the file through tarn; what they do not reach is here.
TEST_F(SimDesktopTest, ReportsDisplaysApplicationsAndWindowsAsTheFileSays) {
    auto& displays = desktop().displays();
    EXPECT_EQ(displays.activeDisplays(), (std::vector<DisplayId>{7, 3}));
    EXPECT_EQ(displays.mainDisplay(), 7u);
    EXPECT_EQ(displays.bounds(3), (Rect{-1080, -400, 1080, 1920}));
    EXPECT_EQ(displays.bounds(99), Rect{});
    auto& ws = desktop().windowSystem();
    auto front = ws.frontmostApplication();
    ASSERT_TRUE(front);
    EXPECT_EQ(front->localizedName, "My Editor");
    auto apps = ws.runningApplications();
    ASSERT_EQ(apps.size(), 2u);
    EXPECT_FALSE(apps[1].bundleID);
    EXPECT_FALSE(apps[1].localizedName);
    EXPECT_FALSE(apps[1].regularActivationPolicy);
    EXPECT_EQ(ws.focusedWindow(100).window, WindowId{1});
    EXPECT_EQ(ws.focusedWindow(200).error, ax::noValue);
    EXPECT_EQ(ws.windows(100), (std::vector<WindowId>{1, 2}));
    EXPECT_FALSE(ws.position(9));
    EXPECT_FALSE(ws.size(42));
    ws.setPosition(1, {-5.5, 30});
    ws.setSize(1, {100, 1000});  // below minWidth, above maxHeight
    ws.setSize(2, {500, 500});   // not resizable
    ws.setMinimized(1, true);
    EXPECT_EQ(ws.position(1), (Point{-5.5, 30}));
    EXPECT_EQ(ws.size(1), (Size{400, 700}));
    EXPECT_EQ(ws.size(2), (Size{100, 100}));
    EXPECT_EQ(ws.isMinimized(1), true);
    auto window = read()["apps"][0]["windows"][0];
    EXPECT_EQ(window["x"], -5.5);
    EXPECT_EQ(window["width"], 400);
    EXPECT_EQ(window["minimized"], true);
}

TEST_F(SimDesktopTest, RecordsEventsInOrder) {
    desktop().keyboard().post({.keyCode = 36, .down = true, .flags = 0x100000, .marker = 77});
    desktop().keyboard().post({.keyCode = 36, .down = false, .flags = 0, .marker = {}});
    desktop().pointer().warp({12, 34.5});
    desktop().sleeper().sleepMicroseconds(1000);
    desktop().clipboard().writeText("hello");
    EXPECT_EQ(read()["events"], Json::parse(R"([
        {"type": "key", "code": 36, "down": true, "flags": 1048576, "marker": 77},
        {"type": "key", "code": 36, "down": false, "flags": 0, "marker": null},
        {"type": "pointer", "x": 12, "y": 34.5},
        {"type": "sleep", "us": 1000},
        {"type": "clipboard", "text": "hello"}])"));
    EXPECT_EQ(desktop().clipboard().readText(), "hello");
    EXPECT_EQ(desktop().pointer().location(), (Point{12, 34.5}));
}

TEST_F(SimDesktopTest, BadFilesThrowDesktopErrorNamingTheFile) {
    for (const char* bad : {"{", "[]", R"({"apps": {}})", R"({"events": 3})",
                            R"({"apps": [{"pid": "one"}], "frontmost": {"pid": 1}})"}) {
        write(bad);
        try {
            desktop().windowSystem().runningApplications();
            ADD_FAILURE() << bad;
        } catch (const DesktopError& e) {
            EXPECT_THAT(e.what(), HasSubstr(file().string())) << bad;
        }
    }
    std::filesystem::remove(file());
    EXPECT_THROW(desktop().displays().activeDisplays(), DesktopError);
}

}  // namespace
}  // namespace tarn::platform::sim
