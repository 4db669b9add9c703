#include "core/commands/browser_tab.h"

#include <ostream>

#include "core/errors.h"
#include "support/store.h"
#include "support/text.h"

namespace tarn::commands {
namespace {

// Each template is kept as the three pieces around its insertions: after the browser name
// up to the condition, after the condition up to the address, and after the address.
struct ScriptTemplate {
    const char* beforeCondition;
    const char* beforeUrl;
    const char* end;
};

constexpr ScriptTemplate kChromiumTemplate{
    "\"\n"
    "    activate\n"
    "    set found to false\n"
    "    \n"
    "    repeat with w in windows\n"
    "        set i to 0\n"
    "        repeat with t in tabs of w\n"
    "            set i to i + 1\n"
    "            if ",
    " then\n"
    "                set active tab index of w to i\n"
    "                set index of w to 1\n"
    "                set found to true\n"
    "                exit repeat\n"
    "            end if\n"
    "        end repeat\n"
    "        if found then exit repeat\n"
    "    end repeat\n"
    "    \n"
    "    if not found then\n"
    "        if (count of windows) is 0 then\n"
    "            make new window\n"
    "        end if\n"
    "        tell window 1\n"
    "            set newTab to make new tab with properties {URL:\"",
    "\"}\n"
    "            set active tab index to (count of tabs)\n"
    "        end tell\n"
    "    end if\n"
    "end tell"};

constexpr ScriptTemplate kSafariTemplate{
    "\"\n"
    "    activate\n"
    "    set found to false\n"
    "    \n"
    "    repeat with w in windows\n"
    "        repeat with t in tabs of w\n"
    "            if ",
    " then\n"
    "                set current tab of w to t\n"
    "                set index of w to 1\n"
    "                set found to true\n"
    "                exit repeat\n"
    "            end if\n"
    "        end repeat\n"
    "        if found then exit repeat\n"
    "    end repeat\n"
    "    \n"
    "    if not found then\n"
    "        if (count of windows) is 0 then\n"
    "            make new document\n"
    "        end if\n"
    "        tell window 1\n"
    "            set newTab to make new tab with properties {URL:\"",
    "\"}\n"
    "            set current tab to newTab\n"
    "        end tell\n"
    "    end if\n"
    "end tell"};

constexpr const char* kDefaultBrowser = "Google Chrome";

// An empty browser word means the browser the user stored as the "browser" setting.
std::string browserOrDefault(const std::string& browser, CommandContext& context) {
    if (!browser.empty()) return browser;
    auto loaded = support::loadStore(context.appSupportDir() / "config.json");
    if (auto found = loaded.store.values.find("browser"); found != loaded.store.values.end()) {
        if (auto text = support::storeValueText(found->second); !text.empty()) return text;
    }
    return kDefaultBrowser;
}

// Where the browser's tabs are reached without scripts: the first match is selected, else
// the address opens; a browser that is not running is started with the address.
int switchOrOpenTab(platform::BrowserTabs& tabs, const std::string& urlPattern,
                    const std::string& titlePattern, const std::string& targetUrl,
                    CommandContext& context) {
    auto listing = tabs.list();
    std::optional<platform::TabsFailure> failure = listing.failure;
    if (!failure || failure->problem == platform::TabsProblem::notRunning) {
        auto found =
            failure ? std::nullopt : findTab(listing.windows, urlPattern, titleTerms(titlePattern));
        if (found) {
            const auto& window = listing.windows[found->window];
            failure = tabs.select(window.id, window.tabs[found->tab].id);
        } else {
            failure = tabs.open(targetUrl);
        }
    }
    if (!failure) return 0;
    context.err << "Browser error: " << failure->message << '\n';
    return 5;
}

}  // namespace

std::optional<TabPosition> findTab(const std::vector<platform::BrowserWindow>& windows,
                                   const std::string& urlPattern,
                                   const std::vector<std::string>& titleTerms) {
    for (std::size_t w = 0; w < windows.size(); ++w) {
        const auto& tabs = windows[w].tabs;
        for (std::size_t t = 0; t < tabs.size(); ++t) {
            bool matches = tabs[t].url.find(urlPattern) != std::string::npos;
            for (const auto& term : titleTerms) {
                matches = matches || tabs[t].title.find(term) != std::string::npos;
            }
            if (matches) return TabPosition{w, t};
        }
    }
    return std::nullopt;
}

std::vector<std::string> titleTerms(const std::string& titlePattern) {
    std::vector<std::string> terms;
    for (auto term : support::splitText(titlePattern, "||")) terms.emplace_back(term);
    return terms;
}

bool isSafariFamily(const std::string& browser) {
    auto lower = support::asciiLowercase(browser);
    return lower == "safari" || lower == "orion" || lower == "orion rc";
}

std::string composeBrowserTabScript(const std::string& browser, const std::string& urlPattern,
                                    const std::string& titlePattern, const std::string& targetUrl) {
    const bool safari = isSafariFamily(browser);
    const ScriptTemplate& pieces = safari ? kSafariTemplate : kChromiumTemplate;
    const char* titleProperty = safari ? "name" : "title";
    std::string condition = "(URL of t contains \"" + urlPattern + "\")";
    for (const auto& term : titleTerms(titlePattern)) {
        condition += std::string(" or (") + titleProperty + " of t contains \"" + term + "\")";
    }
    std::string name = browser.empty() && !safari ? kDefaultBrowser : browser;
    return "tell application \"" + name + pieces.beforeCondition + condition + pieces.beforeUrl +
           targetUrl + pieces.end;
}

int switchOrOpenBrowserTab(const std::string& browser, const std::string& urlPattern,
                           const std::string& titlePattern, const std::string& targetUrl,
                           CommandContext& context) {
    auto script = composeBrowserTabScript(browser, urlPattern, titlePattern, targetUrl);
    auto result = context.desktop().scripts().run(script);
    if (!result.compiled) return 0;
    if (result.error) {
        context.err << "AppleScript error: " << *result.error << '\n';
        return 5;
    }
    return 0;
}

int handleBrowserTab(const Args& args, CommandContext& context) {
    if (args.size() < 4) {
        context.err << "Usage: tarn browser-tab <browser> <urlPattern> <titlePattern> <url>\n";
        throw CommandFailure(HelperError::insufficientArguments);
    }
    auto browser = browserOrDefault(args[0], context);
    if (auto tabs = context.browserTabs(browser)) {
        return switchOrOpenTab(*tabs, args[1], args[2], args[3], context);
    }
    return switchOrOpenBrowserTab(browser, args[1], args[2], args[3], context);
}

}  // namespace tarn::commands
