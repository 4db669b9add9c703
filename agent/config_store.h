#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "agent/config.h"
#include "agent/config_json.h"
#include "agent/config_watch.h"
#include "agent/logger.h"
#include "agent/scheduler.h"

namespace tarn::agent {

// "wendle-config.json" in the Tarn directory the core uses for its own files (created when
// missing).
std::filesystem::path defaultConfigURL();

enum class ConfigFileState {
    missing,     // no file: the agent starts empty and writes one
    read,        // read whole
    partlyRead,  // read, but something in it could not be kept (see the issues)
    unreadable,  // a file is there that could not be read or is not a configuration
};

struct ConfigLoad {
    ConfigFileState state = ConfigFileState::missing;
    std::vector<ConfigIssue> issues;
    // Whether what the file holds became the configuration (it was read, whole or in part).
    bool taken() const {
        return state == ConfigFileState::read || state == ConfigFileState::partlyRead;
    }
};

// Owns the agent's configuration. Every change is published at once (to the snapshot the
// work queue reads) and, once changes have paused for 150 ms, saved to the file and handed
// to onConfigChanged. Used on the main thread only, except snapshot().
//
// Reading the file never leads to writing it: the file is written only when the agent's own
// configuration changed (setConfig, update, upsertAppConfig), never to bring a file it read
// into its own layout, and a file it could not decode is left as it is. The one exception is
// a file that is not there at launch: it is created (never over a file that appeared since).
//
// Nothing the user wrote is lost: before a save replaces a file that was there but could not
// be read whole, or that changed since the store last read or wrote it (an edit not loaded
// yet, perhaps still being written), the file is copied to "wendle-config.json.bak-<UTC
// time>"; while no copy can be made the store does not write the file at all.
class ConfigStore {
  public:
    static constexpr std::chrono::milliseconds kSaveDelay{150};

    ConfigStore(Scheduler& scheduler, Logger log,
                std::function<std::filesystem::path()> configURL = defaultConfigURL);
    ConfigStore(const ConfigStore&) = delete;
    ConfigStore& operator=(const ConfigStore&) = delete;

    // Reads the file and publishes what it holds (an empty configuration when there is none
    // or it cannot be read, which is logged). Nothing is written, except that a missing file
    // is created 150 ms later (so the next launch is no first run).
    ConfigLoad loadAtLaunch();
    // Reads the file again after a change made outside the agent (or SIGHUP). A file that
    // decodes, whole or in part, becomes the configuration, and a save still waiting is
    // dropped (the file is the newer word). A file that is gone, cannot be read or does not
    // decode (half written, perhaps) leaves the configuration as it is; the log says so, and
    // the next change of the file is read again. Never writes the file.
    ConfigLoad reload();

    const RootConfig& config() const { return *current_; }
    void setConfig(RootConfig config);
    void update(const std::function<void(RootConfig&)>& change);
    // The configuration as last published, safe to hold and read on any thread.
    std::shared_ptr<const RootConfig> snapshot() const;

    // Called after each settled change with the configuration saved; at most one callback.
    void setOnConfigChanged(std::function<void(const RootConfig&)> callback);
    // Called with the reason, in words, when a save fails (it is also logged as an error).
    // The file keeps its last content and the next change tries again; at most one callback.
    void setOnSaveFailed(std::function<void(const std::string&)> callback);

    // Views: told (main thread) after every published change and after every save, so they
    // redraw from config() and saveError(). Any number of them.
    using ListenerId = std::uint64_t;
    ListenerId addListener(std::function<void()> listener);
    void removeListener(ListenerId id);
    // Why the last save did not write the file; absent once one did.
    const std::optional<std::string>& saveError() const { return saveError_; }

    // Makes sure an application has an entry. An existing one (the first with this bundle
    // identifier) only takes the new name and keeps its place; a new one is added and the
    // list sorted by display name, in code point order, keeping equal names in order.
    void upsertAppConfig(const std::string& bundleID, const std::string& displayName);

    std::filesystem::path configURL() const { return configURL_(); }
    // The file as the store last read it (taken before the read) or wrote it; absent: there
    // was no file.
    const std::optional<FileStamp>& fileStamp() const { return known_; }

    // Saves a change still waiting for its delay now (the agent is about to end).
    void flushPendingSave() { debouncer_.flush(); }

  private:
    // What the debounced settle writes: nothing (a load), the file a launch found missing,
    // or the configuration after a change of the agent's own.
    enum class Pending { none, create, save };

    void publish(std::shared_ptr<const RootConfig> config);
    void notifyListeners();
    void settle();
    void save();
    void createMissingFile();
    bool keepFileBeforeReplacing(const std::filesystem::path& path);
    void saveFailed(const std::string& reason);

    Logger log_;
    std::function<std::filesystem::path()> configURL_;
    std::shared_ptr<const RootConfig> current_;
    // The one value shared with other threads: swapped whole under its lock, never changed.
    mutable std::mutex publishedLock_;
    std::shared_ptr<const RootConfig> published_;
    std::function<void(const RootConfig&)> onConfigChanged_;
    std::function<void(const std::string&)> onSaveFailed_;
    std::map<ListenerId, std::function<void()>> listeners_;
    ListenerId nextListener_ = 1;
    std::optional<std::string> saveError_;
    // Set by a load that could not read the file whole, until a copy of the file exists.
    std::optional<ConfigLoad> unsavedOriginal_;
    std::optional<FileStamp> known_;
    Pending pending_ = Pending::none;
    Debouncer debouncer_;
};

}  // namespace tarn::agent
