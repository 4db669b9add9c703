#include "platform/marker_ledger.h"

#include <algorithm>

namespace tarn::platform {

void MarkerLedger::prune(Clock::time_point now) {
    std::erase_if(entries_, [&](const Entry& entry) { return entry.expires <= now; });
}

void MarkerLedger::expect(const std::string& display, Key key, std::int64_t marker) {
    std::lock_guard guard(lock_);
    auto now = Clock::now();
    prune(now);
    auto grabbed = std::find_if(grabbed_.begin(), grabbed_.end(),
                                [&](const auto& entry) { return entry.first == display; });
    if (grabbed == grabbed_.end() ||
        !std::binary_search(grabbed->second.begin(), grabbed->second.end(), key)) {
        return;  // no grabbed key-down will come for it
    }
    entries_.push_back({display, key, marker, now + kLifetime});
}

std::optional<std::int64_t> MarkerLedger::take(const std::string& display, Key key) {
    std::lock_guard guard(lock_);
    prune(Clock::now());
    auto it = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
        return entry.key == key && entry.display == display;
    });
    if (it == entries_.end()) return std::nullopt;
    auto marker = it->marker;
    entries_.erase(it);
    return marker;
}

void MarkerLedger::setGrabbed(const std::string& display, std::vector<Key> grabbed) {
    std::lock_guard guard(lock_);
    std::sort(grabbed.begin(), grabbed.end());
    std::erase_if(entries_, [&](const Entry& entry) {
        return entry.display == display &&
               !std::binary_search(grabbed.begin(), grabbed.end(), entry.key);
    });
    std::erase_if(grabbed_, [&](const auto& entry) { return entry.first == display; });
    if (!grabbed.empty()) grabbed_.emplace_back(display, std::move(grabbed));
}

}  // namespace tarn::platform
