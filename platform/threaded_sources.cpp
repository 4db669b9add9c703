#include "platform/threaded_sources.h"

namespace tarn::platform {

bool ThreadedKeySource::start(Callback onKeyDown, LostCallback onLost, std::string& error) {
    stop();
    {
        std::lock_guard guard(lock_);
        changed_ = true;
    }
    error =
        thread_.start([this, onKeyDown = std::move(onKeyDown), onLost = std::move(onLost)](
                          std::promise<std::string>& started) { run(onKeyDown, onLost, started); });
    return error.empty();
}

void ThreadedKeySource::setChords(std::vector<Chord> chords) {
    {
        std::lock_guard guard(lock_);
        wanted_ = std::move(chords);
        changed_ = true;
    }
    thread_.wake();
}

std::vector<ChordStatus> ThreadedKeySource::chordStatus() {
    std::lock_guard guard(lock_);
    return status_;
}

std::vector<Chord> ThreadedKeySource::takeWanted() {
    std::lock_guard guard(lock_);
    changed_ = false;
    return wanted_;
}

std::optional<std::vector<Chord>> ThreadedKeySource::takeWantedIfChanged() {
    std::lock_guard guard(lock_);
    if (!changed_) return std::nullopt;
    changed_ = false;
    return wanted_;
}

std::vector<Chord> ThreadedKeySource::currentWanted() {
    std::lock_guard guard(lock_);
    return wanted_;
}

void ThreadedKeySource::publish(std::vector<ChordStatus> status) {
    std::lock_guard guard(lock_);
    status_ = std::move(status);
}

bool ThreadedAppEvents::start(Notify onActivated, Notify onLaunchedOrTerminated,
                              std::string& error) {
    error = thread_.start(
        [this, onActivated = std::move(onActivated), onChanged = std::move(onLaunchedOrTerminated)](
            std::promise<std::string>& started) { run(onActivated, onChanged, started); });
    return error.empty();
}

}  // namespace tarn::platform
