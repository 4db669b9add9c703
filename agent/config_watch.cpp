#include "agent/config_watch.h"

#include <sys/stat.h>

namespace tarn::agent {

std::optional<FileStamp> stampOf(const std::filesystem::path& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return std::nullopt;
    return FileStamp{
        static_cast<std::uint64_t>(info.st_ino), static_cast<std::int64_t>(info.st_size),
        static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec};
}

ConfigWatch::ConfigWatch(Scheduler& scheduler, std::function<std::filesystem::path()> path,
                         std::function<void()> onOutsideChange)
    : scheduler_(scheduler), path_(std::move(path)), onOutsideChange_(std::move(onOutsideChange)) {}

ConfigWatch::~ConfigWatch() {
    if (next_) scheduler_.cancel(*next_);
}

void ConfigWatch::start(std::optional<FileStamp> known) {
    ownSave(known);
    next_ = scheduler_.schedule(kInterval, [this] { look(); });
}

void ConfigWatch::ownSave(std::optional<FileStamp> known) {
    known_ = known;
    seen_.reset();
}

void ConfigWatch::look() {
    next_ = scheduler_.schedule(kInterval, [this] { look(); });
    auto now = stampOf(path_());
    if (now == known_) {
        seen_.reset();
        return;
    }
    if (now != seen_) {
        seen_ = now;  // changed since the last look: wait until it holds still
        return;
    }
    // A file that went away is not a configuration to load; its return will be.
    known_ = now;
    seen_.reset();
    if (now) onOutsideChange_();
}

}  // namespace tarn::agent
