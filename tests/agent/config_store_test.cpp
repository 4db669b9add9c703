#include "agent/config_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <limits>
#include <sstream>

#include "agent/config_json.h"
#include "support/files.h"
#include "tests/agent/manual_scheduler.h"
#include "tests/common/golden.h"
#include "tests/common/temp_dir.h"

namespace tarn::agent {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::SizeIs;

RootConfig oneApp(const std::string& bundleID, const std::string& name) {
    return RootConfig{{}, {AppConfig{.bundleID = bundleID, .displayName = name}}};
}

std::vector<std::string> displayNames(const RootConfig& config) {
    std::vector<std::string> names;
    for (const auto& app : config.appConfigs) names.push_back(app.bundleID + "=" + app.displayName);
    return names;
}

// A store on a file in a fresh directory, on a clock the test moves.
struct StoreOnDisk {
    StoreOnDisk() {
        store.setOnConfigChanged([this](const RootConfig& config) { delivered.push_back(config); });
    }
    std::filesystem::path file() const { return temp.path() / "wendle-config.json"; }
    std::optional<std::string> text() const { return support::readFile(file()); }
    std::vector<std::filesystem::path> backups() const { return testing::backupsOf(file()); }

    testing::TempDir temp;
    testing::ManualScheduler clock;
    MemoryLog log;
    ConfigStore store{clock, Logger(log, LogCategory::appDelegate), [this] { return file(); }};
    std::vector<RootConfig> delivered;
};

TEST(ConfigStore, ChangesWithin150MillisecondsSaveOnceWithTheLast) {
    StoreOnDisk f;
    auto before = f.store.snapshot();
    f.store.setConfig(oneApp("a", "One"));
    EXPECT_EQ(*f.store.snapshot(), oneApp("a", "One"));  // snapshots follow at once...
    EXPECT_EQ(*before, RootConfig{});                    // ...and never change afterwards
    f.clock.advance(50ms);
    f.store.setConfig(oneApp("a", "Two"));
    f.clock.advance(50ms);
    f.store.setConfig(oneApp("a", "Three"));
    f.clock.advance(149ms);
    EXPECT_EQ(f.text(), std::nullopt);
    EXPECT_THAT(f.delivered, SizeIs(0));
    f.clock.advance(1ms);
    EXPECT_EQ(f.text(), configText(oneApp("a", "Three")));
    EXPECT_THAT(f.delivered, ElementsAre(oneApp("a", "Three")));

    // A later burst saves again, even when it ends where it began.
    std::filesystem::remove(f.file());
    f.store.update([](RootConfig& config) { config.appConfigs[0].displayName = "Four"; });
    f.clock.advance(100ms);
    f.store.update([](RootConfig& config) { config.appConfigs[0].displayName = "Three"; });
    f.clock.advance(10s);
    EXPECT_EQ(f.text(), configText(oneApp("a", "Three")));
    EXPECT_THAT(f.delivered, ElementsAre(oneApp("a", "Three"), oneApp("a", "Three")));

    // A frame JSON cannot hold keeps the last good file; the change still settles.
    f.store.update([](RootConfig& config) {
        config.appConfigs[0].savedLocations.push_back(
            {.frame = {std::numeric_limits<double>::quiet_NaN(), 0, 1, 1}});
    });
    f.clock.advance(150ms);
    EXPECT_EQ(f.text(), configText(oneApp("a", "Three")));
    EXPECT_TRUE(f.store.saveError());  // for the settings window's banner
    EXPECT_THAT(f.delivered, SizeIs(3));

    // Nothing else is pending: a removed file stays removed.
    std::filesystem::remove(f.file());
    f.clock.advance(10s);
    EXPECT_EQ(f.text(), std::nullopt);
    EXPECT_THAT(f.delivered, SizeIs(3));

    // A pending save dies with its store.
    {
        ConfigStore shortLived(f.clock, Logger(f.log, LogCategory::appDelegate),
                               [&] { return f.file(); });
        shortLived.setConfig(oneApp("a", "One"));
    }
    EXPECT_EQ(f.clock.pending(), 0u);
}

// A full disk or a read-only file used to lose every later change without a word.
TEST(ConfigStore, AFailedWriteIsLoggedAndReportedAndTheNextChangeWritesEverything) {
    StoreOnDisk f;
    std::filesystem::path nested = f.temp.path() / "later" / "wendle-config.json";
    ConfigStore elsewhere(f.clock, Logger(f.log, LogCategory::appDelegate), [&] { return nested; });
    std::vector<std::string> reported;
    elsewhere.setOnSaveFailed([&](const std::string& reason) { reported.push_back(reason); });
    int redraws = 0;
    elsewhere.addListener([&] { ++redraws; });
    elsewhere.setConfig(oneApp("a", "One"));
    f.clock.advance(150ms);
    EXPECT_EQ(redraws, 2);  // for the change, and again for the save error
    EXPECT_FALSE(std::filesystem::exists(nested));
    EXPECT_EQ(elsewhere.config(), oneApp("a", "One"));
    ASSERT_THAT(reported, SizeIs(1));
    EXPECT_THAT(reported[0], ::testing::StartsWith("Could not save " + nested.string() + ": "));
    EXPECT_EQ(f.log.takeMessages(), reported);

    std::filesystem::create_directory(f.temp.path() / "later");
    elsewhere.update([](RootConfig& config) { config.appConfigs[0].bundleID = "b"; });
    f.clock.advance(150ms);
    EXPECT_EQ(support::readFile(nested), configText(oneApp("b", "One")));
    EXPECT_THAT(f.log.entries(), SizeIs(0));
}

TEST(ConfigStore, UpsertRenamesAKnownBundleInPlaceAndSortsInANewOne) {
    StoreOnDisk f;
    f.store.upsertAppConfig("z", "Zed");
    f.store.upsertAppConfig("a", "alpha");
    f.clock.advance(150ms);
    EXPECT_EQ(f.text(), R"({"globalRules":[],"appConfigs":[{"bundleID":"z","displayName":"Zed",)"
                        R"("savedLocations":[],"ruleOverrides":[]},{"bundleID":"a",)"
                        R"("displayName":"alpha","savedLocations":[],"ruleOverrides":[]}]})");
    EXPECT_THAT(f.delivered, SizeIs(1));  // one burst, one save

    // By code point, keeping equal names in order.
    f.store.upsertAppConfig("acute", "Ábc");  // U+00C1 after every ASCII letter
    f.store.upsertAppConfig("b", "Beta");
    f.store.upsertAppConfig("bracket", "[x]");  // "[" (0x5B) between the cases
    f.store.upsertAppConfig("x.2", "Same");
    f.store.upsertAppConfig("x.1", "Same");
    EXPECT_THAT(displayNames(f.store.config()),
                ElementsAre("b=Beta", "x.2=Same", "x.1=Same", "z=Zed", "bracket=[x]", "a=alpha",
                            "acute=Ábc"));

    // Only the first entry of a known bundle takes the name, keeping its place and the rest.
    f.store.setConfig(
        {.appConfigs = {
             {.bundleID = "m", .displayName = "Mid"},
             {.bundleID = "x", .displayName = "Xylo", .savedLocations = {{.frame = {1, 2, 3, 4}}}},
             {.bundleID = "x", .displayName = "Later"}}});
    f.store.upsertAppConfig("x", "Aardvark");
    EXPECT_THAT(displayNames(f.store.config()), ElementsAre("m=Mid", "x=Aardvark", "x=Later"));
    EXPECT_THAT(f.store.config().appConfigs[1].savedLocations, SizeIs(1));
    // Bundle identifiers are case-sensitive: a new entry, and the whole list is sorted.
    f.store.upsertAppConfig("M", "Capital");
    EXPECT_THAT(displayNames(f.store.config()),
                ElementsAre("x=Aardvark", "M=Capital", "x=Later", "m=Mid"));
}

// The cases and what each leaves behind are in the golden file.
TEST(ConfigStore, AFileIsLeftAsItWasUntilAnOwnChangeThenCopiedFirstIfNotReadWhole) {
    const char* states[] = {"missing", "read", "partlyRead", "unreadable"};
    const std::string expected = testing::golden("agent/golden/first_saves.txt");
    std::istringstream lines(expected);
    std::string actual;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("= ") || line.starts_with("> ") || line.starts_with("! ") ||
            line.starts_with("- ")) {
            continue;
        }
        actual += line + "\n";
        if (!line.starts_with("< ")) continue;
        SCOPED_TRACE(line);
        StoreOnDisk f;
        std::optional<std::string> original;
        if (line != "< (no file)") original = line.substr(2);
        if (original) std::ofstream(f.file(), std::ios::binary) << *original;
        ConfigLoad load = f.store.loadAtLaunch();
        EXPECT_EQ(load.state == ConfigFileState::partlyRead, !load.issues.empty());
        actual += std::string("= ") + states[static_cast<int>(load.state)] + "\n";
        for (const auto& message : f.log.takeMessages()) actual += "- " + message + "\n";
        f.clock.advance(10s);
        // Reading it wrote nothing: only a missing file is made, once, and nothing was copied.
        EXPECT_EQ(f.text(), original ? original : configText(RootConfig{}));
        EXPECT_THAT(f.backups(), SizeIs(0));
        EXPECT_THAT(f.delivered, SizeIs(original ? 0 : 1));

        f.store.upsertAppConfig("new", "New");
        f.clock.advance(150ms);
        actual += "> " + f.text().value_or("(no file)") + "\n";
        auto copies = f.backups();
        ASSERT_THAT(copies, SizeIs(f.log.entries().size()));
        for (auto entry : f.log.entries()) {
            EXPECT_EQ(support::readFile(copies[0]), original);
            EXPECT_EQ(entry.category, LogCategory::appDelegate);
            if (auto at = entry.message.find(copies[0].string()); at != std::string::npos)
                entry.message.replace(at, copies[0].string().size(), "<copy>");
            actual += "! " + entry.message + "\n";
        }
        // Once copied, later saves overwrite freely and copy nothing more.
        f.store.upsertAppConfig("newer", "Newer");
        f.clock.advance(150ms);
        EXPECT_THAT(f.backups(), SizeIs(copies.size()));
        EXPECT_THAT(f.log.entries(), SizeIs(copies.size()));
    }
    EXPECT_EQ(actual, expected);
}

TEST(ConfigStore, NeverOverwritesWhatItCannotCopy) {
    // A directory in the file's place can be neither read nor copied.
    StoreOnDisk f;
    std::filesystem::create_directory(f.file());
    EXPECT_EQ(f.store.loadAtLaunch().state, ConfigFileState::unreadable);
    f.log.takeMessages();
    f.store.upsertAppConfig("a", "A");
    f.clock.advance(150ms);
    EXPECT_TRUE(std::filesystem::is_directory(f.file()));
    EXPECT_EQ(f.log.takeMessages(),
              std::vector<std::string>{"Not saving " + f.file().string() +
                                       ": it could not be read whole (it is not a readable "
                                       "configuration) and no copy of it could be made"});
    EXPECT_THAT(f.delivered, SizeIs(1));  // the change itself still settles

    // Once the obstacle is gone there is nothing left to protect.
    std::filesystem::remove(f.file());
    f.store.upsertAppConfig("b", "B");
    f.clock.advance(150ms);
    EXPECT_EQ(f.text(), configText(RootConfig{{},
                                              {AppConfig{.bundleID = "a", .displayName = "A"},
                                               AppConfig{.bundleID = "b", .displayName = "B"}}}));
    EXPECT_THAT(f.backups(), SizeIs(0));
}

// A FIFO in place of wendle-config.json hung the agent at start-up, where SIGTERM no longer
// stopped it. It is a file that cannot be read: the agent starts on an empty configuration
// and, as no copy of it can be made, never replaces it.
TEST(ConfigStore, AFifoInPlaceOfTheFileIsNeverWaitedForNorReplaced) {
    StoreOnDisk f;
    ASSERT_TRUE(testing::makeUnreadable(f.file(), testing::Unreadable::fifo));
    EXPECT_EQ(f.store.loadAtLaunch().state, ConfigFileState::unreadable);
    f.store.upsertAppConfig("a", "A");
    f.clock.advance(150ms);
    EXPECT_TRUE(std::filesystem::is_fifo(f.file()));
    EXPECT_THAT(f.backups(), SizeIs(0));
}

// A reload only reads: the file is the newer word (a change of the agent's own still waiting
// is dropped, else it would write the file straight back), and a file that is gone leaves the
// configuration as it is. The half-written file is the delegate test's.
TEST(ConfigStore, AReloadOnlyReadsAndDropsASaveStillWaiting) {
    StoreOnDisk f;
    f.store.loadAtLaunch();
    f.clock.advance(150ms);  // the missing file is made
    f.store.upsertAppConfig("mine", "Mine");
    const std::string edited = configText(oneApp("theirs", "Theirs"));
    std::ofstream(f.file(), std::ios::binary) << edited;
    EXPECT_EQ(f.store.reload().state, ConfigFileState::read);
    f.clock.advance(10s);
    EXPECT_EQ(f.text(), edited);
    // What a later change of its own replaces is copied first only when it was not read whole.
    const std::string partly = R"({"globalRules":[],"appConfigs":[],"theme":"dark"})";
    for (const std::string& text : {edited, partly}) {
        std::ofstream(f.file(), std::ios::binary) << text;
        f.store.reload();
        f.store.upsertAppConfig("mine", "Mine");
        f.clock.advance(150ms);
    }
    ASSERT_THAT(f.backups(), SizeIs(1));
    EXPECT_EQ(support::readFile(f.backups()[0]), partly);
    std::filesystem::remove(f.file());
    EXPECT_EQ(f.store.reload().state, ConfigFileState::missing);
    f.clock.advance(10s);
    EXPECT_EQ(f.store.config().appConfigs.size(), 1u);
    EXPECT_EQ(f.text(), std::nullopt);
}

// An edit made outside that the store has not loaded yet (still being written, perhaps) is
// never replaced without a copy.
TEST(ConfigStore, AnOwnChangeOverAnEditNotLoadedYetKeepsACopyOfTheEdit) {
    StoreOnDisk f;
    std::ofstream(f.file(), std::ios::binary) << configText(oneApp("a", "One"));
    f.store.loadAtLaunch();
    const std::string edit = configText(oneApp("b", "Two")).substr(0, 30);
    {
        std::ofstream(f.file(), std::ios::binary | std::ios::app) << "\n";  // another size
        std::ofstream(f.file(), std::ios::binary | std::ios::trunc) << edit;
    }
    f.store.upsertAppConfig("c", "Three");
    f.clock.advance(150ms);
    auto copies = f.backups();
    ASSERT_THAT(copies, SizeIs(1));
    EXPECT_EQ(support::readFile(copies[0]), edit);
    EXPECT_EQ(f.log.takeMessages(),
              std::vector<std::string>{"wendle-config.json changed since Wendle last read it; "
                                       "that version is kept as " +
                                       copies[0].string()});
    // The store's own file is no outside change.
    f.store.upsertAppConfig("d", "Four");
    f.clock.advance(150ms);
    EXPECT_THAT(f.backups(), SizeIs(1));
}

// A launch without a file makes one, but never over a file that appeared meanwhile.
TEST(ConfigStore, TheFileALaunchFoundMissingIsMadeOnlyWhileStillMissing) {
    StoreOnDisk f;
    EXPECT_EQ(f.store.loadAtLaunch().state, ConfigFileState::missing);
    const std::string theirs = "{\"globalRules\": [";  // being written
    std::ofstream(f.file(), std::ios::binary) << theirs;
    f.clock.advance(150ms);
    EXPECT_EQ(f.text(), theirs);
    EXPECT_THAT(f.backups(), SizeIs(0));
    EXPECT_FALSE(f.store.saveError());
    // Nothing made aside is left behind: the file and its lock.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(f.temp.path()), {}), 2);
}

TEST(DefaultConfigURL, LiesInTheTarnDirectoryWhichItCreates) {
    testing::TempDir home;
    testing::ScopedEnv config("XDG_CONFIG_HOME", home.path().c_str());
    EXPECT_EQ(defaultConfigURL(), home.path() / "Tarn" / "wendle-config.json");
    EXPECT_TRUE(std::filesystem::is_directory(home.path() / "Tarn"));
}

}  // namespace
}  // namespace tarn::agent
