#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <regex>
#include <thread>

#include "support/json_text.h"
#include "tests/common/command_runner.h"

namespace tarn::testing {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// A program of the test's own, in its own process group, ended with the test.
class Child {
  public:
    Child(std::vector<std::string> argv, const std::vector<std::string>& env, const fs::path& log) {
        pid_ = ::fork();
        if (pid_ == 0) {
            ::setpgid(0, 0);
            std::FILE* out = std::fopen(log.c_str(), "w");
            ::dup2(::fileno(out), 1);
            ::dup2(::fileno(out), 2);
            for (const auto& entry : env) ::putenv(const_cast<char*>(entry.c_str()));
            std::vector<char*> args;
            for (auto& word : argv) args.push_back(word.data());
            args.push_back(nullptr);
            ::execvp(args[0], args.data());
            ::_exit(127);
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() {
        if (pid_ <= 0) return;
        ::kill(-pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }

  private:
    pid_t pid_ = -1;
};

// Waits for the browser or the server to be ready: a start-up, not a measured time.
template <typename Ready>
bool waitFor(Ready ready) {
    for (auto end = std::chrono::steady_clock::now() + 20s; std::chrono::steady_clock::now() < end;
         std::this_thread::sleep_for(50ms)) {
        if (ready()) return true;
    }
    return false;
}

std::string output(const std::string& command) {
    std::string text;
    std::FILE* pipe = ::popen(command.c_str(), "r");
    char buffer[4096];
    while (std::size_t got = std::fread(buffer, 1, sizeof buffer, pipe)) text.append(buffer, got);
    ::pclose(pipe);
    return text;
}

// What differs between the two browsers under test.
struct Browser {
    const char* words[3];  // the command's browser words for it
    const char* program;   // its running program, which names its socket
    std::string name;      // as messages name it
    const char* other;     // a browser that is not running, started by a stand-in
};

const Browser kChromium{
    {"chromium", "Chromium", "chromium-browser"}, "chromium", "Chromium", "firefox"};
const Browser kFirefox{{"firefox", "Firefox", "firefox-esr"}, "firefox-esr", "Firefox", "chromium"};

class BrowserTabTest : public CommandTest, public ::testing::WithParamInterface<Browser> {
  protected:
    void SetUp() override {
        for (const char* folder :
             {"www", "profile/extensions", "bin", "run", "empty", ".mozilla"}) {
            fs::create_directories(home() / folder);
            ::chmod((home() / folder).c_str(), 0700);
        }
        // The page in view calls home ten times a second: Firefox's oracle. (Headless
        // Firefox does not always tell a page that it is shown again.)
        for (const char* page : {"start", "alpha", "beta", "gamma"}) {
            std::ofstream(home() / "www" / (std::string(page) + ".html"))
                << "<title>" << page << (page[0] == 'g' ? " \"quoted\"" : "")
                << " page</title><script>setInterval(() => { if (!document.hidden) fetch('/seen?"
                << page << "&' + Date.now(), {cache: 'no-store'}) }, 100)</script>";
        }
        // A browser that only notes what it was started with.
        std::ofstream(home() / "bin" / GetParam().other)
            << "#!/bin/sh\necho \"$@\" > \"$0.started\"\n";
        ::chmod((home() / "bin" / GetParam().other).c_str(), 0755);

        http_.emplace(
            std::vector<std::string>{"python3", "-u", "-m", "http.server", "--bind", "127.0.0.1",
                                     "--directory", (home() / "www").string(), "0"},
            std::vector<std::string>{}, home() / "http.log");
        std::smatch port;
        ASSERT_TRUE(waitFor([&] {
            auto log = support::readFile(home() / "http.log").value_or("");
            static const std::regex serving("port ([0-9]+)");
            if (!std::regex_search(log, port, serving)) return false;
            base_ = "http://127.0.0.1:" + port[1].str();
            return true;
        }));

        const auto profile = (home() / "profile").string();
        ASSERT_EQ(std::system(("HOME=" + home().string() +
                               " " TARN_SOURCE_DIR
                               "/scripts/browser-setup install --host " TARN_HOST_BINARY
                               " --chromium-profile " +
                               profile + " >/dev/null")
                                  .c_str()),
                  0);
        const std::vector<std::string> env{"HOME=" + home().string(),
                                           "XDG_RUNTIME_DIR=" + (home() / "run").string()};
        if (GetParam().program == kChromium.program) {
            browser_.emplace(
                std::vector<std::string>{"chromium", "--headless", "--no-sandbox", "--disable-gpu",
                                         "--user-data-dir=" + profile,
                                         "--load-extension=" TARN_EXTENSION_DIR "/chromium",
                                         "--remote-debugging-port=0", base_ + "/start.html"},
                env, home() / "browser.log");
        } else {
            fs::copy_file(TARN_EXTENSION_DIR "/firefox.xpi",
                          home() / "profile/extensions/browser-tab@tarn.invalid.xpi");
            std::ofstream(home() / "profile/user.js")
                << "user_pref(\"xpinstall.signatures.required\", false);\n"
                   "user_pref(\"extensions.autoDisableScopes\", 0);\n"
                   "user_pref(\"extensions.enabledScopes\", 15);\n"
                   "user_pref(\"datareporting.policy.dataSubmissionEnabled\", false);\n"
                   "user_pref(\"browser.startup.homepage_override.mstone\", \"ignore\");\n";
            browser_.emplace(
                std::vector<std::string>{"firefox-esr", "--headless", "--profile", profile,
                                         "--no-remote", base_ + "/start.html"},
                env, home() / "browser.log");
        }
        ASSERT_TRUE(waitFor([&] {
            std::error_code none;
            for (const auto& entry :
                 fs::directory_iterator(home() / "run" / "tarn-browser", none)) {
                auto name = entry.path().filename().string();
                if (name.starts_with(std::string(GetParam().program) + "-")) return true;
            }
            return false;
        })) << support::readFile(home() / "browser.log").value_or("");
    }

    // The page in front. Chromium's DevTools endpoint lists pages most recently brought
    // forward first; in Firefox the page that last came into view called home.
    std::string frontPage() {
        if (GetParam().program == kChromium.program) {
            auto targets = support::parseJson(output("curl -s " + devtools() + "/json"));
            if (!targets) return "";
            for (const auto& target : *targets) {
                if (target.value("type", "") == "page") {
                    return target.value("url", "").substr(base_.size());
                }
            }
            return "";
        }
        auto log = support::readFile(home() / "http.log").value_or("");
        auto seen = log.rfind("GET /seen?");
        if (seen == std::string::npos) return "";
        seen += 10;
        return "/" + log.substr(seen, log.find('&', seen) - seen) + ".html";
    }

    std::string devtools() const {
        auto port = support::readFile(home() / "profile" / "DevToolsActivePort").value_or("");
        return "http://127.0.0.1:" + port.substr(0, port.find('\n'));
    }

    std::string base_;
    std::optional<Child> http_, browser_;
};

TEST_P(BrowserTabTest, SelectsTheFirstMatchOrOpensTheAddress) {
    const auto runtime = "XDG_RUNTIME_DIR=" + (home() / "run").string();
    const auto& words = GetParam().words;
    struct Case {
        const char* word;
        const char* urlPattern;
        const char* titlePattern;
        const char* target;  // an address on the test's server
        const char* front;   // then in front
    };
    const Case cases[] = {
        {words[0], "nomatch", "zzz", "/alpha.html", "/alpha.html"},
        {words[0], "nomatch", "zzz", "/beta.html", "/beta.html"},
        {words[0], "nomatch", "zzz", "/gamma.html", "/gamma.html"},
        {words[1], "alpha", "zzz", "/x", "/alpha.html"},
        {words[2], "nomatch", "zzz||beta page", "/x", "/beta.html"},
        {words[0], "a.html", "zzz", "/x", "/alpha.html"},
        {words[0], "nomatch", "\"quoted\"", "/x", "/gamma.html"},
        {words[0], "nomatch", "||", "/x", "/start.html"},
    };
    for (const auto& c : cases) {
        auto result =
            run({"browser-tab", c.word, c.urlPattern, c.titlePattern, base_ + c.target}, {runtime});
        EXPECT_EQ(result.status, 0) << c.titlePattern << result.err;
        EXPECT_EQ(result.err, "");
        // The selection is made when tarn returns; the oracle may see it a moment later.
        EXPECT_TRUE(waitFor([&] { return frontPage() == c.front; }))
            << c.urlPattern << " " << c.titlePattern << ": " << frontPage();
    }

    // Every window closed: the address opens in a new one. Only Chromium's endpoint closes
    // them here (Firefox quits with its last window).
    if (GetParam().program == kChromium.program) {
        auto targets = support::parseJson(output("curl -s " + devtools() + "/json")).value();
        for (const auto& target : targets) {
            if (target.value("type", "") == "page") {
                output("curl -s " + devtools() + "/json/close/" + target.value("id", ""));
            }
        }
        ASSERT_TRUE(waitFor([&] { return frontPage().empty(); }));
        EXPECT_EQ(
            run({"browser-tab", words[0], "alpha", "", base_ + "/beta.html"}, {runtime}).status, 0);
        EXPECT_TRUE(waitFor([&] { return frontPage() == "/beta.html"; }));
    }

    // No socket for the running browser: the extension is missing.
    auto missing = run({"browser-tab", words[0], "a", "b", base_ + "/x"},
                       {"XDG_RUNTIME_DIR=" + (home() / "empty").string()});
    EXPECT_EQ(missing.status, 5);
    EXPECT_EQ(missing.err, "Browser error: " + GetParam().name +
                               " is running without Tarn's browser extension: install its host "
                               "with scripts/browser-setup install and add the extension it "
                               "names\n");

    // A browser that is not running is started with the address.
    auto started = run({"browser-tab", GetParam().other, "a", "b", base_ + "/x"},
                       {runtime, "PATH=" + (home() / "bin").string() + ":/usr/bin:/bin"});
    EXPECT_EQ(started.status, 0) << started.err;
    auto record = home() / "bin" / (std::string(GetParam().other) + ".started");
    EXPECT_TRUE(waitFor([&] { return fs::exists(record) && fs::file_size(record) > 0; }));
    EXPECT_EQ(support::readFile(record), base_ + "/x\n");
}

INSTANTIATE_TEST_SUITE_P(Browsers, BrowserTabTest, ::testing::Values(kChromium, kFirefox),
                         [](const auto& info) { return std::string(info.param.words[0]); });

}  // namespace
}  // namespace tarn::testing
