#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/input.h"

namespace tarn::platform {

// The modifier bits of a chord as the agent's rules store them (the configuration file is
// shared with macOS). Key events carry the same modifiers as platform::keyflags; these two
// functions are the one translation between the words, for every key source and the agent.
namespace chordbits {
inline constexpr std::uint32_t shift = 1;
inline constexpr std::uint32_t control = 2;
inline constexpr std::uint32_t option = 4;
inline constexpr std::uint32_t command = 8;
inline constexpr std::uint32_t all = shift | control | option | command;
}  // namespace chordbits

constexpr std::uint64_t keyFlagsOf(std::uint32_t chordModifiers) {
    std::uint64_t flags = 0;
    if (chordModifiers & chordbits::shift) flags |= keyflags::shift;
    if (chordModifiers & chordbits::control) flags |= keyflags::control;
    if (chordModifiers & chordbits::option) flags |= keyflags::option;
    if (chordModifiers & chordbits::command) flags |= keyflags::command;
    return flags;
}
// Bits of no modifier (lock keys, the keypad, the side of the keyboard) are left out.
constexpr std::uint32_t chordModifiersOf(std::uint64_t keyFlags) {
    std::uint32_t bits = 0;
    if (keyFlags & keyflags::shift) bits |= chordbits::shift;
    if (keyFlags & keyflags::control) bits |= chordbits::control;
    if (keyFlags & keyflags::option) bits |= chordbits::option;
    if (keyFlags & keyflags::command) bits |= chordbits::command;
    return bits;
}

// A chord: a macOS virtual key code and chordbits.
struct Chord {
    std::int64_t keyCode = 0;
    std::uint32_t modifiers = 0;
    friend bool operator==(const Chord&, const Chord&) = default;
    friend auto operator<=>(const Chord&, const Chord&) = default;
};

// One key-down of an installed chord, as the key source saw it.
struct KeyDown {
    std::int64_t keyCode = 0;  // macOS virtual key code
    std::uint64_t flags = 0;   // the modifiers held, in the bit values of platform::keyflags
                               // plus whatever else the platform reports (lock keys, ...)
    // The marker of the synthetic event that caused it, when it is this process's own.
    std::optional<std::int64_t> marker;
};

enum class KeyVerdict { pass, swallow };

// The answer for one key-down: whether the key goes on to the focused window, and what to
// start once that has taken effect. When `then` types, the source runs it on its own thread
// only after the desktop has applied the verdict and the keyboard is free again (no grab of
// ours left holding it), so its keys never race the key that triggered it: they reach the
// focused window, not the source. What does not type (a window move) need not wait for
// that: a round trip less on the way to the window.
struct KeyDecision {
    KeyDecision(KeyVerdict verdict = KeyVerdict::pass, std::function<void()> then = {},
                bool thenTypes = true)
        : verdict(verdict), then(std::move(then)), thenTypes(thenTypes) {}
    KeyVerdict verdict;
    std::function<void()> then;
    bool thenTypes;
};

// Why a chord is or is not live.
enum class ChordGrab {
    grabbed,       // installed: its key-downs reach the callback
    takenByOther,  // another program holds it ("already taken by another program")
    noKey,         // the key code has no key on the current keyboard mapping
};

// How a chord whose rule lets it pass reaches the focused window on this desktop.
enum class ChordPass {
    replayed,    // the desktop hands the key on as it came (an X11 grab replays it)
    retyped,     // the desktop consumes a bound chord (a compositor binding); the source
                 // types the chord into the focused window itself, its own binding released
                 // around it so that the retyped chord never triggers it again
    impossible,  // the desktop consumes it and the source cannot type it again
};

struct ChordStatus {
    Chord chord;
    ChordGrab state = ChordGrab::grabbed;
    friend bool operator==(const ChordStatus&, const ChordStatus&) = default;
};

// A system-wide source of key-downs for a set of chords. It runs on a thread of its own
// and, for each key-down of an installed chord, calls the callback on that thread and
// applies the answer before it reads the next event: a swallowed key never reaches the
// focused window, a passed one does; then it runs the answer's `then`. The callback and
// `then` must return quickly and never block on the action they trigger.
class KeySource {
  public:
    using Callback = std::function<KeyDecision(const KeyDown&)>;
    // Called once, on the source's thread, when the source can no longer run (the display
    // went away); the text says why.
    using LostCallback = std::function<void(const std::string&)>;

    virtual ~KeySource() = default;

    // Starts the thread with the chords installed so far. False, with the reason in `error`,
    // when it cannot start; a running source is stopped first (never two at once).
    virtual bool start(Callback onKeyDown, LostCallback onLost, std::string& error) = 0;
    // Stops the thread and releases every chord; harmless when not running.
    virtual void stop() = 0;
    // Replaces the installed set (any thread; applied by the source's own thread promptly).
    virtual void setChords(std::vector<Chord> chords) = 0;
    // The state of every chord of the last set, once the source has applied it.
    virtual std::vector<ChordStatus> chordStatus() = 0;
    // What "pass" means here, for the settings window to show per rule.
    virtual ChordPass chordPass() const { return ChordPass::replayed; }
};

}  // namespace tarn::platform
