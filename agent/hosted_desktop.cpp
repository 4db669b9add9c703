#include "agent/hosted_desktop.h"

#include <chrono>

namespace tarn::agent {

void QuitSleeper::sleepMicroseconds(std::uint32_t microseconds) {
    std::unique_lock lock(mutex_);
    wake_.wait_for(lock, std::chrono::microseconds(microseconds), [this] { return quitting_; });
}

void QuitSleeper::quit() {
    {
        std::lock_guard lock(mutex_);
        quitting_ = true;
    }
    wake_.notify_all();
}

platform::Desktop& HostedDesktop::current() {
    if (!current_) {
        platform::DesktopChoice choice = open_();
        if (!choice.desktop) throw platform::DesktopError(choice.error);
        current_ = std::move(choice.desktop);
        if (inAction_) current_->beginOperation();
    }
    return *current_;
}

}  // namespace tarn::agent
