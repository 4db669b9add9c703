#include "agent/keystroke_interceptor.h"

#include <algorithm>
#include <exception>

#include "agent/overloaded.h"
#include "platform/desktop.h"
#include "platform/input.h"

namespace tarn::agent {
std::vector<platform::Chord> chordsOf(const RootConfig& config) {
    std::vector<platform::Chord> chords;
    for (const HotkeyRule& rule : config.globalRules) {
        const auto& chord = rule.chord;
        if ((chord.modifiers.rawValue & ~std::int64_t{platform::chordbits::all}) != 0) continue;
        chords.push_back({chord.keyCode, static_cast<std::uint32_t>(chord.modifiers.rawValue)});
    }
    std::sort(chords.begin(), chords.end());
    chords.erase(std::unique(chords.begin(), chords.end()), chords.end());
    return chords;
}

KeyChord::Modifiers normalisedModifiers(std::uint64_t flags) {
    return {platform::chordModifiersOf(flags)};
}

KeystrokeInterceptor::KeystrokeInterceptor(RuleEngine& ruleEngine, AppObserver& appObserver,
                                           platform::KeySource& keySource, ActionHost& actions,
                                           LogSink& log)
    : ruleEngine_(ruleEngine),
      appObserver_(appObserver),
      keySource_(keySource),
      actions_(actions),
      log_(log, LogCategory::keystrokeInterceptor) {}

KeystrokeInterceptor::~KeystrokeInterceptor() {
    stop();
}

bool KeystrokeInterceptor::start(platform::KeySource::LostCallback onLost, std::string& error) {
    stop();
    log_.error("Starting event tap...");
    running_ = keySource_.start(
        [this](const platform::KeyDown& key) -> platform::KeyDecision {
            // A key-down that cannot be matched goes on to the window: the keyboard never
            // waits for the agent.
            try {
                return handleEvent(key);
            } catch (const std::exception& failure) {
                log_.error(std::string("Key-down not matched, it goes on to the window: ") +
                           failure.what());
                return platform::KeyVerdict::pass;
            }
        },
        std::move(onLost), error);
    return running_;
}

void KeystrokeInterceptor::stop() {
    // Harmless when nothing runs; the source waits for its thread, so no callback follows.
    keySource_.stop();
    running_ = false;
}

platform::KeyDecision KeystrokeInterceptor::handleEvent(const platform::KeyDown& key) {
    // The agent's own typing passes untouched, unlogged.
    if (key.marker == injectedEventMarker) return platform::KeyVerdict::pass;
    KeyChord chord{key.keyCode, normalisedModifiers(key.flags)};
    log_.deferred([chord, flags = key.flags] {
        return "KeyDown: " + chord.displayName() +
               " (mod=" + std::to_string(chord.modifiers.rawValue) +
               ", keyCode=" + std::to_string(chord.keyCode) +
               ", rawFlags=" + std::to_string(flags) + ")";
    });
    auto found = ruleEngine_.match(appObserver_.frontmostBundleID(), chord);
    if (!found) return platform::KeyVerdict::pass;
    bool swallow = found->rule.swallow;
    log_.deferred([action = found->rule.action, swallow] {
        return "✓ Matched rule: " + describeAction(action) +
               ", swallow: " + (swallow ? "true" : "false");
    });
    // The action is queued only once the key source has applied the verdict, so keys it
    // types never meet the grab that caught the chord.
    const bool types =
        std::holds_alternative<Action::SendKeystrokeSequence>(found->rule.action.value);
    auto queue = [this, match = std::move(*found)]() mutable {
        workQueue_.async([this, match = std::move(match)] {
            // A failing step costs that action only: the agent keeps its hotkeys.
            auto guarded = [this](const char* desktopGone, auto step) {
                try {
                    step();
                } catch (const platform::DesktopError& error) {
                    log_.error(desktopGone + std::string(error.what()));
                    if (actions_.desktopLost) actions_.desktopLost();
                } catch (const std::exception& error) {
                    log_.error(std::string("Action failed: ") + error.what());
                }
            };
            guarded("Action failed, the desktop went away: ", [&] {
                if (actions_.beforeAction) actions_.beforeAction();
                execute(match.rule, match.override);
            });
            // The action's use of the desktop ends whatever happened to it.
            guarded("Action failed, its changes could not be written: ", [&] {
                if (actions_.afterAction) actions_.afterAction();
            });
        });
    };
    return {swallow ? platform::KeyVerdict::swallow : platform::KeyVerdict::pass, std::move(queue),
            types};
}

void KeystrokeInterceptor::execute(const HotkeyRule& rule,
                                   const std::optional<RuleOverride>& override) {
    log_.error("execute() called for rule: " + rule.id.text());
    const std::optional<StateFilters>& filters =
        override && override->stateFilters ? override->stateFilters : rule.stateFilters;
    std::visit(
        Overloaded{
            [&](const Action::MoveWindow& move) {
                log_.error("  Action: moveWindow(" + std::string(directionName(move.direction)) +
                           ")");
                WindowActions::performMove(move.direction, filters, actions_);
            },
            [&](const Action::SendKeystrokeSequence& keys) {
                log_.error("  Action: sendKeystrokeSequence");
                KeySender::send(keys.sequence, injectedEventMarker, actions_);
            },
            [&](const Action::MoveMouse& mouse) {
                log_.error("  Action: moveMouse(target: " + describeMouseTarget(mouse.target) +
                           ", position: " + std::string(positionName(mouse.position)) + ")");
                WindowActions::performMoveMouse(mouse.target, mouse.position, actions_);
            },
        },
        rule.action.value);
}

}  // namespace tarn::agent
