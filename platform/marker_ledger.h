#pragma once

// The marker where a desktop's key events carry no field a sender may fill (X11, GNOME
// Shell's accelerators): how the key source tells this process's own synthetic key-downs
// from everybody else's. It holds no type of any desktop; each backend keys its entries by
// its own connection's name and key codes. Below, how it works and why it is exact on X11;
// the GNOME backend writes its entry the same way before it types a marked key, and its key
// source takes it when the shell reports the accelerator.
//
// X events carry no field a sender may fill, and every XTest client (this process, xdotool,
// a remote desktop) shares one XTEST device per master keyboard. So the process keeps a
// ledger: right before the X11 keyboard output sends an XTest key-down that carries a marker,
// it writes an entry (display, key code, chord modifiers, marker); when the key source
// receives the grabbed key-down, it takes the oldest matching entry and reports its marker.
//
// One ledger is shared by the keyboard outputs and the key source of a program: the backend
// registry makes it and hands it to both.
//
// Why this is exact:
// - Visibility. The entry is written (under the ledger's lock) before the XTest request
//   leaves the process. The server makes the key event only after reading that request, and
//   the key source reads the event only after the server sent it; so when our own key-down
//   arrives, its entry is always there.
// - The user's own keys. The key source receives each grabbed key-down as an XInput2 event
//   that names the slave device it came from. Only key-downs from an XTEST device may take
//   an entry; a press on a real keyboard never does, however close in time to ours. A user
//   who presses the agent's chord while the agent types it gets the rule; the agent's own
//   press still finds its entry.
// - Other XTest clients (xdotool). The server handles requests one at a time and hands the
//   key source the XTEST device's key-downs in that order (while the keyboard is frozen for
//   a decision they wait in a first-in first-out queue). Our entry matches only a key-down
//   of the same key with the same four modifiers, and is taken by the first one. Another
//   client's identical chord is therefore mistaken for ours only if the server processes it
//   between our writing the entry and its processing our own request, a window of one
//   request's travel; even then the two presses swap roles: one triggers the rule and one
//   passes, as the two presses would have without the race.
// - Keys that are not grabbed. An entry is written only for a key and modifiers the key
//   source has grabbed on that display (it publishes its set on every change), since only
//   those produce an event to take it. One the server does not deliver after all (the grab
//   was released meanwhile, or the user holds another modifier so the grab does not match)
//   is dropped when the grab set changes or after two seconds, whichever comes first.

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tarn::platform {

class MarkerLedger {
  public:
    // A key as both sides name it: the X key code and the chord's modifiers in the bit
    // values of platform::keyflags (shift, control, option, command only).
    struct Key {
        unsigned keyCode = 0;
        std::uint64_t modifiers = 0;
        friend bool operator==(const Key&, const Key&) = default;
        friend auto operator<=>(const Key&, const Key&) = default;
    };

    // The output side, right before it sends the XTest key-down.
    void expect(const std::string& display, Key key, std::int64_t marker);
    // The key source side, for a grabbed key-down from an XTEST device.
    std::optional<std::int64_t> take(const std::string& display, Key key);
    // The key source publishes what it has grabbed (empty when it stops).
    void setGrabbed(const std::string& display, std::vector<Key> grabbed);

    static constexpr std::chrono::seconds kLifetime{2};

  private:
    using Clock = std::chrono::steady_clock;
    struct Entry {
        std::string display;
        Key key;
        std::int64_t marker;
        Clock::time_point expires;
    };
    void prune(Clock::time_point now);

    std::mutex lock_;
    std::vector<std::pair<std::string, std::vector<Key>>> grabbed_;  // per display, sorted keys
    std::vector<Entry> entries_;                                     // oldest first
};

}  // namespace tarn::platform
