#include "tests/common/command_runner.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <thread>

namespace tarn::testing {
CommandResult runTarn(const std::vector<std::string>& args, const std::filesystem::path& home,
                      const std::optional<std::filesystem::path>& simFile,
                      const std::vector<std::string>& extraEnv) {
    // Runs may go on side by side in one home (the concurrency tests): each has its own.
    static std::atomic<unsigned> runs{0};
    const std::string run = std::to_string(runs++);
    const auto outPath = home / (".tarn-stdout-" + run);
    const auto errPath = home / (".tarn-stderr-" + run);

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
    // An extra entry replaces one of the same name (a test's own PATH).
    for (const auto& entry : extraEnv) {
        auto name = entry.substr(0, entry.find('=') + 1);
        std::erase_if(env, [&](const std::string& old) { return old.starts_with(name); });
        env.push_back(entry);
    }

    std::vector<char*> argvPointers;
    for (auto& word : argv) argvPointers.push_back(word.data());
    argvPointers.push_back(nullptr);
    std::vector<char*> envPointers;
    for (auto& entry : env) envPointers.push_back(entry.data());
    envPointers.push_back(nullptr);

    constexpr int kWrite = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&files, 1, outPath.c_str(), kWrite, 0600);
    ::posix_spawn_file_actions_addopen(&files, 2, errPath.c_str(), kWrite, 0600);
    pid_t child = 0;
    int spawnError = ::posix_spawn(&child, argvPointers[0], &files, nullptr, argvPointers.data(),
                                   envPointers.data());
    ::posix_spawn_file_actions_destroy(&files);
    if (spawnError != 0) return {"", "posix_spawn failed", -1};

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    int waitStatus = 0;
    pid_t done = 0;
    while ((done = ::waitpid(child, &waitStatus, WNOHANG)) == 0) {
        if (std::chrono::steady_clock::now() > deadline) ::kill(child, SIGKILL);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    if (done < 0) return {"", "waitpid failed", -1};
    CommandResult result{
        support::readFile(outPath).value_or(""), support::readFile(errPath).value_or(""),
        WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : 128 + WTERMSIG(waitStatus)};
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
    auto document = text ? support::parseJson(*text) : std::nullopt;
    return document ? *document : support::Json();
}

CommandResult CommandTest::run(const std::vector<std::string>& args,
                               const std::vector<std::string>& extraEnv) {
    return runTarn(args, home(), haveDesktop_ ? std::optional(simFile()) : std::nullopt, extraEnv);
}

void CommandTest::writeConfigFile(const std::string& name, const std::string& bytes) const {
    std::filesystem::create_directories(configDir());
    std::ofstream(configDir() / name, std::ios::binary) << bytes;
}

}  // namespace tarn::testing
