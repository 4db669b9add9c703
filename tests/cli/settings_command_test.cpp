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
