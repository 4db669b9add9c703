#include "platform/nativemsg/native_tabs.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "browser/protocol/channel.h"
#include "browser/protocol/messages.h"
#include "support/text.h"

namespace tarn::platform::nativemsg {
namespace {

namespace fs = std::filesystem;
using browser::UniqueFd;

// The extension answers from the browser's own process; a busy browser may take a while.
constexpr int kAnswerTimeoutMs = 6000;

const std::string kSetupHint =
    "install its host with scripts/browser-setup install and add the extension it names";

std::string joined(const std::vector<std::string>& words, const char* separator) {
    std::string text;
    for (const auto& word : words) text += (text.empty() ? "" : separator) + word;
    return text;
}

std::optional<TabsFailure> failed(std::string message) {
    return TabsFailure{TabsProblem::failed, std::move(message)};
}

bool onPath(const std::string& program) {
    const char* path = std::getenv("PATH");
    for (auto folder : support::splitText(path ? path : "/usr/bin:/bin", ":")) {
        if (folder.empty()) continue;
        if (::access((fs::path(std::string(folder)) / program).c_str(), X_OK) == 0) return true;
    }
    return false;
}

// Whether one of this user's processes runs one of the programs.
bool running(const std::vector<std::string>& programs) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator("/proc", error)) {
        const std::string name = entry.path().filename().string();
        if (name.empty() || !std::all_of(name.begin(), name.end(), ::isdigit)) continue;
        std::error_code unreadable;
        auto exe = fs::read_symlink(entry.path() / "exe", unreadable);
        if (unreadable) continue;
        std::string file = exe.filename().string();
        if (auto space = file.find(' '); space != std::string::npos) file.resize(space);
        if (std::ranges::find(programs, file) != programs.end()) return true;
    }
    return false;
}

// Starts the program with the address, detached: the browser outlives tarn.
bool launch(const std::string& program, const std::string& url) {
    pid_t child = ::fork();
    if (child < 0) return false;
    if (child == 0) {
        ::setsid();
        if (::fork() != 0) ::_exit(0);
        int null = ::open("/dev/null", O_RDWR);
        for (int fd = 0; fd < 3; ++fd) ::dup2(null, fd);
        const char* argv[] = {program.c_str(), url.c_str(), nullptr};
        ::execvp(program.c_str(), const_cast<char* const*>(argv));
        ::_exit(127);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return true;
}

class NativeTabs final : public BrowserTabs {
  public:
    explicit NativeTabs(const BrowserFamily& family) : family_(family) {}

    TabListing list() override {
        TabListing listing;
        auto answer = ask({0, browser::Command::list, 0, 0, {}}, listing.failure);
        if (!answer) return listing;
        if (!answer->windows) {
            listing.failure = failed(family_.name + ": the extension sent no tab list");
            return listing;
        }
        for (auto& window : *answer->windows) {
            BrowserWindow& listed = listing.windows.emplace_back(BrowserWindow{window.id, {}});
            for (auto& tab : window.tabs) {
                listed.tabs.push_back({tab.id, std::move(tab.url), std::move(tab.title)});
            }
        }
        return listing;
    }

    std::optional<TabsFailure> select(std::int64_t window, std::int64_t tab) override {
        std::optional<TabsFailure> failure;
        ask({0, browser::Command::select, window, tab, {}}, failure);
        return failure;
    }

    std::optional<TabsFailure> open(const std::string& url) override {
        std::optional<TabsFailure> failure;
        ask({0, browser::Command::open, 0, 0, url}, failure);
        if (!failure || failure->problem != TabsProblem::notRunning) return failure;
        for (const auto& program : family_.launchers) {
            if (onPath(program) && launch(program, url)) return std::nullopt;
        }
        return failed(family_.name + " is not running and no program to start it was found (" +
                      joined(family_.launchers, ", ") + ")");
    }

  private:
    // The first socket of a running browser of the family that takes the connection.
    std::optional<UniqueFd> connect(std::optional<TabsFailure>& failure) {
        auto folder = browser::socketFolder(false);
        std::vector<fs::path> sockets;
        std::error_code error;
        if (folder.path) {
            for (const auto& entry : fs::directory_iterator(*folder.path, error)) {
                auto program = browser::socketProgram(entry.path().filename().string());
                if (program &&
                    std::ranges::find(family_.programs, *program) != family_.programs.end()) {
                    sockets.push_back(entry.path());
                }
            }
        }
        std::ranges::sort(sockets);
        for (const auto& path : sockets) {
            auto [result, fd] = browser::connectTo(path);
            if (result == browser::ConnectResult::connected) return std::move(fd);
            // Left by a host that was killed with its browser.
            if (result == browser::ConnectResult::stale) fs::remove(path, error);
        }
        if (running(family_.programs)) {
            failure = TabsFailure{
                TabsProblem::extensionMissing,
                family_.name + " is running without Tarn's browser extension: " + kSetupHint};
        } else {
            failure = TabsFailure{TabsProblem::notRunning, family_.name + " is not running"};
        }
        return std::nullopt;
    }

    std::optional<browser::Answer> ask(browser::Request request,
                                       std::optional<TabsFailure>& failure) {
        auto fd = connect(failure);
        if (!fd) return std::nullopt;
        request.id = 1;
        if (!browser::writeAll(fd->get(), browser::frame(browser::writeRequest(request)))) {
            failure = failed(family_.name + ": the extension's host went away");
            return std::nullopt;
        }
        browser::FrameReader reader{browser::kMaxAnswer};
        char buffer[65536];
        for (;;) {
            auto next = reader.next();
            if (next.error) break;
            if (next.message) {
                auto answer = browser::parseAnswer(*next.message);
                if (!answer) break;
                if (answer->error) {
                    failure = failed(family_.name + ": " + *answer->error);
                    return std::nullopt;
                }
                return answer;
            }
            pollfd ready{fd->get(), POLLIN, 0};
            int polled = ::poll(&ready, 1, kAnswerTimeoutMs);
            if (polled < 0 && errno == EINTR) continue;
            if (polled <= 0) {
                failure = failed(family_.name + ": the browser extension did not answer");
                return std::nullopt;
            }
            ssize_t got = ::read(fd->get(), buffer, sizeof buffer);
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) break;
            reader.feed({buffer, static_cast<std::size_t>(got)});
        }
        failure = failed(family_.name + ": the extension's host sent a broken answer");
        return std::nullopt;
    }

    const BrowserFamily& family_;
};

// Every answer says that the browser is not one Tarn reaches here.
class UnknownBrowser final : public BrowserTabs {
  public:
    explicit UnknownBrowser(std::string browser) : browser_(std::move(browser)) {}
    TabListing list() override { return {{}, problem()}; }
    std::optional<TabsFailure> select(std::int64_t, std::int64_t) override { return problem(); }
    std::optional<TabsFailure> open(const std::string&) override { return problem(); }

  private:
    std::optional<TabsFailure> problem() const {
        std::vector<std::string> names;
        for (const auto& family : browserFamilies()) names.push_back(family.name);
        return failed("Tarn cannot switch tabs of \"" + browser_ + "\" on Linux; it works with " +
                      joined(names, ", "));
    }
    std::string browser_;
};

}  // namespace

const std::vector<BrowserFamily>& browserFamilies() {
    static const std::vector<BrowserFamily> families{
        {{"chromium", "chromium-browser"},
         "Chromium",
         {"chromium", "chromium-browser"},
         {"chromium", "chromium-browser"}},
        {{"google chrome", "google-chrome", "google-chrome-stable", "chrome"},
         "Google Chrome",
         {"chrome"},
         {"google-chrome", "google-chrome-stable"}},
        {{"brave browser", "brave", "brave-browser"},
         "Brave",
         {"brave"},
         {"brave-browser", "brave"}},
        {{"microsoft edge", "microsoft-edge", "microsoft-edge-stable", "edge"},
         "Microsoft Edge",
         {"msedge"},
         {"microsoft-edge", "microsoft-edge-stable"}},
        {{"vivaldi", "vivaldi-stable"}, "Vivaldi", {"vivaldi-bin"}, {"vivaldi", "vivaldi-stable"}},
        {{"firefox", "firefox-esr", "mozilla firefox"},
         "Firefox",
         {"firefox", "firefox-esr", "firefox-bin"},
         {"firefox", "firefox-esr"}},
    };
    return families;
}

const BrowserFamily* familyFor(const std::string& browser) {
    auto word = support::asciiLowercase(browser);
    for (const auto& family : browserFamilies()) {
        if (std::ranges::find(family.words, word) != family.words.end()) return &family;
    }
    return nullptr;
}

std::unique_ptr<BrowserTabs> makeNativeTabs(const std::string& browser) {
    if (const BrowserFamily* family = familyFor(browser)) {
        return std::make_unique<NativeTabs>(*family);
    }
    return std::make_unique<UnknownBrowser>(browser);
}

}  // namespace tarn::platform::nativemsg
