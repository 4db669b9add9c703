#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/files.h"
#include "tests/common/command_runner.h"

namespace tarn::testing {
namespace {

const std::string kVersionLine = "tarn v0.1.1.106 (built 2026-01-26)";

std::string golden(const std::string& name) {
    auto text = support::readFile(std::string(TARN_TEST_DATA_DIR) + "/" + name);
    EXPECT_TRUE(text) << name;
    return text.value_or("");
}

std::string usage() {
    return kVersionLine + golden("usage.txt");
}

class DispatcherTest : public CommandTest {};

struct UsageCase {
    std::vector<std::string> args;
    int status;
    bool withKeyNames;
};

class UsageTest : public CommandTest, public ::testing::WithParamInterface<UsageCase> {};

TEST_P(UsageTest, PrintsVersionAndUsageToStandardError) {
    const auto& c = GetParam();
    auto result = run(c.args);
    EXPECT_EQ(result.status, c.status);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, usage() + (c.withKeyNames ? golden("key_names.txt") : ""));
}

INSTANTIATE_TEST_SUITE_P(
    Words, UsageTest,
    ::testing::Values(UsageCase{{}, 1, false}, UsageCase{{"frobnicate"}, 1, false},
                      UsageCase{{"Keys", "x"}, 1, false}, UsageCase{{"HELP"}, 1, false},
                      UsageCase{{""}, 1, false}, UsageCase{{"version "}, 1, false},
                      UsageCase{{"help"}, 0, true}, UsageCase{{"--help"}, 0, true},
                      UsageCase{{"-h", "extra"}, 0, true}));

TEST_F(DispatcherTest, VersionWordsPrintTheVersionLineOnStandardOutput) {
    for (const char* word : {"version", "--version", "-v"}) {
        auto result = run({word, "ignored"});
        EXPECT_EQ(result.status, 0) << word;
        EXPECT_EQ(result.out, kVersionLine + "\n") << word;
        EXPECT_EQ(result.err, "") << word;
    }
}

TEST_F(DispatcherTest, MoveAppWithoutDirectionPrintsItsUsage) {
    auto result = run({"move-app"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "Usage: tarn move-app <left|right|up|down>\n");
}

TEST_F(DispatcherTest, CommandsThatNeedADesktopSayWhatIsMissing) {
    auto result = run({"healthcheck"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "ERROR: No desktop to work on: DISPLAY is not set (and TARN_SIM_DESKTOP names no "
              "simulated desktop)\n");
}

TEST_F(DispatcherTest, BrokenDesktopFileIsOneErrorLineNamingTheFile) {
    writeDesktop(basicDesktop());
    std::filesystem::resize_file(simFile(), 10);
    auto result = run({"healthcheck"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, ::testing::MatchesRegex("ERROR: .*desktop\\.json.*not valid JSON\n"));
}

struct HealthCase {
    const char* name;
    const char* patch;  // JSON merge patch applied to the basic desktop
    const char* verdict;
    int status;
};

class HealthcheckTest : public CommandTest, public ::testing::WithParamInterface<HealthCase> {};

TEST_P(HealthcheckTest, PrintsTheVerdict) {
    auto desktop = basicDesktop();
    desktop.merge_patch(support::Json::parse(GetParam().patch));
    writeDesktop(desktop);
    auto result = run({"healthcheck", "ignored", "words"});
    EXPECT_EQ(result.out, std::string(GetParam().verdict) + "\n");
    EXPECT_EQ(result.status, GetParam().status);
    EXPECT_EQ(result.err, "");
}

// Each verdict's word and status once; which verdict a desktop earns is proven on the fake.
INSTANTIATE_TEST_SUITE_P(
    Verdicts, HealthcheckTest,
    ::testing::Values(HealthCase{"AllGood", "{}", "healthy", 0},
                      HealthCase{"AccessibilityDisabled", R"({"apps": [{"pid": 100, "bundleID": "a",
            "windowListError": -25211}]})",
                                 "cannotReadPosition", 1},
                      HealthCase{"NoMouseEvents", R"({"mouseEventsAvailable": false})",
                                 "cannotMoveMouse", 1}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tarn::testing
