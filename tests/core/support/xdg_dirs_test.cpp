#include <gtest/gtest.h>

#include "core/support/app_support.h"
#include "tests/support/temp_dir.h"

namespace tarn::support {
namespace {

using Paths = std::vector<std::filesystem::path>;

TEST(XdgDirsTest, HomesMustBeAbsoluteElseTheyLiveUnderHome) {
    testing::ScopedEnv home("HOME", "/home/me");
    testing::ScopedEnv data("XDG_DATA_HOME", "relative/share");
    testing::ScopedEnv config("XDG_CONFIG_HOME", "/custom/config");
    EXPECT_EQ(xdgDataHome(), std::filesystem::path("/home/me/.local/share"));
    EXPECT_EQ(xdgConfigHome(), std::filesystem::path("/custom/config"));
}

TEST(XdgDirsTest, SearchListsDropRelativeEntriesAndDefaultWhenUnsetOrEmpty) {
    {
        testing::ScopedEnv data("XDG_DATA_DIRS", "/a:relative::/b/");
        testing::ScopedEnv config("XDG_CONFIG_DIRS", nullptr);
        EXPECT_EQ(xdgDataDirs(), (Paths{"/a", "/b/"}));
        EXPECT_EQ(xdgConfigDirs(), Paths{"/etc/xdg"});
    }
    testing::ScopedEnv data("XDG_DATA_DIRS", "");
    EXPECT_EQ(xdgDataDirs(), (Paths{"/usr/local/share/", "/usr/share/"}));
}

}  // namespace
}  // namespace tarn::support
