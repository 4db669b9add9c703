#include "core/window/windows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "core/window/window_state.h"
#include "support/files.h"
#include "tests/common/fake_desktop.h"
#include "tests/common/golden.h"
#include "tests/common/rect_assert.h"
#include "tests/common/temp_dir.h"

namespace tarn::window {
namespace {

using platform::Point;
using platform::Rect;
using platform::Size;
using testing::FakeDesktop;
using testing::WindowWrite;

FakeDesktop editorDesktop() {
    FakeDesktop desktop;
    auto& app = desktop.addApp(42, "com.example.editor", "Editor");
    app.addWindow(7, {100, 125, 800, 500});
    app.addWindow(8, {0, 0, 10, 10});
    app.focused = 8;
    desktop.frontmost = 42;
    return desktop;
}

TEST(WindowAccessTest, FrontmostWindowReadsAndFrameWrite) {
    FakeDesktop desktop = editorDesktop();
    auto found = getFrontmostWindow(desktop);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->window, 8u);
    EXPECT_EQ(found->app.pid, 42);
    EXPECT_EQ(found->app.localizedName, "Editor");
    // No frontmost application, no focused window (read without a value, failed read), or a
    // frontmost application the window system does not know.
    for (auto spoil :
         {+[](FakeDesktop& d) { d.frontmost.reset(); },
          +[](FakeDesktop& d) { d.apps[0].focused.reset(); },
          +[](FakeDesktop& d) { d.apps[0].focusedWindowError = platform::ax::failure; },
          +[](FakeDesktop& d) { d.frontmost = 99; }}) {
        FakeDesktop spoilt = editorDesktop();
        spoil(spoilt);
        EXPECT_FALSE(getFrontmostWindow(spoilt));
    }

    EXPECT_EQ(getAllWindows(desktop, desktop.apps[0].info),
              (std::vector<platform::WindowId>{7, 8}));
    EXPECT_TRUE(getAllWindows(desktop, platform::AppInfo{99, {}, {}, true}).empty());

    desktop.window(8)->minimized = true;
    EXPECT_TRUE(isWindowMinimized(desktop, 8));
    EXPECT_FALSE(isWindowMinimized(desktop, 7));
    EXPECT_FALSE(isWindowMinimized(desktop, 1234));  // unreadable counts as not minimised

    EXPECT_EQ(getWindowFrame(desktop, 7), (Rect{100, 125, 800, 500}));
    desktop.window(7)->frameReadable = false;
    EXPECT_FALSE(getWindowFrame(desktop, 7));
    EXPECT_FALSE(getWindowFrame(desktop, 1234));

    // A window with a minimum size keeps it; the frame is written once, position first, and
    // never read back or retried.
    desktop.window(7)->minSize = Size{900, 600};
    setWindowFrame(desktop, 7, {640, 212.5, 800, 500});
    EXPECT_EQ(desktop.windowWrites, (std::vector<WindowWrite>{{7, Point{640, 212.5}, {}, {}},
                                                              {7, {}, Size{800, 500}, {}}}));
    EXPECT_EQ(desktop.window(7)->frame, (Rect{640, 212.5, 900, 600}));
}

class StateFileTest : public ::testing::Test {
  protected:
    void writeState(const std::string& text) {
        ASSERT_FALSE(support::writeFileAtomically(stateFile, text));
    }

    testing::TempDir dir;
    std::filesystem::path stateFile = dir.path() / "state.json";
    std::ostringstream diagnostics;
};

using FindMinimizedWindowTest = StateFileTest;

TEST_F(FindMinimizedWindowTest, FirstMinimisedWindowOfTheFirstTrackedApplication) {
    FakeDesktop desktop;
    // Untracked, though it has a minimised window.
    desktop.addApp(1, "com.example.mail", "Mail").addWindow(10, {}, true);
    // No name: never tracked.
    desktop.addApp(2, std::nullopt, std::nullopt).addWindow(20, {}, true);
    // Tracked (an entry of any kind counts) but nothing minimised.
    desktop.addApp(3, "com.example.notes", "Notes").addWindow(30);
    // Tracked under its key with the space replaced: the second and third are minimised.
    auto& editor = desktop.addApp(4, "com.example.editor", "My Editor");
    editor.addWindow(40);
    editor.addWindow(41, {}, true);
    editor.addWindow(42, {}, true);
    desktop.addApp(5, "com.example.term", "Term").addWindow(50, {}, true);
    EXPECT_FALSE(findMinimizedWindow(desktop, stateFile, diagnostics));  // nothing tracked yet
    writeState(R"({"values":{"window_Notes":3,"window_My_Editor":"x","window_Term":"y"}})");

    auto found = findMinimizedWindow(desktop, stateFile, diagnostics);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->window, 41u);
    EXPECT_EQ(found->app.pid, 4);
    EXPECT_EQ(found->appName, "My Editor");
    EXPECT_EQ(diagnostics.str(), testing::golden("core/window/golden/find_minimized.txt"));
}

using MinimizedRestoreTest = StateFileTest;

TEST_F(MinimizedRestoreTest, ResetsTheVerticalStateAndKeepsOtherEntries) {
    FakeDesktop desktop = editorDesktop();
    desktop.window(7)->minimized = true;
    writeState(testing::golden("core/window/golden/restore_state.json"));

    handleMinimizedWindowRestore(desktop, desktop, stateFile, "Editor", 7, diagnostics);

    EXPECT_FALSE(desktop.window(7)->minimized);
    EXPECT_EQ(desktop.windowWrites, (std::vector<WindowWrite>{{7, {}, {}, false}}));
    EXPECT_EQ(desktop.sleeps, (std::vector<std::uint32_t>{100000}));
    auto record = loadWindowState("Editor", stateFile);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->verticalState, 0);
    EXPECT_EQ(record->horizontalState, 2);
    EXPECT_EQ(record->currentFrame, (WindowState::WindowFrame{0, 25, 800, 875, 0}));
    EXPECT_THAT(*support::readFile(stateFile), ::testing::HasSubstr(R"("browser" : "Safari")"));
    EXPECT_EQ(diagnostics.str(),
              "DEBUG: Restoring minimized window (early return path)\n"
              "DEBUG: Updated state to vState=0 after restore\n"
              "DEBUG: Saved state after early restore\n");
}

}  // namespace
}  // namespace tarn::window
