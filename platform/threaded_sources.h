#pragma once

#include <future>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/app_events.h"
#include "platform/event_thread.h"
#include "platform/key_source.h"

namespace tarn::platform {

// A key source on an EventThread of its own, the way every Linux desktop runs one. It keeps
// the chords last wanted and what became of them, under a lock: setChords() (any thread)
// stores them and wakes the thread; the backend's run() is the thread's body, takes the
// wanted chords when they changed, installs them and publishes their status. A new start
// counts as a change: its thread has installed nothing yet.
//
// The thread runs the backend's run(): a backend's destructor calls stop(), so that the thread
// has ended before the backend's members go.
class ThreadedKeySource : public KeySource {
  public:
    bool start(Callback onKeyDown, LostCallback onLost, std::string& error) override;
    void stop() override { thread_.stop(); }
    void setChords(std::vector<Chord> chords) override;
    std::vector<ChordStatus> chordStatus() override;

  protected:
    virtual void run(const Callback& onKeyDown, const LostCallback& onLost,
                     std::promise<std::string>& started) = 0;

    // The wanted chords, the change taken (always, or only when there was one).
    std::vector<Chord> takeWanted();
    std::optional<std::vector<Chord>> takeWantedIfChanged();
    // The wanted chords, a pending change left pending.
    std::vector<Chord> currentWanted();
    void publish(std::vector<ChordStatus> status);

  private:
    std::mutex lock_;
    std::vector<Chord> wanted_;
    bool changed_ = false;
    std::vector<ChordStatus> status_;

  protected:
    EventThread thread_;  // last: stopped before anything its body uses goes
};

// Application events on an EventThread of its own: the backend's run() is the thread's body.
// As above, a backend's destructor calls stop().
class ThreadedAppEvents : public AppEvents {
  public:
    bool start(Notify onActivated, Notify onLaunchedOrTerminated, std::string& error) override;
    void stop() override { thread_.stop(); }

  protected:
    virtual void run(const Notify& onActivated, const Notify& onChanged,
                     std::promise<std::string>& started) = 0;

    EventThread thread_;
};

}  // namespace tarn::platform
