#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <future>

#include "tests/common/command_runner.h"

namespace tarn::testing {
namespace {

using ::testing::HasSubstr;

class SettingsCommandTest : public CommandTest {
  protected:
    std::string settingsFile() const { return configFile("config.json").value_or("<missing>"); }
};

// How numbers and words are read is proven on the parsers; here each kind once, integers
// before doubles, and a double JSON cannot hold, which stays as typed text instead of
// aborting the save. Each row: the word typed, what get prints back, how the file holds it.
TEST_F(SettingsCommandTest, StoresTheInferredKind) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"Google Chrome", "Google Chrome", "\"Google Chrome\""},
        {"9223372036854775807", "9223372036854775807", "9223372036854775807"},
        {"2.50", "2.5", "2.5"},
        {"TRUE", "true", "true"},
        {"False", "false", "false"},
        {"inf", "inf", "\"inf\""},
    };
    for (const auto& [typed, readBack, json] : cases) {
        auto set = run({"settings", "key", typed});
        EXPECT_EQ(set.status, 0);
        EXPECT_EQ(set.out, std::string("Set key = ") + typed + "\n");
        EXPECT_EQ(set.err, "");
        EXPECT_EQ(settingsFile(),
                  std::string("{\n  \"values\" : {\n    \"key\" : ") + json + "\n  }\n}");
        EXPECT_EQ(run({"settings", "key"}).out, std::string(readBack) + "\n");
    }
}

TEST_F(SettingsCommandTest, ListsSortedByNameWithValueText) {
    writeConfigFile("config.json", R"({"values": {"b": 2.0, "a": "x", "B": true, "c": 0.25}})");
    auto result = run({"settings"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "Current settings:\n  B: true\n  a: x\n  b: 2\n  c: 0.25\n");
}

// No DISPLAY and no simulated desktop in any of these: the store must not need one.
TEST_F(SettingsCommandTest, SetAndRemoveKeepOtherSettings) {
    ASSERT_EQ(run({"settings", "a", "Safari"}).status, 0);
    ASSERT_EQ(run({"settings", "b", "3"}).status, 0);
    ASSERT_EQ(run({"settings", "b", "three", "ignored"}).status, 0);
    ASSERT_EQ(run({"settings", "c", "1"}).status, 0);
    auto result = run({"settings", "--remove", "c", "extra"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "Removed setting: c\n");
    EXPECT_EQ(settingsFile(),
              "{\n  \"values\" : {\n    \"a\" : \"Safari\",\n    \"b\" : \"three\"\n  }\n}");
}

TEST_F(SettingsCommandTest, FailuresReportOnStandardErrorWithStatusOne) {
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"settings", "--remove"}, "Usage: tarn settings --remove <name>\n"},
        {{"settings", "--remove", "absent"}, "Setting 'absent' not found\n"},
        {{"settings", "absent"}, "Setting 'absent' not found\n"},
    };
    writeConfigFile("config.json", R"({"values": {"present": 1}})");
    for (const auto& [args, err] : cases) {
        auto result = run(args);
        EXPECT_EQ(result.status, 1) << err;
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, err);
        EXPECT_EQ(settingsFile(), R"({"values": {"present": 1}})");
    }
}

// Listing used to print only "No settings configured." while the user's settings sat in a
// file it could not parse.
TEST_F(SettingsCommandTest, UnreadableFileIsNamedOnStandardErrorInsteadOfListingSilently) {
    const std::pair<const char*, const char*> cases[] = {
        {"{not json", "it is not JSON"},
        {"", "it is not JSON"},
        {R"({"values": {"a": 1, "b": null}})", "the value of 'b' is of no supported kind (null)"},
        {R"({"values": [1]})", "it holds no \"values\" object"},
        {R"({"other": {}})", "it holds no \"values\" object"},
    };
    const std::string path = (configDir() / "config.json").string();
    for (const auto& [corrupt, why] : cases) {
        writeConfigFile("config.json", corrupt);
        auto result = run({"settings"});
        EXPECT_EQ(result.status, 0) << corrupt;
        EXPECT_EQ(result.out, "No settings configured.\n") << corrupt;
        EXPECT_EQ(result.err, "ERROR: Could not read " + path + ": " + why + "\n");
        EXPECT_EQ(settingsFile(), corrupt);
    }
}

TEST_F(SettingsCommandTest, SetOverCorruptFileKeepsACopyOfIt) {
    writeConfigFile("config.json", R"({"values": {"browser": "Firefox", "bad": [1]}})");
    auto result = run({"settings", "count", "1"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "Set count = 1\n");
    EXPECT_EQ(settingsFile(), "{\n  \"values\" : {\n    \"count\" : 1\n  }\n}");
    auto backups = backupsOf(configDir() / "config.json");
    ASSERT_EQ(backups.size(), 1u);
    EXPECT_EQ(configFile(backups[0].filename().string()),
              R"({"values": {"browser": "Firefox", "bad": [1]}})");
    EXPECT_THAT(result.err, HasSubstr(backups[0].string()));
}

TEST_F(SettingsCommandTest, UnwritableFolderFailsWithoutClaimingSuccess) {
    // A plain file where the folder should be: nothing can be written below it, even as root.
    std::filesystem::create_directories(configDir().parent_path());
    std::ofstream(configDir()) << "in the way";
    auto result = run({"settings", "browser", "Safari"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, ::testing::StartsWith("ERROR: Could not save " +
                                                  (configDir() / "config.json").string() + ": "));
    auto removal = run({"settings", "--remove", "browser"});
    EXPECT_EQ(removal.status, 1);
    EXPECT_EQ(removal.err, "Setting 'browser' not found\n");
}

// "chmod 000 config.json; tarn settings c 3" said ERROR, then "Set c = 3", status 0, and left a
// file holding only c, no copy; a FIFO there hung every form of the command. Now no form
// guesses: each names the file and why, ends with status 1 and leaves the file as it was.
TEST_F(SettingsCommandTest, FileThatCannotBeReadIsNeverReplacedAndNeverWaitedFor) {
    const std::string path = (configDir() / "config.json").string();
    const std::string notSaving = "ERROR: Not saving " + path +
                                  ": it could not be read whole and no copy of it could be made\n";
    const std::pair<std::vector<std::string>, bool> forms[] = {
        {{"settings"}, false},
        {{"settings", "a"}, false},
        {{"settings", "c", "3"}, true},
        {{"settings", "--remove", "a"}, false},
    };
    for (auto kind : {Unreadable::fifo, Unreadable::folder, Unreadable::noPermission}) {
        std::filesystem::remove_all(configDir());
        if (!makeUnreadable(configDir() / "config.json", kind, R"({"values": {"a": 1}})")) {
            continue;  // root reads a file of any mode
        }
        for (const auto& [args, saves] : forms) {
            SCOPED_TRACE(std::string(nameOf(kind)) + ": " + args.back());
            auto result = run(args);
            EXPECT_EQ(result.status, 1);
            EXPECT_EQ(result.out, "");
            EXPECT_EQ(result.err, "ERROR: Could not read " + path + ": " + unreadableProblem(kind) +
                                      "\n" + (saves ? notSaving : ""));
        }
        EXPECT_TRUE(backupsOf(configDir() / "config.json").empty());
        EXPECT_EQ(std::filesystem::status(configDir() / "config.json").type(),
                  kind == Unreadable::fifo     ? std::filesystem::file_type::fifo
                  : kind == Unreadable::folder ? std::filesystem::file_type::directory
                                               : std::filesystem::file_type::regular);
        if (kind == Unreadable::noPermission) {
            std::filesystem::permissions(configDir() / "config.json",
                                         std::filesystem::perms::owner_read);
            EXPECT_EQ(settingsFile(), R"({"values": {"a": 1}})");
        }
    }
}

// "tarn settings bad $'\xff\xfe'" succeeded, and the next command found a file that is not
// JSON. A name or value that is not UTF-8 is refused; JSON cannot hold it, and storing a
// repaired or escaped form would read back as something other than what was set.
TEST_F(SettingsCommandTest, TextThatIsNotUtf8IsRefusedSoTheFileStaysReadable) {
    const std::string path = (configDir() / "config.json").string();
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"settings", "bad", "\xff\xfe"}, "the value of 'bad' is not valid UTF-8 text"},
        {{"settings", "caf\xe9", "1"}, "the name 'caf\uFFFD' is not valid UTF-8 text"},
    };
    ASSERT_EQ(run({"settings", "good", "caf\u00e9"}).status, 0);
    const auto before = settingsFile();
    for (const auto& [args, why] : cases) {
        auto result = run(args);
        EXPECT_EQ(result.status, 1) << why;
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "ERROR: Could not save " + path + ": " + why + "\n");
        EXPECT_EQ(settingsFile(), before);
    }
    EXPECT_EQ(run({"settings"}).out, "Current settings:\n  good: caf\u00e9\n");
}

// A config.json of mode 0600 became 0644 after one save, and so did its backup.
TEST_F(SettingsCommandTest, SavingKeepsTheFilesModeAndNewFilesArePrivate) {
    auto file = configDir() / "config.json";
    ASSERT_EQ(run({"settings", "a", "1"}).status, 0);
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600));
    writeConfigFile("config.json", "{broken");
    std::filesystem::permissions(file, std::filesystem::perms(0640));
    ASSERT_EQ(run({"settings", "a", "2"}).status, 0);
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0640));
    auto backups = backupsOf(file);
    ASSERT_EQ(backups.size(), 1u);
    EXPECT_EQ(std::filesystem::status(backups[0]).permissions(), std::filesystem::perms(0640));
}

// A value nested 200,000 deep: the settings file is one that does not decode.
TEST_F(SettingsCommandTest, NestingDeeperThanTheLimitIsNamedNotACrash) {
    const std::string deep = std::string(200000, '[') + std::string(200000, ']');
    writeConfigFile("config.json", R"({"values": {"a": )" + deep + "}}");
    auto result = run({"settings"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "ERROR: Could not read " + (configDir() / "config.json").string() +
                              ": it is nested more than 512 levels deep\n");
}

// Every writer used to read, change and write the whole file unlocked: 3 of 50 keys survived.
TEST_F(SettingsCommandTest, FiftyParallelWritersKeepAllFiftyKeys) {
    std::vector<std::future<int>> writers;
    for (int i = 0; i < 50; ++i) {
        writers.push_back(std::async(std::launch::async, [this, i] {
            auto name = "key" + std::to_string(i);
            return run({"settings", name, std::to_string(i)}).status;
        }));
    }
    for (auto& writer : writers) EXPECT_EQ(writer.get(), 0);
    auto listed = run({"settings"}).out;
    for (int i = 0; i < 50; ++i) {
        auto line = "  key" + std::to_string(i) + ": " + std::to_string(i) + "\n";
        EXPECT_THAT(listed, HasSubstr(line));
    }
}

}  // namespace
}  // namespace tarn::testing
