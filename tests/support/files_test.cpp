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

using testing::Unreadable;

mode_t modeOf(const std::filesystem::path& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 07777;
}

mode_t currentUmask() {
    mode_t mask = ::umask(0);
    ::umask(mask);
    return mask;
}

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
        EXPECT_EQ(modeOf(file), mode) << "umask " << mask;
        EXPECT_EQ(::umask(mask), mask);
    }
    ::umask(before);
}

// A config.json or mimeapps.list of mode 0600 used to become 0644 after one save, and so did
// its backups: the file aside took the default mode before it was renamed over the target.
TEST(WriteFileAtomicallyTest, SavingWidensNoPermissions) {
    for (mode_t mode : {0600, 0640, 0644, 0400}) {
        TempDir dir;
        auto path = dir.path() / "config.json";
        std::ofstream(path) << "old";
        ::chmod(path.c_str(), mode);
        ASSERT_FALSE(writeFileAtomically(path, "new"));
        EXPECT_EQ(modeOf(path), mode) << "replaced, mode " << std::oct << mode;
        auto copy = backupFile(path);
        auto written = writeBackup(path, "other");
        ASSERT_TRUE(copy && written);
        EXPECT_EQ(modeOf(*copy), mode) << "backup, mode " << std::oct << mode;
        EXPECT_EQ(modeOf(*written), mode) << "written backup, mode " << std::oct << mode;
    }
    TempDir dir;
    auto written = writeBackup(dir.path() / "absent.json", "bytes");
    ASSERT_TRUE(written);
    EXPECT_EQ(modeOf(*written), 0600 & ~currentUmask());
}

// A FIFO in a file's place hung every reader for ever (and wendle at start-up, deaf to
// SIGTERM): opened without waiting, anything but a regular file is refused unread.
TEST(ReadRegularFileTest, AFifoOrAnyNonRegularFileIsRefusedWithoutWaiting) {
    TempDir dir;
    for (Unreadable kind : {Unreadable::fifo, Unreadable::folder}) {
        auto path = dir.path() / nameOf(kind);
        ASSERT_TRUE(makeUnreadable(path, kind));
        auto read = readRegularFile(path);
        EXPECT_FALSE(read.bytes) << nameOf(kind);
        EXPECT_FALSE(read.missing) << nameOf(kind);
        EXPECT_EQ(read.problem, unreadableProblem(kind));
    }
    EXPECT_EQ(readRegularFile("/dev/null").problem, "it is a character device, not a regular file");
    auto missing = readRegularFile(dir.path() / "absent");
    EXPECT_TRUE(missing.missing);
    EXPECT_EQ(missing.problem, "it cannot be read: No such file or directory");
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
        {".config.json.tmp-1-0", false},
        {".state.json.tmp-" + dead + "-0", false},  // another file's
        {".config.jsonx.tmp-" + dead + "-0", false},
        {".config.json.tmp-" + dead + "-x", false},
        {"config.json.tmp-" + dead + "-0", false},
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

// The agent's rule, now every writer's: a file not read whole is copied before it is
// replaced, and never replaced when no copy can be made. Rows: what is there, whether it may
// be replaced, whether a copy was made.
TEST(KeepCopyBeforeReplacingTest, NoCopyNoReplacement) {
    const std::tuple<std::optional<Unreadable>, bool, bool> cases[] = {
        {std::nullopt, true, true},  // a regular file: copied
        {Unreadable::fifo, false, false},
        {Unreadable::folder, false, false},
        {Unreadable::noPermission, false, false},
    };
    for (const auto& [kind, mayReplace, copied] : cases) {
        TempDir dir;
        auto path = dir.path() / "config.json";
        if (!kind) {
            std::ofstream(path) << "{broken";
        } else if (!makeUnreadable(path, *kind, "{broken")) {
            continue;  // root reads any file
        }
        auto kept = keepCopyBeforeReplacing(path);
        const char* what = kind ? nameOf(*kind) : "file";
        EXPECT_EQ(kept.mayReplace, mayReplace) << what;
        EXPECT_EQ(kept.copy.has_value(), copied) << what;
        if (kept.copy) {
            EXPECT_EQ(readFile(*kept.copy), "{broken");
        }
    }
    TempDir dir;
    auto gone = keepCopyBeforeReplacing(dir.path() / "absent");
    EXPECT_TRUE(gone.mayReplace);  // nothing there to protect
    EXPECT_FALSE(gone.copy);
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
