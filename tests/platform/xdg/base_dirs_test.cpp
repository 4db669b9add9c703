#include <gtest/gtest.h>

#include "platform/xdg/base_dirs.h"
#include "tests/common/temp_dir.h"

namespace tarn::platform::xdg {
namespace {

using Paths = std::vector<std::filesystem::path>;

TEST(XdgDirsTest, RelativeHomesAndSearchListEntriesAreDroppedForDefaults) {
    tarn::testing::ScopedEnv home("HOME", "/home/me");
    tarn::testing::ScopedEnv data("XDG_DATA_HOME", "relative/share");
    EXPECT_EQ(dataHome(), std::filesystem::path("/home/me/.local/share"));
    {
        tarn::testing::ScopedEnv dirs("XDG_DATA_DIRS", "/a:relative::/b/");
        tarn::testing::ScopedEnv config("XDG_CONFIG_DIRS", nullptr);
        EXPECT_EQ(dataDirs(), (Paths{"/a", "/b/"}));
        EXPECT_EQ(configDirs(), Paths{"/etc/xdg"});
    }
    tarn::testing::ScopedEnv noDirs("XDG_DATA_DIRS", "");
    EXPECT_EQ(dataDirs(), (Paths{"/usr/local/share/", "/usr/share/"}));
}

}  // namespace
}  // namespace tarn::platform::xdg
