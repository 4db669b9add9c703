#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

#include "platform/desktop.h"

namespace tarn::agent {

// Pauses that end at once when the agent quits, and stay zero-length from then on, so a
// long keystroke sequence never holds up the exit.
class QuitSleeper final : public platform::Sleeper {
  public:
    void sleepMicroseconds(std::uint32_t microseconds) override;
    void quit();

  private:
    std::mutex mutex_;
    std::condition_variable wake_;
    bool quitting_ = false;
};

// The desktop the work queue's actions use, for the life of the agent. It is opened on
// first use and opened again after the X server dropped it, so one lost connection costs
// one action, not the agent's hotkeys. Used by one thread at a time.
class HostedDesktop final : public platform::Desktop {
  public:
    using Opener = std::function<platform::DesktopChoice()>;

    explicit HostedDesktop(Opener open) : open_(std::move(open)) {}

    // Forgets the current connection; the next use opens a new one.
    void drop() {
        current_.reset();
        inAction_ = false;
    }
    // A new action, one operation on the desktop (Desktop::beginOperation): an open
    // connection forgets what it remembered for the last one.
    void startAction() {
        inAction_ = true;
        if (current_) {
            current_->forgetRemembered();
            current_->beginOperation();
        }
    }
    // The action is done, however it ended: its operation on the desktop ends (the simulated
    // desktop writes what it changed and lets other processes at it). Throws
    // platform::DesktopError when that write fails.
    void finishAction() {
        inAction_ = false;
        if (current_) current_->endOperation();
    }
    void quit() { sleeper_.quit(); }

    platform::WindowSystem& windowSystem() override { return current().windowSystem(); }
    platform::Displays& displays() override { return current().displays(); }
    platform::KeyboardOutput& keyboard() override { return current().keyboard(); }
    platform::Clipboard& clipboard() override { return current().clipboard(); }
    platform::Pointer& pointer() override { return current().pointer(); }
    platform::Accessibility& accessibility() override { return current().accessibility(); }
    platform::Sleeper& sleeper() override { return sleeper_; }
    platform::BrowserServices& browsers() override { return current().browsers(); }
    platform::ScriptRunner& scripts() override { return current().scripts(); }

  private:
    // Throws platform::DesktopError with the reason when it cannot be opened.
    platform::Desktop& current();

    Opener open_;
    std::unique_ptr<platform::Desktop> current_;
    bool inAction_ = false;
    QuitSleeper sleeper_;
};

}  // namespace tarn::agent
