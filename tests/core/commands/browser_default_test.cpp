#include <gtest/gtest.h>

#include <sstream>

#include "core/commands/browser_default.h"
#include "tests/common/fake_desktop.h"
#include "tests/common/golden.h"

namespace tarn::commands {
namespace {

using platform::BrowserApp;

BrowserApp app(std::string id, std::string name, std::string path, bool http = true,
               bool https = true) {
    return {.bundleID = std::move(id),
            .name = std::move(name),
            .path = std::move(path),
            .agentLike = false,
            .declaresHttp = http,
            .declaresHttps = https};
}

// Prefixes but for the Cryptexes folder, which counts anywhere; what no rule takes comes last.
TEST(PreferredPathScoreTest, FirstRuleThatApplies) {
    const std::pair<const char*, int> cases[] = {
        {"/usr/share/applications/firefox-esr.desktop", 0},
        {"/System/Volumes/Preboot/Cryptexes/App/System/Applications/Safari.app", 2},
        {"/home/me/.local/share/applications/brave.desktop", 3},
        {"/Volumes/Disk/Applications/Arc.app", 4},
        {"Applications/relative.app", 5},
    };
    for (const auto& [path, score] : cases) EXPECT_EQ(preferredPathScore(path), score) << path;
}

// One entry per identifier at its most usual place; then filtered, and ordered by place and
// by name ignoring case.
TEST(BrowserCandidatesTest, FiltersThenOrdersByPlaceAndNameIgnoringCase) {
    testing::FakeDesktop desktop;
    desktop.browserApps = {
        app("home.zed", "zed", "/Users/me/Zed.app"),
        app("org.b", "Beta", "/Users/me/Beta.app"),
        app("org.b", "Beta", "/Volumes/X/Beta.app"),
        app("org.b", "Beta", "/Applications/Beta.app"),
        app("org.b", "Beta", "/System/Applications/Beta.app"),
        app("", "Nameless", "/Applications/Nameless.app"),
        app("org.only.http", "Only Http", "/Applications/OnlyHttp.app", true, false),
        app("com.parallels.winapp.edge", "Edge", "/Applications/Edge.app"),
        app("org.agent", "Agent", "/Applications/Agent.app"),
        app("org.alpha", "Alpha", "/Applications/Alpha.app"),
        app("org.gamma", "", "/Applications/My Gamma.app"),
        app("org.Alpha", "ALPHA", "/Applications/ALPHA2.app"),
    };
    desktop.browserApps[8].agentLike = true;
    std::vector<std::string> order;
    for (const auto& c : browserCandidates(desktop)) order.push_back(c.name + "@" + c.path);
    // Equal names ignoring case keep the desktop's order; no name falls back to the file.
    EXPECT_EQ(order, (std::vector<std::string>{
                         "Alpha@/Applications/Alpha.app", "ALPHA@/Applications/ALPHA2.app",
                         "Beta@/Applications/Beta.app", "My Gamma@/Applications/My Gamma.app",
                         "zed@/Users/me/Zed.app"}));
}

class BrowserDefaultCommandTest : public ::testing::Test {
  protected:
    BrowserDefaultCommandTest() {
        desktop.browserApps = {app("org.zeta", "Zeta", "/Applications/Zeta.app"),
                               app("org.alpha", "Alpha/Beta", "/Applications/Alpha.app")};
    }
    int run(const Args& args) { return handleBrowserDefault(args, context); }

    testing::FakeDesktop desktop;
    std::ostringstream out, err;
    CommandContext context{out, err, desktop};
};

struct Case {
    const char* name;
    Args args;
    int status;
    const char* out;
    const char* err;
    std::optional<std::string> defaultAfter;
};

class BrowserDefaultCaseTest : public BrowserDefaultCommandTest,
                               public ::testing::WithParamInterface<Case> {};

TEST_P(BrowserDefaultCaseTest, PrintsAndEndsAsDocumented) {
    const auto& c = GetParam();
    desktop.defaults = {"org.zeta", "org.alpha"};
    desktop.refuseDefault = {"org.stubborn"};
    EXPECT_EQ(run(c.args), c.status);
    EXPECT_EQ(out.str(), c.out);
    EXPECT_EQ(err.str(), c.err);
    EXPECT_EQ(desktop.defaults.https, c.defaultAfter);
}

constexpr const char* kUsage = "Usage: tarn browser-default <list|current|set|toggle>\n";
constexpr const char* kSetUsage =
    "Usage: tarn browser-default set <index> OR set --bundle <bundleID>\n";
constexpr const char* kToggleUsage =
    "Usage: tarn browser-default toggle --a <bundleID> --b <bundleID>\n";
constexpr const char* kAlpha = "org.alpha";
const std::string kList = testing::golden("core/commands/golden/browser_list.json");

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Subcommands, BrowserDefaultCaseTest,
    ::testing::Values(
        Case{"NoWord", {}, 1, "", kUsage, kAlpha},
        Case{"UnknownWord", {"List"}, 1, "",
             "Unknown browser-default subcommand: List\nUsage: tarn browser-default "
             "<list|current|set|toggle>\n", kAlpha},
        Case{"List", {"list", "extra"}, 0, kList.c_str(), "", kAlpha},
        Case{"Current", {"current"}, 0,
             "{\n  \"http\" : \"org.zeta\",\n  \"https\" : \"org.alpha\"\n}\n", "", kAlpha},
        Case{"SetFirstIndex", {"set", "0"}, 0, "Set default browser to: Alpha/Beta (org.alpha)\n",
             "", kAlpha},
        Case{"SetSignedIndex", {"set", "+1"}, 0, "Set default browser to: Zeta (org.zeta)\n", "",
             "org.zeta"},
        Case{"SetByBundle", {"set", "--bundle", "org.zeta"}, 0,
             "Set default browser to: Zeta (org.zeta)\n", "", "org.zeta"},
        Case{"SetUnknownBundle", {"set", "--bundle", "org.Zeta"}, 3, "",
             "Bundle not found in candidates: org.Zeta\n", kAlpha},
        Case{"SetNegativeIndex", {"set", "-1"}, 1, "", kSetUsage, kAlpha},
        Case{"SetIndexEqualToCount", {"set", "2"}, 1, "", kSetUsage, kAlpha},
        Case{"SetNotANumber", {"set", "one"}, 1, "", kSetUsage, kAlpha},
        Case{"SetBundleFlagAlone", {"set", "--bundle"}, 1, "", kSetUsage, kAlpha},
        Case{"SetNothing", {"set"}, 1, "", kSetUsage, kAlpha},
        // The current default is the http one: org.zeta, which is neither A nor B.
        Case{"ToggleToA", {"toggle", "--b", "org.alpha", "--a", "org.zeta"}, 0,
             "{\"bundleID\":\"org.alpha\",\"name\":\"Alpha\\/Beta\"}\n", "", kAlpha},
        Case{"ToggleFromAToB", {"toggle", "--a", "org.zeta", "--b", "org.alpha"}, 0,
             "{\"bundleID\":\"org.alpha\",\"name\":\"Alpha\\/Beta\"}\n", "", kAlpha},
        Case{"ToggleToUnlisted", {"toggle", "--a", "org.other", "--b", "x"}, 0, "", "", "org.other"},
        Case{"ToggleRefused", {"toggle", "--a", "org.stubborn", "--b", "x"}, 4, "",
             "Failed to toggle to org.stubborn\n", kAlpha},
        Case{"ToggleFlagLast", {"toggle", "--a", "org.zeta", "--b"}, 1, "", kToggleUsage, kAlpha},
        Case{"ToggleNoFlags", {"toggle"}, 1, "", kToggleUsage, kAlpha}),
    [](const auto& info) { return std::string(info.param.name); });
// clang-format on

TEST_F(BrowserDefaultCommandTest, ToggleFallsBackToTheHttpsDefault) {
    desktop.defaults = {std::nullopt, "org.zeta"};
    EXPECT_EQ(run({"toggle", "--a", "org.zeta", "--b", "org.alpha"}), 0);
    EXPECT_EQ(desktop.defaults.http, "org.alpha");
}

TEST_F(BrowserDefaultCommandTest, WithoutCandidates) {
    desktop.browserApps.clear();
    EXPECT_EQ(run({"list"}), 2);
    EXPECT_EQ(out.str(), "No likely browsers found for http/https.\n");
    EXPECT_EQ(run({"set", "0"}), 2);
    EXPECT_EQ(err.str(), "No likely browsers found for http/https.\n");
    EXPECT_EQ(run({"current"}), 0);
    EXPECT_EQ(out.str(),
              "No likely browsers found for http/https.\n{\n  \"http\" : null,\n"
              "  \"https\" : null\n}\n");
}

TEST_F(BrowserDefaultCommandTest, RefusedSetSaysSoWithStatusFour) {
    desktop.refuseDefault = {"org.zeta"};
    EXPECT_EQ(run({"set", "1"}), 4);
    EXPECT_EQ(err.str(), "Failed to set default browser to org.zeta\n");
    EXPECT_EQ(out.str(), "");
}

}  // namespace
}  // namespace tarn::commands
