#include "agent/config_store.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "support/app_support.h"
#include "support/files.h"

namespace tarn::agent {
namespace {

constexpr const char* kConfigFileName = "wendle-config.json";

std::string describeIssues(const ConfigLoad& load) {
    if (load.state == ConfigFileState::unreadable) return "it is not a readable configuration";
    std::string text = std::to_string(load.issues.size()) +
                       (load.issues.size() == 1 ? " part" : " parts") + " of it could not be kept";
    if (!load.issues.empty()) {
        text += ", first " + load.issues.front().where + ": " + load.issues.front().message;
    }
    return text;
}

// The file as found: how it was read, what it holds, and its stamp, taken before the read
// so that a change made during the read shows as a change after it.
struct FileRead {
    ConfigLoad load;
    RootConfig config;
    std::optional<FileStamp> stamp;
};

FileRead readConfigFile(const std::filesystem::path& path) {
    FileRead read;
    read.stamp = stampOf(path);
    std::error_code error;
    bool exists = std::filesystem::exists(path, error);
    if (!exists && !error) return read;
    // When even its existence cannot be checked, treat it as a file that must be kept.
    read.load.state = ConfigFileState::unreadable;
    if (auto text = support::readFile(path)) {
        if (auto decoded = decodeConfigText(*text)) {
            read.load.state =
                decoded->readWhole() ? ConfigFileState::read : ConfigFileState::partlyRead;
            read.load.issues = std::move(decoded->issues);
            read.config = std::move(decoded->config);
        }
    }
    return read;
}

}  // namespace

std::filesystem::path defaultConfigURL() {
    return support::getAppSupportDir(support::kAppDirName) / kConfigFileName;
}

ConfigStore::ConfigStore(Scheduler& scheduler, Logger log,
                         std::function<std::filesystem::path()> configURL)
    : log_(log),
      configURL_(std::move(configURL)),
      current_(std::make_shared<const RootConfig>()),
      published_(current_),
      debouncer_(scheduler, kSaveDelay, [this] { settle(); }) {}

ConfigLoad ConfigStore::loadAtLaunch() {
    std::filesystem::path path = configURL();
    FileRead read = readConfigFile(path);
    known_ = read.stamp;
    unsavedOriginal_.reset();
    if (read.load.state == ConfigFileState::partlyRead ||
        read.load.state == ConfigFileState::unreadable) {
        unsavedOriginal_ = read.load;
        log_.error(path.filename().string() +
                   (read.load.taken() ? " could not be read whole (" : " could not be read (") +
                   describeIssues(read.load) + "); Wendle runs on " +
                   (read.load.taken() ? "what it could read" : "an empty configuration") +
                   " and leaves the file as it is until its configuration is changed");
    }
    debouncer_.cancel();
    pending_ = Pending::none;
    publish(std::make_shared<const RootConfig>(std::move(read.config)));
    if (read.load.state == ConfigFileState::missing) {
        pending_ = Pending::create;
        debouncer_.poke();
    }
    return read.load;
}

ConfigLoad ConfigStore::reload() {
    std::filesystem::path path = configURL();
    FileRead read = readConfigFile(path);
    known_ = read.stamp;
    std::string name = path.filename().string();
    if (!read.load.taken()) {
        // What the user is writing may be half way: the agent keeps what it has and writes
        // nothing; the file's next change is read again. A save of the agent's own that is
        // still to come copies the file first.
        if (read.load.state == ConfigFileState::unreadable) {
            unsavedOriginal_ = read.load;
            log_.error(name + " could not be read (" + describeIssues(read.load) +
                       "); Wendle keeps the configuration it has and reads the file again "
                       "when it next changes");
        } else {
            unsavedOriginal_.reset();
            log_.error(name + " is not there; Wendle keeps the configuration it has");
        }
        return read.load;
    }
    if (read.load.state == ConfigFileState::partlyRead) {
        unsavedOriginal_ = read.load;
        log_.error(name + " could not be read whole (" + describeIssues(read.load) +
                   "); Wendle runs on what it could read and leaves the file as it is until "
                   "its configuration is changed");
    } else {
        unsavedOriginal_.reset();
    }
    // The file is the newer word: a change still waiting to be saved would write it back.
    debouncer_.cancel();
    pending_ = Pending::none;
    publish(std::make_shared<const RootConfig>(std::move(read.config)));
    return read.load;
}

void ConfigStore::setConfig(RootConfig config) {
    publish(std::make_shared<const RootConfig>(std::move(config)));
    pending_ = Pending::save;
    debouncer_.poke();
}

void ConfigStore::update(const std::function<void(RootConfig&)>& change) {
    RootConfig next = *current_;
    change(next);
    setConfig(std::move(next));
}

void ConfigStore::setOnConfigChanged(std::function<void(const RootConfig&)> callback) {
    onConfigChanged_ = std::move(callback);
}

void ConfigStore::setOnSaveFailed(std::function<void(const std::string&)> callback) {
    onSaveFailed_ = std::move(callback);
}

void ConfigStore::upsertAppConfig(const std::string& bundleID, const std::string& displayName) {
    update([&](RootConfig& config) {
        auto& apps = config.appConfigs;
        auto existing = std::find_if(apps.begin(), apps.end(), [&](const AppConfig& app) {
            return app.bundleID == bundleID;
        });
        if (existing != apps.end()) {
            existing->displayName = displayName;
            return;
        }
        apps.push_back(AppConfig{.bundleID = bundleID, .displayName = displayName});
        // std::string compares as unsigned bytes, and UTF-8 byte order is code point order.
        std::stable_sort(apps.begin(), apps.end(), [](const AppConfig& a, const AppConfig& b) {
            return a.displayName < b.displayName;
        });
    });
}

ConfigStore::ListenerId ConfigStore::addListener(std::function<void()> listener) {
    ListenerId id = nextListener_++;
    listeners_.emplace(id, std::move(listener));
    return id;
}

void ConfigStore::removeListener(ListenerId id) {
    listeners_.erase(id);
}

void ConfigStore::notifyListeners() {
    // A listener may add or remove listeners (a view building or dropping an editor): walk
    // the ids as they were, skipping any removed meanwhile.
    std::vector<ListenerId> ids;
    ids.reserve(listeners_.size());
    for (const auto& entry : listeners_) ids.push_back(entry.first);
    for (ListenerId id : ids) {
        auto it = listeners_.find(id);
        if (it != listeners_.end()) it->second();
    }
}

std::shared_ptr<const RootConfig> ConfigStore::snapshot() const {
    std::lock_guard guard(publishedLock_);
    return published_;
}

void ConfigStore::publish(std::shared_ptr<const RootConfig> config) {
    current_ = config;
    {
        std::lock_guard guard(publishedLock_);
        // The old value is released outside the lock when this was its last holder.
        published_.swap(config);
    }
    notifyListeners();
}

void ConfigStore::settle() {
    auto before = saveError_;
    Pending what = std::exchange(pending_, Pending::none);
    if (what == Pending::save) save();
    if (what == Pending::create) createMissingFile();
    if (saveError_ != before) notifyListeners();
    if (onConfigChanged_) onConfigChanged_(*current_);
}

void ConfigStore::save() {
    std::filesystem::path path = configURL();
    auto lock = support::FileLock::acquire(path);
    auto now = stampOf(path);
    // A file there that is not the one the store last read or wrote: an edit made outside
    // that is not loaded yet, or one still being written.
    bool changedOutside = now && now != known_;
    if ((unsavedOriginal_ || changedOutside) && !keepFileBeforeReplacing(path)) {
        saveError_ = path.string() + (unsavedOriginal_ ? " could not be read whole" : " changed") +
                     " and no copy of it could be made";
        return;
    }
    std::string text;
    try {
        text = configText(*current_);
    } catch (const std::domain_error& error) {
        saveError_ = error.what();
        // A frame JSON cannot hold: the file keeps its last good content, and the next change
        // tries again with the whole configuration.
        return saveFailed("Could not save " + path.string() + ": " + error.what());
    }
    // A failed write is retried with the next change; the file is never left half written.
    saveError_ = support::writeFileAtomically(path, text);
    if (saveError_) return saveFailed("Could not save " + path.string() + ": " + *saveError_);
    known_ = stampOf(path);
}

// The launch found no file: one is made with the configuration as it is, but only where
// there is still none. A file that appeared meanwhile is the user's; the watch loads it.
// Made aside and linked into place, which unlike a rename never replaces a file.
void ConfigStore::createMissingFile() {
    std::filesystem::path path = configURL();
    auto lock = support::FileLock::acquire(path);
    std::string text;
    try {
        text = configText(*current_);
    } catch (const std::domain_error& error) {
        saveError_ = error.what();
        return saveFailed("Could not save " + path.string() + ": " + error.what());
    }
    std::filesystem::path aside = path.parent_path() / ("." + path.filename().string() + ".tmp-" +
                                                        std::to_string(::getpid()) + "-new");
    saveError_ = support::writeFileAtomically(aside, text);
    if (saveError_) return saveFailed("Could not save " + path.string() + ": " + *saveError_);
    int linked = ::link(aside.c_str(), path.c_str());
    int linkError = errno;
    ::unlink(aside.c_str());
    if (linked == 0) {
        known_ = stampOf(path);
    } else if (linkError != EEXIST) {
        saveError_ = std::strerror(linkError);
        saveFailed("Could not save " + path.string() + ": " + *saveError_);
    }
}

void ConfigStore::saveFailed(const std::string& reason) {
    log_.error(reason);
    if (onSaveFailed_) onSaveFailed_(reason);
}

// Copies the file aside before it is replaced: one that was not read whole, or that changed
// since the store last read or wrote it. False while the file is still there and no copy of
// it could be made: it must not be overwritten then.
bool ConfigStore::keepFileBeforeReplacing(const std::filesystem::path& path) {
    std::string name = path.filename().string();
    std::string why = unsavedOriginal_
                          ? "it could not be read whole (" + describeIssues(*unsavedOriginal_) + ")"
                          : "it changed since Wendle last read it";
    // The rule every writer of Tarn's files follows.
    auto kept = support::keepCopyBeforeReplacing(path);
    if (kept.copy) {
        if (unsavedOriginal_) {
            log_.error(name + " could not be read whole (" + describeIssues(*unsavedOriginal_) +
                       "); its original is kept as " + kept.copy->string());
        } else {
            log_.error(name + " changed since Wendle last read it; that version is kept as " +
                       kept.copy->string());
        }
    }
    if (kept.mayReplace) {
        unsavedOriginal_.reset();  // copied, or gone meanwhile: nothing left to protect
        return true;
    }
    saveFailed("Not saving " + path.string() + ": " + why + " and no copy of it could be made");
    return false;
}

}  // namespace tarn::agent
