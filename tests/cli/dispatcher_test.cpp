#include <gtest/gtest.h>

#include "tests/common/command_runner.h"
#include "tests/common/golden.h"

namespace tarn::testing {
namespace {

const std::string kVersion = "tarn v0.1.1.106 (built 2026-01-26)";
const std::string kUsage = kVersion + golden("cli/golden/usage.txt");
const std::string kHelp = kUsage + golden("cli/golden/key_names.txt");

struct Case {
    std::vector<std::string> args;
    int status;
    std::string out, err;
};

class DispatcherTest : public CommandTest, public ::testing::WithParamInterface<Case> {};

// No desktop in any of these: words that need none answer, the rest say what is missing.
TEST_P(DispatcherTest, AnswersTheFirstWord) {
    auto result = run(GetParam().args);
    EXPECT_EQ(result.status, GetParam().status);
    EXPECT_EQ(result.out, GetParam().out);
    EXPECT_EQ(result.err, GetParam().err);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Words, DispatcherTest, ::testing::Values(
    Case{{}, 1, "", kUsage},
    Case{{"frobnicate"}, 1, "", kUsage},
    Case{{"Keys", "x"}, 1, "", kUsage},
    Case{{"HELP"}, 1, "", kUsage},
    Case{{""}, 1, "", kUsage},
    Case{{"version "}, 1, "", kUsage},
    Case{{"help"}, 0, "", kHelp},
    Case{{"--help"}, 0, "", kHelp},
    Case{{"-h", "extra"}, 0, "", kHelp},
    Case{{"version", "x"}, 0, kVersion + "\n", ""},
    Case{{"--version"}, 0, kVersion + "\n", ""},
    Case{{"-v"}, 0, kVersion + "\n", ""},
    Case{{"move-app"}, 1, "", "Usage: tarn move-app <left|right|up|down>\n"},
    Case{{"healthcheck"}, 1, "", "ERROR: No desktop to work on: DISPLAY is not set (and "
                                 "TARN_SIM_DESKTOP names no simulated desktop)\n"}));
// clang-format on

// Each verdict's word and status once; which verdict a desktop earns is proven on the fake.
TEST_F(CommandTest, HealthcheckPrintsTheVerdict) {
    const std::tuple<const char*, const char*, int> cases[] = {
        {"{}", "healthy", 0},
        {R"({"apps": [{"pid": 100, "bundleID": "a", "windowListError": -25211}]})",
         "cannotReadPosition", 1},
        {R"({"mouseEventsAvailable": false})", "cannotMoveMouse", 1},
    };
    for (const auto& [patch, verdict, status] : cases) {
        auto desktop = basicDesktop();
        desktop.merge_patch(support::Json::parse(patch));
        writeDesktop(desktop);
        auto result = run({"healthcheck", "ignored", "words"});
        EXPECT_EQ(result.out, std::string(verdict) + "\n");
        EXPECT_EQ(result.status, status) << verdict;
        EXPECT_EQ(result.err, "");
    }
}

}  // namespace
}  // namespace tarn::testing
