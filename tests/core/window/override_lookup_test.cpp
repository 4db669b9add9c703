#include "core/window/override_lookup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>

#include "tests/common/temp_dir.h"

namespace tarn::window {
namespace {

using ::testing::HasSubstr;
using testing::ScopedEnv;
using testing::TempDir;

// Flags in StateFilters order, written as a string of 1s and 0s for compact tables.
std::string flagText(const StateFilters& f) {
    std::string text;
    for (bool flag : {f.fullWidthOnPrimary, f.fullWidthOnSecondary, f.alignRightOnPrimary,
                      f.alignRightOnSecondary, f.alignLeftOnPrimary, f.alignLeftOnSecondary}) {
        text += flag ? '1' : '0';
    }
    return text;
}

class OverrideLookupTest : public ::testing::Test {
  protected:
    void writeConfig(const std::string& json) {
        std::filesystem::create_directories(dir_.path() / "Tarn");
        std::ofstream(dir_.path() / "Tarn" / "wendle-config.json") << json;
    }
    std::optional<TarnOverride> lookup(const std::string& direction,
                                       std::optional<std::string> bundleID = "com.example.app") {
        err_.str("");
        return checkTarnOverride(direction, bundleID, err_);
    }
    std::string err() const { return err_.str(); }
    std::string configPath() const { return (dir_.path() / "Tarn/wendle-config.json").string(); }

  private:
    TempDir dir_;
    ScopedEnv xdg_{"XDG_CONFIG_HOME", dir_.path().c_str()};
    std::ostringstream err_;
};

// Which rule is found and which filters come out, for one config and direction each.
struct LookupCase {
    const char* name;
    std::string rules;  // the globalRules elements
    std::string apps;   // the appConfigs elements; none: no such member
    const char* direction;
    const char* flags;  // nullptr: no override
    const char* lastLine;
    std::optional<std::string> bundleID = "com.example.app";
};

class OverrideLookupCases : public OverrideLookupTest,
                            public ::testing::WithParamInterface<LookupCase> {};

TEST_P(OverrideLookupCases, FindsTheRuleAndItsFilters) {
    const auto& c = GetParam();
    const std::string apps = c.apps.empty() ? "" : R"(, "appConfigs": [)" + c.apps + "]";
    writeConfig(R"({"globalRules": [)" + c.rules + "]" + apps + "}");
    auto result = lookup(c.direction, c.bundleID);
    if (c.flags) {
        ASSERT_TRUE(result) << err();
        EXPECT_EQ(flagText(result->stateFilters), c.flags);
    } else {
        EXPECT_FALSE(result);
    }
    EXPECT_THAT(err(), ::testing::EndsWith(std::string(c.lastLine) + "\n"));
}

// The application's entry, with the given ruleOverrides elements.
std::string app(const std::string& overrides) {
    return R"({"bundleID": "com.example.app", "savedLocations": [], "ruleOverrides": [)" +
           overrides + "]}";
}
const char* const kA = R"({"id": "a", "overrideTarn": "right"})";
const char* const kNoApp = "DEBUG: Using override with no app-specific customization";
const char* const kApp = "DEBUG: Using override for app com.example.app with 0 saved locations";
const char* const kNoRule = "DEBUG: No override rule found for direction 'right'";

// clang-format off
INSTANTIATE_TEST_SUITE_P(Cases, OverrideLookupCases, ::testing::Values(
    LookupCase{"RuleWithoutFiltersOnAnUnknownAppTurnsEverythingOn",
               R"({"id": "r1", "overrideTarn": "left", "chord": {}})", "", "left", "111111",
               "DEBUG: Successfully decoded config with 1 rules\n"
               "DEBUG: Found override rule 'r1' for direction 'left'\n"
               "DEBUG: Using override with no app-specific customization"},
    LookupCase{"FirstOfTwoInFileOrder",
               R"({"id": "a", "overrideTarn": "up", "stateFilters": {"fullWidthOnPrimary": false}},
                  {"id": "b", "overrideTarn": "up"})", "", "up", "011111", kNoApp},
    LookupCase{"DirectionIsCaseSensitive", kA, "", "Right", nullptr,
               "DEBUG: No override rule found for direction 'Right'"},
    LookupCase{"NonStringDirectionNeverMatches", R"({"id": "a", "overrideTarn": true})", "", "right", nullptr, kNoRule},
    LookupCase{"RuleWithoutIdEmptiesTheList", std::string(kA) + R"(, {"overrideTarn": "right"})", "", "right", nullptr, kNoRule},
    LookupCase{"NonBooleanFlagDropsTheRuleFilters",
               R"({"id": "a", "overrideTarn": "right", "stateFilters": {"fullWidthOnPrimary": false, "alignLeftOnPrimary": 0}})",
               "", "right", "111111", kNoApp},
    LookupCase{"AppOverrideChangesOnlyItsFlags",
               R"({"id": "a", "overrideTarn": "right", "stateFilters": {"alignRightOnPrimary": false}})",
               app(R"("a", {"enabled": true, "stateFilters": {"alignLeftOnSecondary": false, "fullWidthOnPrimary": 3}})"),
               "right", "110110", kApp},
    LookupCase{"DisabledForTheApp", kA, app(R"("a", {"enabled": false})"), "right", nullptr,
               "DEBUG: Override rule is disabled for app com.example.app"},
    LookupCase{"EnabledNotBooleanIsIgnored", kA,
               app(R"("a", {"enabled": "no", "stateFilters": {"fullWidthOnPrimary": false}}, "a")"),
               "right", "111111", kApp},
    LookupCase{"LaterPairWithTheSameKeyWins", kA,
               app(R"("a", {"enabled": false}, "a", {"enabled": true})"), "right", "111111", kApp},
    LookupCase{"NoFrontmostWindowUsesTheRuleOnly", kA, app(R"("a", {"enabled": false})"), "right",
               "111111", kNoApp, std::nullopt},
    LookupCase{"LocationWithoutScreenIndexSpoilsTheAppList", kA,
               R"({"bundleID": "com.example.app", "savedLocations": [{"frame": [[0, 0], [100, 100]]}]})",
               "right", "111111", kNoApp},
    LookupCase{"MalformedAppEntryEmptiesTheAppList", kA, app("") + R"(, {"bundleID": "other"})",
               "right", "111111", kNoApp}),
    [](const auto& info) { return std::string(info.param.name); });
// clang-format on

TEST_F(OverrideLookupTest, NoFileNoObjectOrEverySavedLocationInOrder) {
    EXPECT_FALSE(lookup("left"));
    EXPECT_EQ(err(), "DEBUG: Looking for Wendle config at: " + configPath() +
                         "\nDEBUG: Could not load Wendle config file (file not found or "
                         "unreadable)\n");
    for (const char* bad : {"[1, 2]", "{broken", "\"text\""}) {
        writeConfig(bad);
        EXPECT_FALSE(lookup("left")) << bad;
        EXPECT_THAT(err(), HasSubstr("DEBUG: Loaded " + std::to_string(std::strlen(bad)) +
                                     " bytes from config file\nDEBUG: Could not decode Wendle "
                                     "config JSON\n"));
    }
    writeConfig(R"({"globalRules": [{"id": "a", "overrideTarn": "left"}],
        "appConfigs": [{"bundleID": "com.example.app", "displayName": "App", "ruleOverrides": [],
          "savedLocations": [
            {"frame": [[0, 0], [100, 100]], "screenIndex": 0},
            {"frame": [[-1920, 10.5], [800, 600]], "screenIndex": 1, "screenSpecific": false},
            {"frame": [[1, 2], [3, 4]], "screenIndex": 0, "screenSpecific": "x"},
            {"frame": [[5, 6], [7, 8]], "screenIndex": 2.0, "screenSpecific": true},
            {"frame": [[9, 10], [11, 12]], "screenIndex": 0}]}]})");
    auto result = lookup("left");
    ASSERT_TRUE(result);
    std::vector<MoveAppLocation> expected = {{{0, 0, 100, 100}, true},
                                             {{-1920, 10.5, 800, 600}, false},
                                             {{1, 2, 3, 4}, true},
                                             {{5, 6, 7, 8}, true},
                                             {{9, 10, 11, 12}, true}};
    EXPECT_EQ(result->savedLocations, expected);
    EXPECT_THAT(err(),
                ::testing::EndsWith("DEBUG: Using override for app com.example.app with 5 saved "
                                    "locations\n"));
}

}  // namespace
}  // namespace tarn::window
