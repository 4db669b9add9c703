#include "platform/sim/sim_agent.h"

#include <algorithm>

#include "platform/input.h"
#include "platform/sim/sim_desktop.h"

namespace tarn::platform::sim {

bool SimKeySource::start(Callback onKeyDown, LostCallback onLost, std::string&) {
    std::lock_guard guard(lock_);
    running_ = true;
    onKeyDown_ = std::move(onKeyDown);
    onLost_ = std::move(onLost);
    return true;
}

void SimKeySource::stop() {
    std::lock_guard guard(lock_);
    running_ = false;
}

void SimKeySource::setChords(std::vector<Chord> chords) {
    std::sort(chords.begin(), chords.end());
    chords.erase(std::unique(chords.begin(), chords.end()), chords.end());
    std::lock_guard guard(lock_);
    chords_ = std::move(chords);
}

std::vector<ChordStatus> SimKeySource::chordStatus() {
    std::lock_guard guard(lock_);
    std::vector<ChordStatus> status;
    for (const Chord& chord : chords_) {
        status.push_back(
            {chord, elsewhere_.contains(chord) ? ChordGrab::takenByOther : ChordGrab::grabbed});
    }
    return status;
}

std::optional<KeyVerdict> SimKeySource::press(const KeyDown& key) {
    const Chord chord{key.keyCode, chordModifiersOf(key.flags)};
    Callback callback;
    {
        std::lock_guard guard(lock_);
        bool installed = std::binary_search(chords_.begin(), chords_.end(), chord);
        if (!running_ || !installed || elsewhere_.contains(chord)) return std::nullopt;
        callback = onKeyDown_;
    }
    KeyDecision decision = callback(key);
    if (decision.then) decision.then();
    return decision.verdict;
}

void SimKeySource::holdElsewhere(std::set<Chord> chords) {
    std::lock_guard guard(lock_);
    elsewhere_ = std::move(chords);
}

void SimKeySource::loseDisplay(const std::string& reason) {
    LostCallback onLost;
    {
        std::lock_guard guard(lock_);
        if (!running_) return;
        running_ = false;
        onLost = onLost_;
    }
    if (onLost) onLost(reason);
}

bool SimKeySource::running() const {
    std::lock_guard guard(lock_);
    return running_;
}

SimAppEvents::SimAppEvents(const std::filesystem::path& file) : desktop_(openSimDesktop(file)) {}

bool SimAppEvents::start(Notify onActivated, Notify onLaunchedOrTerminated, std::string&) {
    std::lock_guard guard(lock_);
    onActivated_ = std::move(onActivated);
    onChanged_ = std::move(onLaunchedOrTerminated);
    return true;
}

void SimAppEvents::stop() {
    std::lock_guard guard(lock_);
    onActivated_ = nullptr;
    onChanged_ = nullptr;
}

std::optional<AppInfo> SimAppEvents::frontmostApplication() {
    try {
        return desktop_->windowSystem().frontmostApplication();
    } catch (const DesktopError&) {
        return std::nullopt;
    }
}

std::vector<AppInfo> SimAppEvents::runningApplications() {
    try {
        return desktop_->windowSystem().runningApplications();
    } catch (const DesktopError&) {
        return {};
    }
}

void SimAppEvents::activated() {
    Notify notify;
    {
        std::lock_guard guard(lock_);
        notify = onActivated_;
    }
    if (notify) notify();
}

void SimAppEvents::launchedOrTerminated() {
    Notify notify;
    {
        std::lock_guard guard(lock_);
        notify = onChanged_;
    }
    if (notify) notify();
}

}  // namespace tarn::platform::sim
