#include "agent/logger.h"

#include <syslog.h>
#include <unistd.h>

#include <utility>

#include "agent/identity.h"

namespace tarn::agent {

std::string_view categoryName(LogCategory category) {
    switch (category) {
        case LogCategory::appDelegate:
            return "AppDelegate";
        case LogCategory::keystrokeInterceptor:
            return "KeystrokeInterceptor";
        case LogCategory::ruleEngine:
            return "RuleEngine";
        case LogCategory::permissions:
            return "Permissions";
        case LogCategory::windowActions:
            return "WindowActions";
        case LogCategory::core:
            return "Core";
    }
    return "";
}

LogStream::Lines::~Lines() {
    if (!line_.empty()) log_.error(line_);
}

LogStream::Lines::int_type LogStream::Lines::overflow(int_type character) {
    if (traits_type::eq_int_type(character, traits_type::eof())) return traits_type::not_eof(0);
    char text = traits_type::to_char_type(character);
    xsputn(&text, 1);
    return character;
}

std::streamsize LogStream::Lines::xsputn(const char* text, std::streamsize count) {
    if (!log_.enabled()) return count;  // nothing is built for a log that drops it
    for (std::streamsize i = 0; i < count; ++i) {
        if (text[i] != '\n') {
            line_ += text[i];
        } else {
            log_.error(line_);
            line_.clear();
        }
    }
    return count;
}

SystemLog::SystemLog(std::size_t queueLimit, Echo echo)
    : toTerminal_(echo == Echo::always || ::isatty(STDERR_FILENO) == 1), queueLimit_(queueLimit) {
    ::openlog(kBundleIdentifier, LOG_PID, LOG_USER);
    writer_ = std::thread([this] { writeLoop(); });
}

SystemLog::~SystemLog() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_one();
    writer_.join();
    ::closelog();
}

void SystemLog::error(LogCategory category, std::string_view message) {
    push({category, std::string(message)});
}

void SystemLog::deferred(LogCategory category, std::function<std::string()> make) {
    push({category, {}, std::move(make)});
}

void SystemLog::push(Line line) {
    {
        std::lock_guard lock(mutex_);
        if (queue_.size() >= queueLimit_) {
            ++dropped_;
            return;
        }
        queue_.push_back(std::move(line));
    }
    wake_.notify_one();
}

void SystemLog::writeLoop() {
    std::unique_lock lock(mutex_);
    while (true) {
        wake_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
        if (queue_.empty()) return;  // stopping, and everything is written
        std::deque<Line> batch;
        batch.swap(queue_);
        std::size_t dropped = std::exchange(dropped_, 0);
        writing_ = true;
        lock.unlock();
        for (Line& line : batch) {
            if (line.make) line.message = line.make();
            write(line);
        }
        if (dropped > 0) {
            write({LogCategory::appDelegate,
                   "Dropped " + std::to_string(dropped) + " log messages while the log was busy"});
        }
        lock.lock();
        writing_ = false;
        drained_.notify_all();
    }
}

void SystemLog::flush() {
    std::unique_lock lock(mutex_);
    drained_.wait(lock, [this] { return queue_.empty() && !writing_; });
}

void SystemLog::write(const Line& line) const {
    std::string_view name = categoryName(line.category);
    ::syslog(LOG_ERR, "[%.*s] %.*s", static_cast<int>(name.size()), name.data(),
             static_cast<int>(line.message.size()), line.message.data());
    if (toTerminal_) {
        // One write per line keeps lines whole beside other writers of standard error.
        std::string text;
        text.reserve(name.size() + line.message.size() + 3);
        text.append(name).append(": ").append(line.message).append("\n");
        [[maybe_unused]] ssize_t ignored = ::write(STDERR_FILENO, text.data(), text.size());
    }
}

void MemoryLog::error(LogCategory category, std::string_view message) {
    std::lock_guard lock(mutex_);
    entries_.push_back({category, std::string(message)});
}

std::vector<MemoryLog::Entry> MemoryLog::entries() const {
    std::lock_guard lock(mutex_);
    return entries_;
}

std::vector<std::string> MemoryLog::takeMessages() {
    std::lock_guard lock(mutex_);
    std::vector<std::string> messages;
    messages.reserve(entries_.size());
    for (auto& entry : entries_) messages.push_back(std::move(entry.message));
    entries_.clear();
    return messages;
}

}  // namespace tarn::agent
