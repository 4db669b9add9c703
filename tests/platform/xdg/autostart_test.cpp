#include "platform/xdg/autostart.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/files.h"
#include "tests/common/temp_dir.h"

namespace tarn::platform::xdg {
namespace {

TEST(Autostart, ExecLineQuotesAsTheDesktopEntrySpecificationSays) {
    const std::pair<std::vector<std::string>, std::string> rows[] = {
        {{"/usr/bin/wendle"}, "Exec=/usr/bin/wendle"},
        {{"/opt/my apps/wendle", "--headless"}, R"(Exec="/opt/my apps/wendle" --headless)"},
        {{"/a$b\\c", "50%", ""}, R"(Exec="/a\\$b\\\\c" 50%% "")"},
    };
    for (const auto& [command, exec] : rows) {
        auto text = autostartEntry(command);
        EXPECT_NE(text.find("\n" + exec + "\n"), std::string::npos) << text;
        EXPECT_TRUE(text.starts_with("[Desktop Entry]\nType=Application\nName=Wendle\n")) << text;
    }
}

TEST(Autostart, RegisteredReadAndRemoved) {
    testing::TempDir dir;
    testing::ScopedEnv configHome("XDG_CONFIG_HOME", dir.path().c_str());
    auto item = makeLoginItem({"/usr/bin/wendle"});
    const auto file = dir.path() / "autostart" / "wendle.desktop";
    ASSERT_EQ(item->file(), file);
    EXPECT_EQ(item->status(), LoginItemStatus::notRegistered);

    std::string error;
    ASSERT_TRUE(item->registerItem(error)) << error;
    EXPECT_EQ(support::readFile(file), autostartEntry({"/usr/bin/wendle"}));
    EXPECT_EQ(item->status(), LoginItemStatus::enabled);
    struct stat info {};
    ASSERT_EQ(::stat(file.c_str(), &info), 0);
    mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(info.st_mode & 0777, 0600 & ~mask);  // the shared writer's mode for new files

    // Turned off by the desktop's settings: the file stays, the item is not enabled.
    for (const char* off : {"Hidden=true", "X-GNOME-Autostart-enabled=false"}) {
        ASSERT_FALSE(support::writeFileAtomically(
            file, "[Desktop Entry]\nType=Application\n" + std::string(off) + "\n"));
        EXPECT_EQ(item->status(), LoginItemStatus::notRegistered) << off;
    }

    for (int twice = 0; twice < 2; ++twice) {
        ASSERT_TRUE(item->unregisterItem(error)) << error;
        EXPECT_FALSE(std::filesystem::exists(file));
        EXPECT_EQ(item->status(), LoginItemStatus::notRegistered);
    }
}

TEST(Autostart, UnwritableFolderIsAnError) {
    testing::TempDir dir;
    const auto blocker = dir.path() / "autostart";
    ASSERT_FALSE(support::writeFileAtomically(blocker, "a file where the folder goes"));
    AutostartLoginItem item(blocker / "wendle.desktop", {"wendle"});
    std::string error;
    EXPECT_FALSE(item.registerItem(error));
    EXPECT_NE(error.find("cannot write"), std::string::npos) << error;
    AutostartLoginItem nowhere({}, {"wendle"});  // no home: nothing to write, nothing to remove
    EXPECT_FALSE(nowhere.registerItem(error));
    EXPECT_TRUE(nowhere.unregisterItem(error));
}

}  // namespace
}  // namespace tarn::platform::xdg
