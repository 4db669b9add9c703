#include "core/window/windows.h"

#include <gtest/gtest.h>

#include "tests/common/fake_desktop.h"
#include "tests/common/rect_assert.h"

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

    // A window with a minimum size keeps it; the frame is written once, in one piece, and
    // never read back or retried.
    desktop.window(7)->minSize = Size{900, 600};
    setWindowFrame(desktop, 7, {640, 212.5, 800, 500});
    EXPECT_EQ(desktop.windowWrites,
              (std::vector<WindowWrite>{{7, Rect{640, 212.5, 800, 500}, {}}}));
    EXPECT_EQ(desktop.window(7)->frame, (Rect{640, 212.5, 900, 600}));
}

}  // namespace
}  // namespace tarn::window
