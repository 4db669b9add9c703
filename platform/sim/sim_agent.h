#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <set>

#include "platform/app_events.h"
#include "platform/desktop.h"
#include "platform/key_source.h"

namespace tarn::platform::sim {

// The key source of the simulated desktop: tests press keys in-process. Like a real one it
// calls the callback only for key-downs of installed chords (the four modifier flags must
// match exactly; other flag bits are ignored), and only while started. What passing a chord
// means is the test's choice, so that every desktop's kind can be shown.
class SimKeySource final : public KeySource {
  public:
    explicit SimKeySource(ChordPass pass = ChordPass::replayed) : pass_(pass) {}

    bool start(Callback onKeyDown, LostCallback onLost, std::string& error) override;
    void stop() override;
    void setChords(std::vector<Chord> chords) override;
    std::vector<ChordStatus> chordStatus() override;
    ChordPass chordPass() const override { return pass_; }

    // The test's side. press() runs the callback on the calling thread and returns its
    // verdict; nothing when the key is no installed chord or the source is not running (the
    // key then simply reaches the application).
    std::optional<KeyVerdict> press(const KeyDown& key);
    // Chords that "another program" holds: reported takenByOther, never pressed.
    void holdElsewhere(std::set<Chord> chords);
    // The display goes away: the lost callback runs once and the source stops.
    void loseDisplay(const std::string& reason);
    bool running() const;

  private:
    const ChordPass pass_;
    mutable std::mutex lock_;
    bool running_ = false;
    Callback onKeyDown_;
    LostCallback onLost_;
    std::vector<Chord> chords_;
    std::set<Chord> elsewhere_;
};

// The applications of the simulated desktop file (its frontmost and apps members, read
// afresh at every call). Tests announce changes with activated() and launchedOrTerminated(),
// which call the callbacks on the calling thread while the source is started.
class SimAppEvents final : public AppEvents {
  public:
    explicit SimAppEvents(const std::filesystem::path& file);

    bool start(Notify onActivated, Notify onLaunchedOrTerminated, std::string& error) override;
    void stop() override;
    std::optional<AppInfo> frontmostApplication() override;
    std::vector<AppInfo> runningApplications() override;

    void activated();
    void launchedOrTerminated();

  private:
    std::unique_ptr<Desktop> desktop_;
    std::mutex lock_;
    Notify onActivated_;
    Notify onChanged_;
};

}  // namespace tarn::platform::sim
