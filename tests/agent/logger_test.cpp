#include "agent/logger.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <thread>
#include <utility>

namespace tarn::agent {
namespace {

struct RedirectedStderr {
    explicit RedirectedStderr(int fd) { ::dup2(fd, STDERR_FILENO); }
    ~RedirectedStderr() {
        ::dup2(saved, STDERR_FILENO);
        ::close(saved);
    }
    int saved = ::dup(STDERR_FILENO);
};

std::string drain(int fd) {
    std::string text;
    char buffer[4096];
    for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(n));
    return text;
}

// A pseudo-terminal: `terminal` is what a program writes to, `master` what shows up there.
// Once the terminal side is closed, reading the master ends after what was written.
struct Pty {
    Pty() {
        if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0) std::abort();
        terminal = ::open(::ptsname(master), O_RDWR | O_NOCTTY);
    }
    ~Pty() {
        if (terminal >= 0) ::close(terminal);
        ::close(master);
    }
    int master = ::posix_openpt(O_RDWR | O_NOCTTY);
    int terminal = -1;
};

TEST(SystemLog, MessagesItCannotQueueAreCountedAndReported) {
    constexpr int kMessages = 2000;
    const std::string text = "line " + std::string(200, 'x');
    Pty pty;
    ASSERT_GE(pty.terminal, 0);
    std::string shown;
    std::thread reader;
    {
        RedirectedStderr redirect(pty.terminal);
        SystemLog log(10);
        Logger logger(log, LogCategory::ruleEngine);
        // Nobody reads the terminal yet: the writer soon blocks and the queue fills up.
        for (int i = 0; i < kMessages; ++i) logger.error(text);
        reader = std::thread([&] { shown = drain(pty.master); });
    }
    ::close(std::exchange(pty.terminal, -1));
    reader.join();
    int written = 0, dropped = 0;
    std::istringstream lines(shown);
    for (std::string line; std::getline(lines, line);) {
        int count = 0;
        if (line == "RuleEngine: " + text + "\r") {
            ++written;
        } else if (std::sscanf(line.c_str(), "AppDelegate: Dropped %d log messages", &count) == 1) {
            dropped += count;
        } else {
            ADD_FAILURE() << "unexpected line: " << line;
        }
    }
    EXPECT_GT(dropped, 0);
    EXPECT_EQ(written + dropped, kMessages);
}

// The lines, read at once after the flush: on a terminal, then on a pipe. A deferred message
// keeps its place; a stream's lines arrive whole, its last one when it ends.
TEST(SystemLog, EchoesToATerminalOnlyAndFlushWaitsForTheWriter) {
    Pty pty;
    int pipeEnds[2];
    ASSERT_TRUE(pty.terminal >= 0 && ::pipe(pipeEnds) == 0);
    std::string shown;
    for (auto [writeEnd, readEnd] :
         {std::pair(pty.terminal, pty.master), {pipeEnds[1], pipeEnds[0]}}) {
        RedirectedStderr redirect(writeEnd);
        SystemLog log;
        Logger(log, LogCategory::permissions).error("one");
        Logger(log, LogCategory::permissions).deferred([] { return std::string("two"); });
        LogStream(Logger(log, LogCategory::core)) << "three\nfo" << 'u' << "r";
        log.flush();
        ::fcntl(readEnd, F_SETFL, O_NONBLOCK);
        shown += drain(readEnd) + "|";
    }
    ::close(pipeEnds[0]);
    ::close(pipeEnds[1]);
    // The terminal turns each line's "\n" into "\r\n"; a pipe is no terminal.
    EXPECT_EQ(shown, "Permissions: one\r\nPermissions: two\r\nCore: three\r\nCore: four\r\n||");
}

}  // namespace
}  // namespace tarn::agent
