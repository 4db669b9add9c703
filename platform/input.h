#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/geometry.h"

namespace tarn::platform {

// Modifier flags in the bit values of macOS keyboard events; X11 presses the matching
// modifier keys around the key instead.
namespace keyflags {
inline constexpr std::uint64_t shift = 0x20000;
inline constexpr std::uint64_t control = 0x40000;
inline constexpr std::uint64_t option = 0x80000;
inline constexpr std::uint64_t command = 0x100000;
}  // namespace keyflags

struct KeyEvent {
    std::uint16_t keyCode = 0;  // macOS virtual key code (ANSI layout)
    bool down = true;
    std::uint64_t flags = 0;             // exactly these modifiers, replacing whatever is held
    std::optional<std::int64_t> marker;  // the agent's marker on its own events
    friend bool operator==(const KeyEvent&, const KeyEvent&) = default;
};

class KeyboardOutput {
  public:
    virtual ~KeyboardOutput() = default;
    // False when no event can be made for this key here (the key is then skipped whole).
    virtual bool canPost(std::uint16_t keyCode) = 0;
    virtual void post(const KeyEvent& event) = 0;
    // Around a run of keys typed one after another. Where the system derives modifiers from
    // the keys that are down (X11), the user's held modifiers are lifted once at the start
    // and given back at the end, not around every key. A key posted outside a run is a run
    // of its own.
    virtual void beginTyping() {}
    virtual void endTyping() {}
};

class Clipboard {
  public:
    virtual ~Clipboard() = default;
    // The plain-text contents; absent when the clipboard holds no text.
    virtual std::optional<std::string> readText() = 0;
    // Clears the clipboard and puts the text on it.
    virtual void writeText(const std::string& text) = 0;
};

class Pointer {
  public:
    virtual ~Pointer() = default;
    // Moves the pointer and re-associates it with the mouse.
    virtual void warp(Point to) = 0;
    virtual std::optional<Point> location() = 0;
    // Health probe: whether a mouse-moved event could be created at the point.
    virtual bool canCreateMouseEvent(Point at) = 0;
};

class Accessibility {
  public:
    virtual ~Accessibility() = default;
    // Whether this process may drive other applications' windows and post events. With
    // prompt, the system is asked to show its permission request when it is not.
    virtual bool isTrusted(bool prompt) = 0;
    // Why the answer is no, in words, where the platform knows more than yes/no ("no X
    // display", "the XTEST extension is missing"); empty otherwise.
    virtual std::string untrustedReason() = 0;
};

// Every pause goes through here, so tests can check pauses without waiting for them.
class Sleeper {
  public:
    virtual ~Sleeper() = default;
    virtual void sleepMicroseconds(std::uint32_t microseconds) = 0;
};

}  // namespace tarn::platform
