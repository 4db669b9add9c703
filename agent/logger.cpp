#include "agent/logger.h"

#include <syslog.h>
#include <unistd.h>

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
    }
    return "";
}

SystemLog::SystemLog() : toTerminal_(::isatty(STDERR_FILENO) == 1) {
    ::openlog(kBundleIdentifier, LOG_PID, LOG_USER);
}

SystemLog::~SystemLog() {
    ::closelog();
}

void SystemLog::error(LogCategory category, std::string_view message) {
    std::string_view name = categoryName(category);
    ::syslog(LOG_ERR, "[%.*s] %.*s", static_cast<int>(name.size()), name.data(),
             static_cast<int>(message.size()), message.data());
    if (toTerminal_) {
        // One write per line keeps lines from different threads whole.
        std::string line;
        line.reserve(name.size() + message.size() + 4);
        line.append(name).append(": ").append(message).append("\n");
        [[maybe_unused]] ssize_t ignored = ::write(STDERR_FILENO, line.data(), line.size());
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
