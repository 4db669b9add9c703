#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>

#include "agent/scheduler.h"

namespace tarn::agent {

// What tells one version of a file from the next without reading it: an atomic replace
// gives a new inode, an edit in place a new time or size.
struct FileStamp {
    std::uint64_t inode = 0;
    std::int64_t size = -1;
    std::int64_t modifiedNanoseconds = 0;
    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};
std::optional<FileStamp> stampOf(const std::filesystem::path& path);

// Notices changes made to the configuration file by anyone but the agent, by looking at it
// every 250 ms on the main loop. A change is reported once the file has held still for one
// look, so a file still being written is mostly not read half way (a writer that pauses
// longer is: the reader must cope, see ConfigStore::reload). The file as the agent last read
// or wrote it is handed in with ownSave() and not reported.
class ConfigWatch {
  public:
    static constexpr std::chrono::milliseconds kInterval{250};

    ConfigWatch(Scheduler& scheduler, std::function<std::filesystem::path()> path,
                std::function<void()> onOutsideChange);
    ~ConfigWatch();
    ConfigWatch(const ConfigWatch&) = delete;
    ConfigWatch& operator=(const ConfigWatch&) = delete;

    // `known`: the file as the agent read it at launch (absent: there was none).
    void start(std::optional<FileStamp> known);
    // The file as the agent last read or wrote it (absent: there is none): only a later
    // change is reported.
    void ownSave(std::optional<FileStamp> known);

  private:
    void look();

    Scheduler& scheduler_;
    std::function<std::filesystem::path()> path_;
    std::function<void()> onOutsideChange_;
    std::optional<FileStamp> known_;
    std::optional<FileStamp> seen_;  // the last look's stamp, while it differs from known_
    std::optional<Scheduler::Ticket> next_;
};

}  // namespace tarn::agent
