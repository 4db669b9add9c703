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

TEST_F(OverrideLookupTest, MissingFileGivesNothingAfterItsLines) {
    EXPECT_FALSE(lookup("left"));
    EXPECT_EQ(err(), "DEBUG: Looking for Wendle config at: " + configPath() +
                         "\nDEBUG: Could not load Wendle config file (file not found or "
                         "unreadable)\n");
}

TEST_F(OverrideLookupTest, NotAnObjectCannotBeDecoded) {
    for (const char* bad : {"[1, 2]", "{broken", "\"text\""}) {
        writeConfig(bad);
        EXPECT_FALSE(lookup("left")) << bad;
        EXPECT_THAT(err(), HasSubstr("DEBUG: Loaded " + std::to_string(std::strlen(bad)) +
                                     " bytes from config file\nDEBUG: Could not decode Wendle "
                                     "config JSON\n"));
    }
}

// Which rule is found and which filters come out, for one config and direction each.
struct LookupCase {
    const char* name;
    const char* config;
    const char* direction;
    std::optional<std::string> bundleID;
    const char* flags;  // nullptr: no override
    const char* lastLine;
};

class OverrideLookupCases : public OverrideLookupTest,
                            public ::testing::WithParamInterface<LookupCase> {};

TEST_P(OverrideLookupCases, FindsTheRuleAndItsFilters) {
    const auto& c = GetParam();
    writeConfig(c.config);
    auto result = lookup(c.direction, c.bundleID);
    if (c.flags) {
        ASSERT_TRUE(result) << err();
        EXPECT_EQ(flagText(result->stateFilters), c.flags);
    } else {
        EXPECT_FALSE(result);
    }
    EXPECT_THAT(err(), ::testing::EndsWith(std::string(c.lastLine) + "\n"));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, OverrideLookupCases,
    ::testing::Values(
        LookupCase{"RuleWithoutFiltersOnAnUnknownAppTurnsEverythingOn",
                   R"({"globalRules": [{"id": "r1", "overrideTarn": "left", "chord": {}}]})",
                   "left", "com.example.app", "111111",
                   "DEBUG: Successfully decoded config with 1 rules\n"
                   "DEBUG: Found override rule 'r1' for direction 'left'\n"
                   "DEBUG: Using override with no app-specific customization"},
        LookupCase{"FirstOfTwoInFileOrder",
                   R"({"globalRules": [
                       {"id": "a", "overrideTarn": "left", "stateFilters": {"fullWidthOnPrimary": false}},
                       {"id": "b", "overrideTarn": "left"}]})",
                   "left", std::nullopt, "011111",
                   "DEBUG: Using override with no app-specific customization"},
        LookupCase{"DirectionIsCaseSensitive",
                   R"({"globalRules": [{"id": "a", "overrideTarn": "left"}]})", "Left",
                   std::nullopt, nullptr, "DEBUG: No override rule found for direction 'Left'"},
        LookupCase{"NonStringDirectionNeverMatches",
                   R"({"globalRules": [{"id": "a", "overrideTarn": true}]})", "left", std::nullopt,
                   nullptr, "DEBUG: No override rule found for direction 'left'"},
        LookupCase{
            "RuleWithoutIdEmptiesTheList",
            R"({"globalRules": [{"id": "a", "overrideTarn": "left"}, {"overrideTarn": "left"}]})",
            "left", std::nullopt, nullptr, "DEBUG: No override rule found for direction 'left'"},
        LookupCase{"NonBooleanFlagDropsTheRuleFilters",
                   R"({"globalRules": [{"id": "a", "overrideTarn": "up",
                       "stateFilters": {"fullWidthOnPrimary": false, "alignLeftOnPrimary": 0}}]})",
                   "up", std::nullopt, "111111",
                   "DEBUG: Using override with no app-specific customization"},
        LookupCase{"AppOverrideChangesOnlyItsFlags",
                   R"({"globalRules": [{"id": "a", "overrideTarn": "right",
                         "stateFilters": {"alignRightOnPrimary": false}}],
                       "appConfigs": [{"bundleID": "com.example.app", "savedLocations": [],
                         "ruleOverrides": ["a", {"enabled": true,
                           "stateFilters": {"alignLeftOnSecondary": false, "fullWidthOnPrimary": 3}}]}]})",
                   "right", "com.example.app", "110110",
                   "DEBUG: Using override for app com.example.app with 0 saved locations"},
        LookupCase{"DisabledForTheApp",
                   R"({"globalRules": [{"id": "a", "overrideTarn": "right"}],
                       "appConfigs": [{"bundleID": "com.example.app", "savedLocations": [],
                         "ruleOverrides": ["a", {"enabled": false}]}]})",
                   "right", "com.example.app", nullptr,
                   "DEBUG: Override rule is disabled for app com.example.app"},
        LookupCase{"EnabledNotBooleanIsIgnored",
                   R"({"globalRules": [{"id": "a", "overrideTarn": "right"}],
                       "appConfigs": [{"bundleID": "com.example.app", "savedLocations": [],
                         "ruleOverrides": ["a", {"enabled": "no", "stateFilters": {"fullWidthOnPrimary": false}},
                                           "a"]}]})",
                   "right", "com.example.app", "111111",
                   "DEBUG: Using override for app com.example.app with 0 saved locations"},
        LookupCase{"LaterPairWithTheSameKeyWins",
                   R"({"globalRules": [{"id": "a", "overrideTarn": "right"}],
                       "appConfigs": [{"bundleID": "com.example.app", "savedLocations": [],
                         "ruleOverrides": ["a", {"enabled": false}, "a", {"enabled": true}]}]})",
                   "right", "com.example.app", "111111",
                   "DEBUG: Using override for app com.example.app with 0 saved locations"},
        LookupCase{"NoFrontmostWindowUsesTheRuleOnly",
                   R"({"globalRules": [{"id": "a", "overrideTarn": "right"}],
                       "appConfigs": [{"bundleID": "com.example.app", "savedLocations": [],
                         "ruleOverrides": ["a", {"enabled": false}]}]})",
                   "right", std::nullopt, "111111",
                   "DEBUG: Using override with no app-specific customization"},
        LookupCase{"LocationWithoutScreenIndexSpoilsTheAppList",
                   R"({"globalRules": [{"id": "a", "overrideTarn": "left"}],
                       "appConfigs": [{"bundleID": "com.example.app",
                         "savedLocations": [{"frame": [[0, 0], [100, 100]]}]}]})",
                   "left", "com.example.app", "111111",
                   "DEBUG: Using override with no app-specific customization"},
        LookupCase{"MalformedAppEntryEmptiesTheAppList",
                   R"({"globalRules": [{"id": "a", "overrideTarn": "right"}],
                       "appConfigs": [{"bundleID": "com.example.app", "savedLocations": []},
                                      {"bundleID": "other"}]})",
                   "right", "com.example.app", "111111",
                   "DEBUG: Using override with no app-specific customization"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(OverrideLookupTest, ReturnsEverySavedLocationInOrder) {
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
