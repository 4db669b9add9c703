#include <gtest/gtest.h>

#include <sstream>

#include "core/commands/browser_tab.h"
#include "core/errors.h"
#include "support/store.h"
#include "tests/common/fake_desktop.h"
#include "tests/common/golden.h"
#include "tests/common/temp_dir.h"

namespace tarn::commands {
namespace {

// Both templates, the name as typed, every title term (an empty one too), quotes left as they
// are.
TEST(BrowserTabScriptTest, ChromiumAndSafariTemplates) {
    EXPECT_EQ(composeBrowserTabScript("Brave Browser", "mail.example", "Inbox||Mail",
                                      "https://mail.example/"),
              testing::golden("core/commands/golden/chromium_tab.applescript"));
    EXPECT_EQ(composeBrowserTabScript("SAFARI", "a\"b", "", "u"),
              testing::golden("core/commands/golden/safari_tab.applescript"));
}

TEST(BrowserTabScriptTest, FamilyByNameIgnoringCase) {
    for (const char* safari : {"safari", "Orion", "orion RC"}) EXPECT_TRUE(isSafariFamily(safari));
    for (const char* other : {"Arc", "Safari Technology Preview", "OrionRC", ""}) {
        EXPECT_FALSE(isSafariFamily(other)) << other;
    }
}

TEST(BrowserTabScriptTest, TitleTermsSplitAtEveryDoubleBarKeepingEmptyOnes) {
    EXPECT_EQ(titleTerms("a||||b"), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_EQ(titleTerms(""), std::vector<std::string>{""});
}

class BrowserTabCommandTest : public ::testing::Test {
  protected:
    int run(const Args& args) { return handleBrowserTab(args, context); }

    testing::TempDir config;
    testing::ScopedEnv configHome{"XDG_CONFIG_HOME", config.path().c_str()};
    testing::FakeDesktop desktop;
    std::ostringstream out, err;
    CommandContext context{out, err, desktop};
};

TEST_F(BrowserTabCommandTest, FewerThanFourWordsPrintUsageAndThrow) {
    EXPECT_THROW(run({"Safari", "a", "b"}), CommandFailure);
    EXPECT_EQ(err.str(), "Usage: tarn browser-tab <browser> <urlPattern> <titlePattern> <url>\n");
    EXPECT_TRUE(desktop.scriptsRun.empty());
}

TEST_F(BrowserTabCommandTest, RefusedSourceIsSilentSuccess) {
    desktop.scriptResult.compiled = false;
    EXPECT_EQ(run({"Arc", "a", "b", "c"}), 0);
    EXPECT_EQ(err.str() + out.str(), "");
}

TEST_F(BrowserTabCommandTest, EmptyBrowserIsTheStoredSettingElseGoogleChrome) {
    EXPECT_EQ(run({"", "a", "b", "c"}), 0);
    support::Store store;
    store.values["browser"] = std::string("Orion");
    ASSERT_FALSE(support::saveJSON(store, context.appSupportDir() / "config.json"));
    EXPECT_EQ(run({"", "a", "b", "c"}), 0);
    EXPECT_EQ(desktop.scriptsRun,
              (std::vector<std::string>{composeBrowserTabScript("Google Chrome", "a", "b", "c"),
                                        composeBrowserTabScript("Orion", "a", "b", "c")}));
}

}  // namespace
}  // namespace tarn::commands
