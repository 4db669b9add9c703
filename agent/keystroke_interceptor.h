#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agent/app_observer.h"
#include "agent/rule_engine.h"
#include "agent/window_actions.h"
#include "agent/work_queue.h"
#include "platform/key_source.h"

namespace tarn::agent {

// The chords a configuration asks the key source for: every rule's chord once, leaving out
// those with modifier bits no key press can produce.
std::vector<platform::Chord> chordsOf(const RootConfig& config);

// The four modifier bits of a chord from the flags word of a key press; lock keys, the
// keypad and the side of the keyboard are ignored.
KeyChord::Modifiers normalisedModifiers(std::uint64_t flags);

// The agent's main loop for keys: for every key-down of a bound chord (on the key source's
// thread) finds the rule for the frontmost application, hands its action to the work queue
// and tells the source to swallow or pass the key.
class KeystrokeInterceptor {
  public:
    // Carried by every key the agent types itself, so that its own keystrokes never
    // trigger its rules.
    static constexpr std::int64_t injectedEventMarker = 0x43414C56;

    KeystrokeInterceptor(RuleEngine& ruleEngine, AppObserver& appObserver,
                         platform::KeySource& keySource, ActionHost& actions, LogSink& log);
    ~KeystrokeInterceptor();
    KeystrokeInterceptor(const KeystrokeInterceptor&) = delete;
    KeystrokeInterceptor& operator=(const KeystrokeInterceptor&) = delete;

    // Stops a running source first, so there is never more than one. False, with the
    // reason, when the key source cannot start. `onLost` is called on the source's thread
    // when it stops for good (the display went away).
    bool start(platform::KeySource::LostCallback onLost, std::string& error);
    void stop();
    bool running() const { return running_; }

    // The key source's callback.
    platform::KeyDecision handleEvent(const platform::KeyDown& key);
    // Carries out a matched rule's action; runs on the work queue.
    void execute(const HotkeyRule& rule, const std::optional<RuleOverride>& override);

    WorkQueue& workQueue() { return workQueue_; }

  private:
    RuleEngine& ruleEngine_;
    AppObserver& appObserver_;
    platform::KeySource& keySource_;
    ActionHost& actions_;
    Logger log_;
    bool running_ = false;
    WorkQueue workQueue_{"KeystrokeInterceptor.work"};
};

}  // namespace tarn::agent
