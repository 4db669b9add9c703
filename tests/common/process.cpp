#include "tests/common/process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <thread>

#include "support/files.h"

namespace tarn::testing {
namespace {

using Clock = std::chrono::steady_clock;

// Starts argv with its standard input from `in` and output on `out` (-1: /dev/null);
// standard error is /dev/null.
pid_t spawn(std::vector<std::string> argv, int in, int out) {
    std::vector<char*> args;
    for (auto& word : argv) args.push_back(word.data());
    args.push_back(nullptr);
    pid_t pid = ::fork();
    if (pid != 0) return pid;
    int devNull = ::open("/dev/null", O_RDWR);
    ::dup2(in >= 0 ? in : devNull, 0);
    ::dup2(out >= 0 ? out : devNull, 1);
    ::dup2(devNull, 2);
    ::setpgid(0, 0);  // so a stuck one can be ended with everything it started
    ::execvp(args[0], args.data());
    ::_exit(127);
}

int waitFor(pid_t pid, Clock::time_point deadline) {
    int status = 0;
    while (::waitpid(pid, &status, WNOHANG) == 0) {
        if (Clock::now() > deadline) {
            ::kill(-pid, SIGKILL);
            ::waitpid(pid, &status, 0);
            return -1;
        }
        std::this_thread::sleep_for(2ms);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    auto deadline = Clock::now() + limit;
    while (true) {
        if (condition()) return true;
        if (Clock::now() > deadline) return condition();
        std::this_thread::sleep_for(5ms);
    }
}

Output run(const std::vector<std::string>& argv, const std::string& input) {
    // Files rather than pipes: a program that leaves a child behind (a clipboard tool
    // serving what it copied) is done when it exits, not when that child lets go of its
    // output.
    FILE* in = nullptr;
    if (!input.empty()) {
        in = std::tmpfile();
        std::fwrite(input.data(), 1, input.size(), in);
        std::rewind(in);
    }
    FILE* out = std::tmpfile();
    Output result{waitFor(spawn(argv, in ? fileno(in) : -1, fileno(out)), Clock::now() + 10s), ""};
    result.out = support::readFile("/proc/self/fd/" + std::to_string(fileno(out))).value_or("");
    std::fclose(out);
    if (in) std::fclose(in);
    return result;
}

Child::Child(const std::vector<std::string>& argv) : pid_(spawn(argv, -1, -1)) {}

void Child::kill() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGTERM);
    waitFor(pid_, Clock::now() + 5s);
    pid_ = -1;
}

}  // namespace tarn::testing
