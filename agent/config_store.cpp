#include "agent/config_store.h"

#include <algorithm>
#include <stdexcept>
#include <system_error>

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
    ConfigLoad load;
    RootConfig config;
    std::error_code error;
    bool exists = std::filesystem::exists(path, error);
    if (exists || error) {
        // When even its existence cannot be checked, treat it as a file that must be kept.
        load.state = ConfigFileState::unreadable;
        if (auto text = support::readFile(path)) {
            if (auto decoded = decodeConfigText(*text)) {
                load.state =
                    decoded->readWhole() ? ConfigFileState::read : ConfigFileState::partlyRead;
                load.issues = std::move(decoded->issues);
                config = std::move(decoded->config);
            }
        }
    }
    if (load.state == ConfigFileState::partlyRead || load.state == ConfigFileState::unreadable) {
        unsavedOriginal_ = load;
    } else {
        unsavedOriginal_.reset();
    }
    setConfig(std::move(config));
    return load;
}

void ConfigStore::setConfig(RootConfig config) {
    publish(std::make_shared<const RootConfig>(std::move(config)));
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
    debouncer_.poke();
    notifyListeners();
}

void ConfigStore::settle() {
    auto before = saveError_;
    save();
    if (saveError_ != before) notifyListeners();
    if (onConfigChanged_) onConfigChanged_(*current_);
}

void ConfigStore::save() {
    std::filesystem::path path = configURL();
    auto lock = support::FileLock::acquire(path);
    if (unsavedOriginal_ && !keepUnreadFile(path)) {
        saveError_ = path.string() + " could not be read whole and no copy of it could be made";
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
    if (saveError_) saveFailed("Could not save " + path.string() + ": " + *saveError_);
}

void ConfigStore::saveFailed(const std::string& reason) {
    log_.error(reason);
    if (onSaveFailed_) onSaveFailed_(reason);
}

// Copies a file that was not read whole aside before it is replaced. False while the file is
// still there and no copy of it could be made: it must not be overwritten then.
bool ConfigStore::keepUnreadFile(const std::filesystem::path& path) {
    const ConfigLoad& load = *unsavedOriginal_;
    // The rule every writer of Tarn's files follows (support::keepCopyBeforeReplacing).
    auto kept = support::keepCopyBeforeReplacing(path);
    if (kept.copy) {
        log_.error(path.filename().string() + " could not be read whole (" + describeIssues(load) +
                   "); its original is kept as " + kept.copy->string());
    }
    if (kept.mayReplace) {
        unsavedOriginal_.reset();  // copied, or gone since launch: nothing left to protect
        return true;
    }
    saveFailed("Not saving " + path.string() + ": it could not be read whole (" +
               describeIssues(load) + ") and no copy of it could be made");
    return false;
}

}  // namespace tarn::agent
