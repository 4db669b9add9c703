#include "tests/common/command_runner.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "support/files.h"

namespace tarn::testing {
CommandResult runTarn(const std::vector<std::string>& args, const std::filesystem::path& home,
                      const std::optional<std::filesystem::path>& simFile,
                      const std::vector<std::string>& extraEnv) {
    const auto outPath = home / ".tarn-stdout";
    const auto errPath = home / ".tarn-stderr";

    std::vector<std::string> argv{TARN_BINARY};
    argv.insert(argv.end(), args.begin(), args.end());
    std::vector<std::string> env{"HOME=" + home.string(),
                                 "XDG_CONFIG_HOME=" + (home / ".config").string(),
                                 "PATH=/usr/bin:/bin", "LANG=C.UTF-8"};
    if (simFile) env.push_back("TARN_SIM_DESKTOP=" + simFile->string());
    // Sanitizer settings pass through so the ASan build of tarn reports like its tests.
    for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS"}) {
        if (const char* value = std::getenv(name)) env.push_back(std::string(name) + "=" + value);
    }
    env.insert(env.end(), extraEnv.begin(), extraEnv.end());

    std::vector<char*> argvPointers;
    for (auto& word : argv) argvPointers.push_back(word.data());
    argvPointers.push_back(nullptr);
    std::vector<char*> envPointers;
    for (auto& entry : env) envPointers.push_back(entry.data());
    envPointers.push_back(nullptr);

    pid_t child = ::fork();
    if (child < 0) return {"", "fork failed", -1};
    if (child == 0) {
        int in = ::open("/dev/null", O_RDONLY);
        int out = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        int err = ::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (in < 0 || out < 0 || err < 0) ::_exit(126);
        ::dup2(in, 0);
        ::dup2(out, 1);
        ::dup2(err, 2);
        ::execve(argvPointers[0], argvPointers.data(), envPointers.data());
        ::_exit(127);
    }

    CommandResult result;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    int waitStatus = 0;
    while (true) {
        pid_t done = ::waitpid(child, &waitStatus, WNOHANG);
        if (done == child) break;
        if (done < 0) return {"", "waitpid failed", -1};
        if (std::chrono::steady_clock::now() > deadline) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &waitStatus, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    result.status = WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : 128 + WTERMSIG(waitStatus);
    result.out = support::readFile(outPath).value_or("");
    result.err = support::readFile(errPath).value_or("");
    std::filesystem::remove(outPath);
    std::filesystem::remove(errPath);
    return result;
}

void CommandTest::writeDesktop(const support::Json& desktop) {
    auto error = support::writeFileAtomically(simFile(), support::writeJson(desktop));
    ASSERT_FALSE(error) << *error;
    haveDesktop_ = true;
}

support::Json CommandTest::readDesktop() const {
    auto text = support::readFile(simFile());
    if (!text) return nullptr;
    auto document = support::parseJson(*text);
    return document ? *document : support::Json();
}

support::Json CommandTest::events() const {
    auto desktop = readDesktop();
    if (!desktop.is_object() || !desktop.contains("events")) return support::Json::array();
    return desktop["events"];
}

CommandResult CommandTest::run(const std::vector<std::string>& args,
                               const std::vector<std::string>& extraEnv) {
    return runTarn(args, home(), haveDesktop_ ? std::optional(simFile()) : std::nullopt, extraEnv);
}

std::optional<std::string> CommandTest::configFile(const std::string& name) const {
    return support::readFile(configDir() / name);
}

void CommandTest::writeConfigFile(const std::string& name, const std::string& bytes) const {
    std::filesystem::create_directories(configDir());
    std::ofstream(configDir() / name, std::ios::binary) << bytes;
}

support::Json CommandTest::basicDesktop() {
    return support::Json::parse(R"({
      "displays": [{"id": 1, "x": 0, "y": 0, "width": 1920, "height": 1080}],
      "apps": [{"pid": 100, "bundleID": "com.example.editor", "name": "My Editor",
                "windows": [{"id": 1, "x": 100, "y": 100, "width": 800, "height": 600,
                             "minimized": false}]}],
      "frontmost": {"pid": 100, "window": 1},
      "accessibilityTrusted": true,
      "clipboard": null,
      "pointer": {"x": 0, "y": 0},
      "clock": "recorded",
      "events": []
    })");
}

}  // namespace tarn::testing
