#include "support/files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "support/app_support.h"
#include "tests/common/temp_dir.h"

namespace tarn::support {
namespace {

using testing::ScopedEnv;
using testing::TempDir;

// Entries in dir: a temporary file left behind shows up here.
std::ptrdiff_t entriesIn(const std::filesystem::path& dir) {
    return std::distance(std::filesystem::directory_iterator(dir), {});
}

TEST(WriteFileAtomicallyTest, ReplacesWholeAndLeavesNoTemporaryFile) {
    TempDir dir;
    auto path = dir.path() / "f.json";
    ASSERT_FALSE(writeFileAtomically(path, "first, longer content"));
    ASSERT_FALSE(writeFileAtomically(path, "second"));
    EXPECT_EQ(readFile(path), "second");
    EXPECT_EQ(entriesIn(dir.path()), 1);
}

TEST(WriteFileAtomicallyTest, FailureLeavesTargetAloneAndNewFilesArePrivate) {
    TempDir dir;
    auto path = dir.path() / "f.json";
    std::filesystem::create_directory(path);  // rename over a directory fails
    auto error = writeFileAtomically(path, "x");
    ASSERT_TRUE(error);
    EXPECT_FALSE(error->empty());
    EXPECT_TRUE(std::filesystem::is_directory(path));
    EXPECT_EQ(entriesIn(dir.path()), 1);

    EXPECT_TRUE(writeFileAtomically(dir.path() / "missing" / "f.json", "x"));
    // A new file is the user's alone (0600), less what the umask takes; the mode used to come
    // from setting the umask to read it, racing with other threads.
    const mode_t before = ::umask(0);
    for (auto [mask, mode] : {std::pair<mode_t, mode_t>{022, 0600}, {077, 0600}, {0, 0600}}) {
        ::umask(mask);
        auto file = dir.path() / ("f" + std::to_string(mask));
        ASSERT_FALSE(writeFileAtomically(file, "x"));
        struct stat status {};
        ASSERT_EQ(::stat(file.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, mode) << "umask " << mask;
        EXPECT_EQ(::umask(mask), mask);
    }
    ::umask(before);
}

// A 4 MB ".config.json.tmp-PID-0" stayed for good after a kill -9 during a save. Rows: a name
// in the folder, whether the next save of config.json removes it.
TEST(WriteFileAtomicallyTest, TemporaryFilesOfKilledWritersAreRemovedByTheNextWriter) {
    const std::string dead = "4194305";  // beyond the largest pid Linux hands out
    const std::string alive = std::to_string(::getpid());
    const std::pair<std::string, bool> cases[] = {
        {".config.json.tmp-" + dead + "-0", true},
        {".config.json.bak-20260126T093000Z.tmp-" + dead + "-3", true},
        {".config.json.tmp-" + alive + "-0", false},  // a live writer's work in progress
        {".state.json.tmp-" + dead + "-0", false},    // another file's
        {".config.jsonx.tmp-" + dead + "-0", false},
        {".config.json.tmp-" + dead + "-x", false},
        {".config.json.tmp-" + dead + "0", false},
    };
    TempDir dir;
    for (const auto& [name, removed] : cases) std::ofstream(dir.path() / name) << "partial";
    ASSERT_FALSE(writeFileAtomically(dir.path() / "config.json", "{}"));
    for (const auto& [name, removed] : cases) {
        EXPECT_EQ(std::filesystem::exists(dir.path() / name), !removed) << name;
    }
}

TEST(ReadAndBackupFileTest, AbsentForMissingFilesAndEveryCopyKeptBesideTheOriginal) {
    TempDir dir;
    EXPECT_FALSE(readFile(dir.path() / "nothing"));
    EXPECT_FALSE(readFile(dir.path()));
    std::ofstream(dir.path() / "empty");
    EXPECT_EQ(readFile(dir.path() / "empty"), "");
    auto path = dir.path() / "config.json";
    std::ofstream(path) << "v1";
    auto first = backupFile(path);
    auto second = backupFile(path);
    ASSERT_TRUE(first && second);
    EXPECT_NE(*first, *second);
    EXPECT_EQ(first->parent_path(), dir.path());
    EXPECT_TRUE(first->filename().string().starts_with("config.json.bak-"));
    EXPECT_EQ(readFile(*first), "v1");
    EXPECT_EQ(readFile(*second), "v1");
    EXPECT_FALSE(backupFile(dir.path() / "absent"));
}

TEST(AppSupportDirTest, FollowsXdgConfigHomeThenHome) {
    TempDir dir;
    {
        ScopedEnv xdg("XDG_CONFIG_HOME", (dir.path() / "xdg").c_str());
        EXPECT_EQ(getAppSupportDir("Tarn"), dir.path() / "xdg" / "Tarn");
        EXPECT_TRUE(std::filesystem::is_directory(dir.path() / "xdg" / "Tarn"));
    }
    // A relative XDG_CONFIG_HOME is ignored, as the base directory rules say.
    ScopedEnv xdg("XDG_CONFIG_HOME", "relative/dir");
    ScopedEnv home("HOME", dir.path().c_str());
    EXPECT_EQ(getAppSupportDir("Tarn"), dir.path() / ".config" / "Tarn");
}

}  // namespace
}  // namespace tarn::support
