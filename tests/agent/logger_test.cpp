#include "agent/logger.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

namespace tarn::agent {
namespace {

TEST(LogCategories, NamesOfTheAgentsComponents) {
    EXPECT_EQ(categoryName(LogCategory::appDelegate), "AppDelegate");
    EXPECT_EQ(categoryName(LogCategory::keystrokeInterceptor), "KeystrokeInterceptor");
    EXPECT_EQ(categoryName(LogCategory::ruleEngine), "RuleEngine");
    EXPECT_EQ(categoryName(LogCategory::permissions), "Permissions");
    EXPECT_EQ(categoryName(LogCategory::windowActions), "WindowActions");
}

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
    char buffer[256];
    ssize_t n;
    while ((n = ::read(fd, buffer, sizeof buffer)) > 0)
        text.append(buffer, static_cast<std::size_t>(n));
    return text;
}

TEST(SystemLog, EchoesToStandardErrorWhenItIsATerminal) {
    int master = ::posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(::grantpt(master), 0);
    ASSERT_EQ(::unlockpt(master), 0);
    int terminal = ::open(::ptsname(master), O_RDWR | O_NOCTTY);
    ASSERT_GE(terminal, 0);
    {
        RedirectedStderr redirect(terminal);
        SystemLog log;
        Logger(log, LogCategory::windowActions).error("moved");
    }
    ::close(terminal);
    ::fcntl(master, F_SETFL, O_NONBLOCK);
    // The terminal turns the line's "\n" into "\r\n".
    EXPECT_EQ(drain(master), "WindowActions: moved\r\n");
    ::close(master);
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
