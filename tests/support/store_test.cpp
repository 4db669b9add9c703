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
    store.values["x"] = std::numeric_limits<double>::infinity();
    EXPECT_TRUE(saveJSON(store, path));
    EXPECT_EQ(readFile(path), "old");
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
