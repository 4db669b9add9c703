#include "support/store.h"

#include <gtest/gtest.h>

#include <fstream>
#include <limits>

#include "support/files.h"
#include "tests/common/golden.h"
#include "tests/common/temp_dir.h"

namespace tarn::support {
namespace {

using testing::TempDir;

// Absent: the whole document fails to decode.
TEST(DecodeStoreTest, TriesBoolIntDoubleStringInThatOrder) {
    const std::pair<const char*, std::optional<StoreValue>> cases[] = {
        {"true", StoreValue{true}},
        {"-42", StoreValue{std::int64_t{-42}}},
        {"5.0", StoreValue{std::int64_t{5}}},
        {"2.5", StoreValue{2.5}},
        {"1e19", StoreValue{1e19}},
        {"18446744073709551615", StoreValue{18446744073709551615.0}},
        {R"("x")", StoreValue{std::string("x")}},
        {R"("2026-01-26T09:30:00Z")", StoreValue{std::string("2026-01-26T09:30:00Z")}},
        {"null", std::nullopt},
        {"[1]", std::nullopt},
        {R"({"a": 1})", std::nullopt},
    };
    for (const auto& [json, value] : cases) {
        auto document = Json::parse(std::string(R"({"values": {"v": )") + json + "}}");
        auto store = decodeStore(document).store;
        EXPECT_EQ(store.has_value(), value.has_value()) << json;
        if (store && value) {
            EXPECT_EQ(store->values.at("v"), *value) << json;
        }
    }
    for (const char* bad : {R"([])", R"({})", R"({"values": []})", R"({"values": 1})"}) {
        EXPECT_FALSE(decodeStore(Json::parse(bad)).store) << bad;
    }
    EXPECT_TRUE(decodeStore(Json::parse(R"({"values": {}, "extra": 1})")).store);
}

TEST(SaveJsonTest, WritesSortedPrettyTextWithIsoDatesOrLeavesTheOldFile) {
    TempDir dir;
    Store store;
    store.values["zeta"] = std::int64_t{1};
    store.values["Alpha"] = 0.5;
    store.values["when"] = Date{std::chrono::seconds{1769419800}};
    store.values["path"] = std::string("/tmp/x");
    store.values["on"] = false;
    auto path = dir.path() / "config.json";
    ASSERT_FALSE(saveJSON(store, path));
    EXPECT_EQ(readFile(path), testing::golden("support/golden/saved_store.json"));
    std::ofstream(path) << "old";
    // Nothing the reader would refuse is written: a number JSON cannot hold, text that is not
    // UTF-8 (which made a settings file unreadable), in a value or a name.
    const std::pair<std::string, StoreValue> refused[] = {
        {"x", std::numeric_limits<double>::infinity()},
        {"bad", std::string("\xff\xfe")},
        {"\xff", std::int64_t{1}},
    };
    for (const auto& [name, value] : refused) {
        Store bad = store;
        bad.values[name] = value;
        EXPECT_TRUE(saveJSON(bad, path)) << name;
        EXPECT_EQ(readFile(path), "old");
    }
    Store bad;
    bad.values["bad"] = std::string("\xff\xfe");
    EXPECT_EQ(saveJSON(bad, path), "the value of 'bad' is not valid UTF-8 text");
    bad.values = {{"\xff", true}};
    EXPECT_EQ(saveJSON(bad, path), "the name '\xef\xbf\xbd' is not valid UTF-8 text");
}

TEST(LoadStoreTest, SaysWhetherTheFileWasReadMissingOrUnreadable) {
    TempDir dir;
    auto path = dir.path() / "config.json";
    EXPECT_EQ(loadStore(path).state, StoreFileState::missing);
    std::ofstream(path) << R"({"values": {"a": 1}})";
    auto loaded = loadStore(path);
    EXPECT_EQ(loaded.state, StoreFileState::read);
    EXPECT_EQ(loaded.store.values.size(), 1u);
    std::ofstream(path) << R"({"values": {"a": null}})";
    loaded = loadStore(path);
    EXPECT_EQ(loaded.state, StoreFileState::unreadable);
    EXPECT_TRUE(loaded.store.values.empty());
}

// Members other than "values" (a newer version's, a hand-added one) used to vanish with the
// next write, leaving no copy.
TEST(SaveStoreOverTest, KeepsACopyOfEveryDocumentNotReadWhole) {
    const std::pair<const char*, bool> cases[] = {
        {R"({"values": {"a": 1}})", false},
        {"{broken", true},
        {R"({"values": {"a": 1}, "version": 2})", true},
    };
    for (const auto& [text, copied] : cases) {
        TempDir dir;
        auto path = dir.path() / "config.json";
        std::ofstream(path) << text;
        auto loaded = loadStore(path);
        auto result = saveStoreOver(loaded.store, loaded, path);
        EXPECT_FALSE(result.error) << text;
        EXPECT_EQ(result.backup.has_value(), copied) << text;
        if (result.backup) {
            EXPECT_EQ(readFile(*result.backup), text);
        }
        EXPECT_EQ(loadStore(path).state, StoreFileState::read) << text;
    }
}

// "chmod 000 config.json; tarn settings c 3" replaced the file, unread and uncopied, with one
// holding only c. A file that can be neither read nor copied is now left alone, whatever
// stands there; the save says so.
TEST(SaveStoreOverTest, NeverReplacesAFileItCouldNeitherReadNorCopy) {
    Store store;
    store.values["c"] = std::int64_t{3};
    for (auto kind : {testing::Unreadable::fifo, testing::Unreadable::folder,
                      testing::Unreadable::noPermission}) {
        TempDir dir;
        auto path = dir.path() / "config.json";
        if (!testing::makeUnreadable(path, kind, R"({"values": {"a": 1}})")) continue;
        const auto before = std::filesystem::symlink_status(path).type();
        auto loaded = loadStore(path);
        EXPECT_EQ(loaded.state, StoreFileState::unreadable);
        EXPECT_TRUE(loaded.bytesUnread);
        EXPECT_EQ(loaded.problem, testing::unreadableProblem(kind));
        auto result = saveStoreOver(store, loaded, path);
        EXPECT_TRUE(result.refused) << nameOf(kind);
        EXPECT_EQ(result.error, "it could not be read whole and no copy of it could be made");
        EXPECT_FALSE(result.backup);
        EXPECT_EQ(std::filesystem::symlink_status(path).type(), before) << nameOf(kind);
        if (kind == testing::Unreadable::noPermission) {
            std::filesystem::permissions(path, std::filesystem::perms::owner_read);
            EXPECT_EQ(readFile(path), R"({"values": {"a": 1}})");
        }
    }
}

// Deeper than the reader takes: read as a file that does not decode, copied, then replaced.
TEST(LoadStoreTest, ANestingTooDeepIsAFileThatDoesNotDecode) {
    TempDir dir;
    auto path = dir.path() / "state.json";
    std::string deep = std::string(200000, '[') + std::string(200000, ']');
    std::ofstream(path) << R"({"values": {"a": )" << deep << "}}";
    auto loaded = loadStore(path);
    EXPECT_EQ(loaded.state, StoreFileState::unreadable);
    EXPECT_FALSE(loaded.bytesUnread);
    EXPECT_EQ(loaded.problem, "it is nested more than 512 levels deep");
    auto result = saveStoreOver(loaded.store, loaded, path);
    EXPECT_FALSE(result.error);
    ASSERT_TRUE(result.backup);
    EXPECT_EQ(loadStore(path).state, StoreFileState::read);
}

TEST(StoreValueTextTest, PrintsEachKind) {
    EXPECT_EQ(storeValueText(true), "true");
    EXPECT_EQ(storeValueText(std::int64_t{-7}), "-7");
    EXPECT_EQ(storeValueText(3.0), "3.0");
    EXPECT_EQ(storeValueText(0.5), "0.5");
    EXPECT_EQ(storeValueText(std::string("a b")), "a b");
    EXPECT_EQ(storeValueText(Date{std::chrono::seconds{0}}), "1970-01-01T00:00:00Z");
}

}  // namespace
}  // namespace tarn::support
