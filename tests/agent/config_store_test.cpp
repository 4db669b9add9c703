#include "agent/config_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <limits>

#include "support/files.h"
#include "tests/agent/manual_scheduler.h"
#include "tests/common/temp_dir.h"

namespace tarn::agent {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::SizeIs;

constexpr const char* kEmptyText = R"({"globalRules":[],"appConfigs":[]})";

// A configuration with one application, and its file text written out by hand.
RootConfig oneApp(const std::string& bundleID, const std::string& name) {
    return RootConfig{{}, {AppConfig{.bundleID = bundleID, .displayName = name}}};
}
std::string oneAppText(const std::string& bundleID, const std::string& name) {
    return R"({"globalRules":[],"appConfigs":[{"bundleID":")" + bundleID + R"(","displayName":")" +
           name + R"(","savedLocations":[],"ruleOverrides":[]}]})";
}

std::vector<std::string> displayNames(const RootConfig& config) {
    std::vector<std::string> names;
    for (const auto& app : config.appConfigs) names.push_back(app.bundleID + "=" + app.displayName);
    return names;
}

class ConfigStoreTest : public ::testing::Test {
  protected:
    ConfigStoreTest() {
        store.setOnConfigChanged([this](const RootConfig& config) { delivered.push_back(config); });
    }

    std::filesystem::path directory() const { return temp.path(); }
    std::filesystem::path file() const { return temp.path() / "wendle-config.json"; }
    std::optional<std::string> fileText() const { return support::readFile(file()); }
    void writeFile(const std::string& text) const {
        std::ofstream(file(), std::ios::binary) << text;
    }

    // Every file beside the configuration whose name starts with "wendle-config.json.bak-".
    std::vector<std::filesystem::path> backups() const {
        std::vector<std::filesystem::path> found;
        for (const auto& entry : std::filesystem::directory_iterator(directory())) {
            if (entry.path().filename().string().starts_with("wendle-config.json.bak-")) {
                found.push_back(entry.path());
            }
        }
        return found;
    }

    testing::TempDir temp;
    testing::ManualScheduler clock;
    MemoryLog log;
    ConfigStore store{clock, Logger(log, LogCategory::appDelegate), [this] { return file(); }};
    std::vector<RootConfig> delivered;
};

TEST_F(ConfigStoreTest, ChangesWithin150MillisecondsSaveOnceWithTheLast) {
    auto before = store.snapshot();
    store.setConfig(oneApp("a", "One"));
    EXPECT_EQ(*store.snapshot(), oneApp("a", "One"));  // snapshots follow at once...
    EXPECT_EQ(*before, RootConfig{});                  // ...and never change afterwards
    clock.advance(50ms);
    store.setConfig(oneApp("a", "Two"));
    clock.advance(50ms);
    store.setConfig(oneApp("a", "Three"));
    clock.advance(149ms);
    EXPECT_EQ(fileText(), std::nullopt);
    EXPECT_THAT(delivered, SizeIs(0));
    clock.advance(1ms);
    EXPECT_EQ(fileText(), oneAppText("a", "Three"));
    ASSERT_THAT(delivered, SizeIs(1));
    EXPECT_EQ(delivered[0], oneApp("a", "Three"));

    // A later burst saves again, even when it ends where it began.
    std::filesystem::remove(file());
    store.update([](RootConfig& config) { config.appConfigs[0].displayName = "Four"; });
    clock.advance(100ms);
    store.update([](RootConfig& config) { config.appConfigs[0].displayName = "Three"; });
    clock.advance(10s);
    EXPECT_EQ(fileText(), oneAppText("a", "Three"));
    ASSERT_THAT(delivered, SizeIs(2));
    EXPECT_EQ(delivered[1], oneApp("a", "Three"));

    // A frame JSON cannot hold keeps the last good file; the change still settles.
    store.update([](RootConfig& config) {
        config.appConfigs[0].savedLocations.push_back(
            {.frame = {std::numeric_limits<double>::quiet_NaN(), 0, 1, 1}});
    });
    clock.advance(150ms);
    EXPECT_EQ(fileText(), oneAppText("a", "Three"));
    EXPECT_THAT(delivered, SizeIs(3));

    // Nothing else is pending: a removed file stays removed.
    std::filesystem::remove(file());
    clock.advance(10s);
    EXPECT_EQ(fileText(), std::nullopt);
    EXPECT_THAT(delivered, SizeIs(3));
}

TEST_F(ConfigStoreTest, APendingSaveDiesWithTheStore) {
    {
        ConfigStore shortLived(clock, Logger(log, LogCategory::appDelegate),
                               [this] { return file(); });
        shortLived.setConfig(oneApp("a", "One"));
    }
    EXPECT_EQ(clock.pending(), 0u);
    clock.advance(1s);
    EXPECT_EQ(fileText(), std::nullopt);
}

// A full disk or a read-only file used to lose every later change without a word.
TEST_F(ConfigStoreTest, AFailedWriteIsLoggedAndReportedAndTheNextChangeWritesEverything) {
    std::filesystem::path nested = directory() / "later" / "wendle-config.json";
    ConfigStore elsewhere(clock, Logger(log, LogCategory::appDelegate), [&] { return nested; });
    std::vector<std::string> reported;
    elsewhere.setOnSaveFailed([&](const std::string& reason) { reported.push_back(reason); });
    elsewhere.setConfig(oneApp("a", "One"));
    clock.advance(150ms);
    EXPECT_FALSE(std::filesystem::exists(nested));
    EXPECT_EQ(elsewhere.config(), oneApp("a", "One"));
    ASSERT_THAT(reported, SizeIs(1));
    EXPECT_THAT(reported[0], ::testing::StartsWith("Could not save " + nested.string() + ": "));
    EXPECT_EQ(log.takeMessages(), reported);

    std::filesystem::create_directory(directory() / "later");
    elsewhere.update([](RootConfig& config) { config.appConfigs[0].bundleID = "b"; });
    clock.advance(150ms);
    EXPECT_EQ(support::readFile(nested), oneAppText("b", "One"));
    EXPECT_THAT(log.entries(), SizeIs(0));
}

TEST_F(ConfigStoreTest, UpsertSortsNewEntriesByCodePointAndKeepsEqualNamesInOrder) {
    store.upsertAppConfig("z", "Zed");
    store.upsertAppConfig("a", "alpha");
    EXPECT_EQ(displayNames(store.config()), (std::vector<std::string>{"z=Zed", "a=alpha"}));
    clock.advance(150ms);
    EXPECT_THAT(delivered, SizeIs(1));  // one burst, one save
    EXPECT_EQ(fileText(),
              R"({"globalRules":[],"appConfigs":[{"bundleID":"z","displayName":"Zed",)"
              R"("savedLocations":[],"ruleOverrides":[]},{"bundleID":"a","displayName":"alpha",)"
              R"("savedLocations":[],"ruleOverrides":[]}]})");

    store.upsertAppConfig("acute", "Ábc");  // U+00C1 after every ASCII letter
    store.upsertAppConfig("b", "Beta");
    store.upsertAppConfig("bracket", "[x]");  // "[" (0x5B) between the cases
    store.upsertAppConfig("x.2", "Same");
    store.upsertAppConfig("x.1", "Same");
    EXPECT_EQ(displayNames(store.config()),
              (std::vector<std::string>{"b=Beta", "x.2=Same", "x.1=Same", "z=Zed", "bracket=[x]",
                                        "a=alpha", "acute=Ábc"}));
}

TEST_F(ConfigStoreTest, UpsertOfAKnownBundleOnlyRenamesTheFirstInPlace) {
    RootConfig config;
    config.appConfigs = {
        AppConfig{.bundleID = "m", .displayName = "Mid"},
        AppConfig{
            .bundleID = "x", .displayName = "Xylo", .savedLocations = {{.frame = {1, 2, 3, 4}}}},
        AppConfig{.bundleID = "x", .displayName = "Later"}};
    store.setConfig(config);
    store.upsertAppConfig("x", "Aardvark");
    EXPECT_EQ(displayNames(store.config()),
              (std::vector<std::string>{"m=Mid", "x=Aardvark", "x=Later"}));
    EXPECT_THAT(store.config().appConfigs[1].savedLocations, SizeIs(1));

    // Bundle identifiers are case-sensitive: a new entry, and the whole list is sorted.
    store.upsertAppConfig("M", "Capital");
    EXPECT_EQ(displayNames(store.config()),
              (std::vector<std::string>{"x=Aardvark", "M=Capital", "x=Later", "m=Mid"}));
}

TEST_F(ConfigStoreTest, FirstLaunchWithoutAFileWritesAnEmptyOneAfterTheDelay) {
    ConfigLoad load = store.loadAtLaunch();
    EXPECT_EQ(load.state, ConfigFileState::missing);
    clock.advance(149ms);
    EXPECT_EQ(fileText(), std::nullopt);
    clock.advance(1ms);
    EXPECT_EQ(fileText(), kEmptyText);
    ASSERT_THAT(delivered, SizeIs(1));
    EXPECT_EQ(delivered[0], RootConfig{});
    EXPECT_THAT(backups(), SizeIs(0));
    EXPECT_THAT(log.entries(), SizeIs(0));
}

TEST_F(ConfigStoreTest, AFileReadWholeIsRewrittenWithoutACopy) {
    // An earlier layout's single location is carried over, so nothing is lost.
    writeFile(R"({"appConfigs":[{"displayName":"A","bundleID":"a","savedLocation":)"
              R"({"frame":[[1,2],[3,4]],"screenIndex":0}}]})");
    ConfigLoad load = store.loadAtLaunch();
    EXPECT_EQ(load.state, ConfigFileState::read);
    EXPECT_THAT(store.config().appConfigs, SizeIs(1));
    clock.advance(150ms);
    EXPECT_EQ(fileText(), R"({"globalRules":[],"appConfigs":[{"bundleID":"a","displayName":"A",)"
                          R"("savedLocations":[{"frame":[[1,2],[3,4]],"screenIndex":0,)"
                          R"("screenSpecific":true}],"ruleOverrides":[]}]})");
    EXPECT_THAT(backups(), SizeIs(0));
    EXPECT_THAT(log.entries(), SizeIs(0));
}

struct DamagedFileCase {
    const char* name;
    std::string original;
    ConfigFileState state;
    std::string rewritten;  // what the first save writes after the copy
};

void PrintTo(const DamagedFileCase& c, std::ostream* out) {
    *out << c.name;
}

class DamagedFiles : public ConfigStoreTest,
                     public ::testing::WithParamInterface<DamagedFileCase> {};

TEST_P(DamagedFiles, AreCopiedAsTheyWereBeforeTheFirstSave) {
    const DamagedFileCase& c = GetParam();
    writeFile(c.original);
    ConfigLoad load = store.loadAtLaunch();
    EXPECT_EQ(load.state, c.state);
    EXPECT_EQ(load.state == ConfigFileState::partlyRead, !load.issues.empty());

    // Until the first save, the file is untouched and no copy is needed yet.
    clock.advance(149ms);
    EXPECT_EQ(fileText(), c.original);

    clock.advance(1ms);
    auto copies = backups();
    ASSERT_THAT(copies, SizeIs(1));
    EXPECT_EQ(support::readFile(copies[0]), c.original);
    EXPECT_EQ(fileText(), c.rewritten);
    auto entries = log.entries();
    ASSERT_THAT(entries, SizeIs(1));
    EXPECT_EQ(entries[0].category, LogCategory::appDelegate);
    EXPECT_THAT(entries[0].message, HasSubstr(copies[0].string()));

    // Once copied, later saves overwrite freely and copy nothing more.
    store.upsertAppConfig("new", "New");
    clock.advance(150ms);
    EXPECT_THAT(backups(), SizeIs(1));
    EXPECT_THAT(log.entries(), SizeIs(1));
}

const std::string kRuleStart =
    R"({"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C","chord":{"keyCode":124,"modifiers":6},)"
    R"("action":{"moveWindow":{"direction":"right"}},"swallow":true)";
const std::string kRules = R"({"globalRules":[)" + kRuleStart + "}]";

INSTANTIATE_TEST_SUITE_P(
    Kinds, DamagedFiles,
    ::testing::Values(
        DamagedFileCase{"NotJson", "{\"globalRules\": [", ConfigFileState::unreadable, kEmptyText},
        DamagedFileCase{"NotAnObject", "[1, 2]", ConfigFileState::unreadable, kEmptyText},
        DamagedFileCase{"EmptyFile", "", ConfigFileState::unreadable, kEmptyText},
        // The readable rules stay; the application list that failed is what the copy keeps.
        DamagedFileCase{"OneListEmptied", kRules + R"(,"appConfigs":[{"bundleID":"a"}]})",
                        ConfigFileState::partlyRead, kRules + R"(,"appConfigs":[]})"},
        DamagedFileCase{"OptionalMemberDropped",
                        R"({"globalRules":[)" + kRuleStart +
                            R"(,"stateFilters":{"fullWidthOnPrimary":false}}],"appConfigs":[]})",
                        ConfigFileState::partlyRead, kRules + R"(,"appConfigs":[]})"},
        DamagedFileCase{"UnknownMember", R"({"globalRules":[],"appConfigs":[],"theme":"dark"})",
                        ConfigFileState::partlyRead, kEmptyText}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(ConfigStoreTest, NeverOverwritesWhatItCannotCopy) {
    // A directory in the file's place can be neither read nor copied.
    std::filesystem::create_directory(file());
    EXPECT_EQ(store.loadAtLaunch().state, ConfigFileState::unreadable);
    clock.advance(150ms);
    EXPECT_TRUE(std::filesystem::is_directory(file()));
    ASSERT_THAT(log.entries(), SizeIs(1));
    EXPECT_THAT(log.entries()[0].message, HasSubstr("Not saving"));
    EXPECT_THAT(delivered, SizeIs(1));  // the change itself still settles

    // Once the obstacle is gone there is nothing left to protect.
    std::filesystem::remove(file());
    store.upsertAppConfig("a", "A");
    clock.advance(150ms);
    EXPECT_EQ(fileText(), oneAppText("a", "A"));
    EXPECT_THAT(backups(), SizeIs(0));
}

TEST(DefaultConfigURL, LiesInTheTarnDirectoryWhichItCreates) {
    testing::TempDir home;
    testing::ScopedEnv config("XDG_CONFIG_HOME", home.path().c_str());
    EXPECT_EQ(defaultConfigURL(), home.path() / "Tarn" / "wendle-config.json");
    EXPECT_TRUE(std::filesystem::is_directory(home.path() / "Tarn"));
}

}  // namespace
}  // namespace tarn::agent
