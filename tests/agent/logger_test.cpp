#include "agent/logger.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace tarn::agent {
namespace {

TEST(MemoryLog, KeepsMessagesFromEveryThreadWhole) {
    MemoryLog log;
    Logger first(log, LogCategory::ruleEngine);
    Logger second(log, LogCategory::permissions);
    std::thread other([&] {
        for (int i = 0; i < 500; ++i) second.error("from the other thread");
    });
    for (int i = 0; i < 500; ++i) first.error("from this thread");
    other.join();
    auto entries = log.entries();
    ASSERT_EQ(entries.size(), 1000u);
    for (const auto& entry : entries) {
        EXPECT_EQ(entry.message, entry.category == LogCategory::ruleEngine
                                     ? "from this thread"
                                     : "from the other thread");
    }
}

TEST(DiscardLog, TellsLoggersNotToBuildMessages) {
    DiscardLog discard;
    MemoryLog memory;
    EXPECT_FALSE(Logger(discard, LogCategory::appDelegate).enabled());
    EXPECT_TRUE(Logger(memory, LogCategory::appDelegate).enabled());
}

// Points standard error somewhere else for the life of the object.
class RedirectedStderr {
  public:
    explicit RedirectedStderr(int fd) : saved_(::dup(STDERR_FILENO)) { ::dup2(fd, STDERR_FILENO); }
    ~RedirectedStderr() {
        ::dup2(saved_, STDERR_FILENO);
        ::close(saved_);
    }
    RedirectedStderr(const RedirectedStderr&) = delete;
    RedirectedStderr& operator=(const RedirectedStderr&) = delete;

  private:
    int saved_;
};

std::string drain(int fd) {
    std::string text;
    char buffer[4096];
    ssize_t n;
    while ((n = ::read(fd, buffer, sizeof buffer)) > 0) {
        text.append(buffer, static_cast<std::size_t>(n));
    }
    return text;
}

// A pseudo-terminal: `terminal` is what a program writes to, `master` what shows up there.
class Pty {
  public:
    Pty() {
        master = ::posix_openpt(O_RDWR | O_NOCTTY);
        if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0) {
            throw std::runtime_error("no pseudo-terminal");
        }
        terminal = ::open(::ptsname(master), O_RDWR | O_NOCTTY);
        if (terminal < 0) throw std::runtime_error("no pseudo-terminal");
    }
    ~Pty() {
        closeTerminal();
        ::close(master);
    }
    Pty(const Pty&) = delete;
    Pty& operator=(const Pty&) = delete;

    // Once the terminal side is closed, reading the master ends after what was written.
    void closeTerminal() {
        if (terminal >= 0) ::close(terminal);
        terminal = -1;
    }

    int master = -1;
    int terminal = -1;
};

TEST(SystemLog, MessagesItCannotQueueAreCountedAndReported) {
    constexpr int kMessages = 2000;
    const std::string text = "line " + std::string(200, 'x');
    Pty pty;
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
    pty.closeTerminal();
    reader.join();
    int written = 0;
    int dropped = 0;
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

TEST(SystemLog, EchoesToATerminalAndFlushWaitsForTheWriter) {
    Pty pty;
    std::string shown;
    {
        RedirectedStderr redirect(pty.terminal);
        SystemLog log;
        Logger(log, LogCategory::permissions).error("one");
        Logger(log, LogCategory::permissions).error("two");
        log.flush();
        ::fcntl(pty.master, F_SETFL, O_NONBLOCK);
        shown = drain(pty.master);
    }
    // The terminal turns each line's "\n" into "\r\n".
    EXPECT_EQ(shown, "Permissions: one\r\nPermissions: two\r\n");
}

TEST(SystemLog, StaysOffStandardErrorOtherwise) {
    int pipeEnds[2];
    ASSERT_EQ(::pipe(pipeEnds), 0);
    {
        RedirectedStderr redirect(pipeEnds[1]);
        SystemLog log;
        Logger(log, LogCategory::windowActions).error("moved");
    }
    ::close(pipeEnds[1]);
    EXPECT_EQ(drain(pipeEnds[0]), "");
    ::close(pipeEnds[0]);
}

}  // namespace
}  // namespace tarn::agent
