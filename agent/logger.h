#pragma once

// The agent's log. Every message is written at error level so that it shows without any
// debug switch; each component logs under its own category.

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace tarn::agent {

enum class LogCategory {
    appDelegate,
    keystrokeInterceptor,
    ruleEngine,
    permissions,
    windowActions,
    core
};

// "AppDelegate", "KeystrokeInterceptor", "RuleEngine", "Permissions", "WindowActions",
// "Core".
std::string_view categoryName(LogCategory category);

// Where messages go. Implementations are safe to call from any thread.
class LogSink {
  public:
    virtual ~LogSink() = default;
    virtual void error(LogCategory category, std::string_view message) = 0;
    // A message built only when it is written, on the sink's own thread where it has one:
    // the key source's thread only hands over what the message is made of.
    virtual void deferred(LogCategory category, std::function<std::string()> make) {
        error(category, make());
    }
    // A sink that drops everything lets callers skip building their messages.
    virtual bool discards() const { return false; }
};

// A category bound to a sink; cheap to copy.
class Logger {
  public:
    Logger(LogSink& sink, LogCategory category) : sink_(&sink), category_(category) {}

    void error(std::string_view message) const { sink_->error(category_, message); }
    void deferred(std::function<std::string()> make) const {
        if (enabled()) sink_->deferred(category_, std::move(make));
    }
    bool enabled() const { return !sink_->discards(); }

  private:
    LogSink* sink_;
    LogCategory category_;
};

// A stream whose every line goes to the log: what the core writes for a terminal (its
// diagnostics) reaches the agent's log instead. One writer at a time; a last line without
// its newline is logged when the stream ends.
class LogStream final : public std::ostream {
  public:
    explicit LogStream(Logger log) : std::ostream(nullptr), lines_(log) { rdbuf(&lines_); }

  private:
    class Lines final : public std::streambuf {
      public:
        explicit Lines(Logger log) : log_(log) {}
        ~Lines() override;

      protected:
        int_type overflow(int_type character) override;
        std::streamsize xsputn(const char* text, std::streamsize count) override;

      private:
        Logger log_;
        std::string line_;
    };
    Lines lines_;
};

// The system log (syslog, identity = the agent's bundle identifier), and standard error as
// well when it is a terminal, so that an agent started by hand shows what it does (or always,
// for a test that reads what the agent does).
//
// Messages are handed to a writer thread: a syslog call is a system call that may block on
// the log daemon, and the key tap's thread logs on every matched key. When the writer falls
// far behind, messages are dropped and counted rather than stalling the caller; the count
// is logged once the writer catches up. Destruction writes whatever is still queued.
class SystemLog final : public LogSink {
  public:
    static constexpr std::size_t kQueueLimit = 10'000;

    enum class Echo { whenTerminal, always };

    explicit SystemLog(std::size_t queueLimit = kQueueLimit, Echo echo = Echo::whenTerminal);
    ~SystemLog() override;
    SystemLog(const SystemLog&) = delete;
    SystemLog& operator=(const SystemLog&) = delete;

    void error(LogCategory category, std::string_view message) override;
    void deferred(LogCategory category, std::function<std::string()> make) override;
    // Waits until everything logged so far is written.
    void flush();

  private:
    struct Line {
        LogCategory category;
        std::string message;
        std::function<std::string()> make{};  // builds the message when it is set
    };

    void push(Line line);
    void writeLoop();
    void write(const Line& line) const;

    const bool toTerminal_;
    const std::size_t queueLimit_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable drained_;
    std::deque<Line> queue_;
    std::size_t dropped_ = 0;
    bool writing_ = false;
    bool stopping_ = false;
    std::thread writer_;  // last: started once everything it uses exists
};

class DiscardLog final : public LogSink {
  public:
    void error(LogCategory, std::string_view) override {}
    bool discards() const override { return true; }
};

// Keeps every message in memory, in order; for tests.
class MemoryLog final : public LogSink {
  public:
    struct Entry {
        LogCategory category;
        std::string message;
        friend bool operator==(const Entry&, const Entry&) = default;
    };

    void error(LogCategory category, std::string_view message) override;
    std::vector<Entry> entries() const;
    // The messages alone, dropping the entries so far.
    std::vector<std::string> takeMessages();

  private:
    mutable std::mutex mutex_;
    std::vector<Entry> entries_;
};

}  // namespace tarn::agent
