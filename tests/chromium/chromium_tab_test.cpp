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
    for (auto end = std::chrono::steady_clock::now() + 60s; std::chrono::steady_clock::now() < end;
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

class ChromiumTabTest : public CommandTest {
  protected:
    void SetUp() override {
        for (const char* folder : {"www", "profile", "bin", "run", "empty"}) {
            fs::create_directories(home() / folder);
            ::chmod((home() / folder).c_str(), 0700);
        }
        for (const char* page : {"alpha", "beta", "gamma"}) {
            std::ofstream(home() / "www" / (std::string(page) + ".html"))
                << "<title>" << page << (page[0] == 'g' ? " \"quoted\"" : "") << " page</title>";
        }
        // A Firefox that only notes what it was started with.
        std::ofstream(home() / "bin" / "firefox") << "#!/bin/sh\necho \"$@\" > \"$0.started\"\n";
        ::chmod((home() / "bin" / "firefox").c_str(), 0755);

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

        ASSERT_EQ(std::system(("HOME=" + home().string() +
                               " " TARN_SOURCE_DIR
                               "/scripts/browser-setup install --host " TARN_HOST_BINARY
                               " --chromium-profile " +
                               (home() / "profile").string() + " >/dev/null")
                                  .c_str()),
                  0);
        const auto runtime = "XDG_RUNTIME_DIR=" + (home() / "run").string();
        chromium_.emplace(
            std::vector<std::string>{"chromium", "--headless", "--no-sandbox", "--disable-gpu",
                                     "--user-data-dir=" + (home() / "profile").string(),
                                     "--load-extension=" TARN_EXTENSION_DIR,
                                     "--remote-debugging-port=0", base_ + "/alpha.html"},
            std::vector<std::string>{"HOME=" + home().string(), runtime}, home() / "chromium.log");
        ASSERT_TRUE(waitFor([&] {
            std::error_code none;
            for (const auto& entry :
                 fs::directory_iterator(home() / "run" / "tarn-browser", none)) {
                if (entry.path().filename().string().starts_with("chromium-")) return true;
            }
            return false;
        })) << support::readFile(home() / "chromium.log").value_or("");
        devtools_ = "http://127.0.0.1:" +
                    support::readFile(home() / "profile" / "DevToolsActivePort")
                        .value_or("")
                        .substr(0, support::readFile(home() / "profile" / "DevToolsActivePort")
                                       .value_or("")
                                       .find('\n'));
    }

    // Chromium lists its pages most recently brought forward first.
    std::string frontPage() {
        auto targets = support::parseJson(output("curl -s " + devtools_ + "/json"));
        if (!targets) return "";
        for (const auto& target : *targets) {
            if (target.value("type", "") == "page") {
                return target.value("url", "").substr(base_.size());
            }
        }
        return "";
    }

    std::string base_, devtools_;
    std::optional<Child> http_, chromium_;
};

TEST_F(ChromiumTabTest, SelectsTheFirstMatchOrOpensTheAddress) {
    const auto runtime = "XDG_RUNTIME_DIR=" + (home() / "run").string();
    struct Case {
        std::vector<std::string> args;  // browser, URL pattern, title pattern; the target is
        const char* target;             // an address on the test's server
        const char* front;              // then in front
    };
    const Case cases[] = {
        {{"chromium", "nomatch", "zzz"}, "/beta.html", "/beta.html"},
        {{"chromium", "nomatch", "zzz"}, "/gamma.html", "/gamma.html"},
        {{"Chromium", "alpha", "zzz"}, "/x", "/alpha.html"},
        {{"chromium-browser", "nomatch", "zzz||beta page"}, "/x", "/beta.html"},
        {{"chromium", "127.0.0.1", "zzz"}, "/x", "/alpha.html"},
        {{"chromium", "nomatch", "\"quoted\""}, "/x", "/gamma.html"},
        {{"chromium", "nomatch", "||"}, "/x", "/alpha.html"},
    };
    for (const auto& c : cases) {
        auto args = c.args;
        args.insert(args.begin(), "browser-tab");
        args.push_back(base_ + c.target);
        auto result = run(args, {runtime});
        EXPECT_EQ(result.status, 0) << c.args[2] << result.err;
        EXPECT_EQ(result.err, "");
        // The selection is made when tarn returns; Chromium may list it a moment later.
        EXPECT_TRUE(waitFor([&] { return frontPage() == c.front; }))
            << c.args[1] << " " << c.args[2] << ": " << frontPage();
    }

    // Every window closed: the address opens in a new one.
    auto targets = support::parseJson(output("curl -s " + devtools_ + "/json")).value();
    for (const auto& target : targets) {
        if (target.value("type", "") == "page") {
            output("curl -s " + devtools_ + "/json/close/" + target.value("id", ""));
        }
    }
    ASSERT_TRUE(waitFor([&] { return frontPage().empty(); }));
    EXPECT_EQ(run({"browser-tab", "chromium", "alpha", "", base_ + "/beta.html"}, {runtime}).status,
              0);
    EXPECT_TRUE(waitFor([&] { return frontPage() == "/beta.html"; }));

    // No socket for a running Chromium: the extension is missing.
    auto missing = run({"browser-tab", "chromium", "a", "b", base_ + "/x"},
                       {"XDG_RUNTIME_DIR=" + (home() / "empty").string()});
    EXPECT_EQ(missing.status, 5);
    EXPECT_EQ(missing.err,
              "Browser error: Chromium is running without Tarn's browser extension: install its "
              "host with scripts/browser-setup install and add the extension it names\n");

    // A browser that is not running is started with the address.
    auto started = run({"browser-tab", "firefox", "a", "b", base_ + "/x"},
                       {runtime, "PATH=" + (home() / "bin").string() + ":/usr/bin:/bin"});
    EXPECT_EQ(started.status, 0) << started.err;
    EXPECT_TRUE(waitFor([&] { return fs::exists(home() / "bin" / "firefox.started"); }));
    EXPECT_EQ(support::readFile(home() / "bin" / "firefox.started"), base_ + "/x\n");
}

}  // namespace
}  // namespace tarn::testing
