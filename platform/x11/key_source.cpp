#include "platform/x11/key_source.h"

#include <X11/extensions/XInput2.h>
#include <pthread.h>

#include <algorithm>
#include <future>
#include <unordered_map>

#include "platform/marker_ledger.h"
#include "platform/threaded_sources.h"
#include "platform/x11/connection.h"
#include "platform/x11/keyboard.h"

namespace tarn::platform::x11 {
namespace {

// One chord as the server holds it.
struct Grab {
    Chord chord;
    ChordGrab state = ChordGrab::noKey;
    KeyCode key = 0;
    unsigned modifiers = 0;  // the chord's X modifier mask
};

// Everything the thread owns: the connection and what it grabbed on it. Only the key
// source's thread touches it.
class Session {
  public:
    Session(std::unique_ptr<Connection> connection, int xiOpcode, KeySource::Callback onKeyDown,
            MarkerLedger& ledger)
        : connection_(std::move(connection)),
          x_(*connection_),
          xiOpcode_(xiOpcode),
          onKeyDown_(std::move(onKeyDown)),
          ledger_(ledger) {
        x_.followKeymap();
        readKeyboard();
    }

    // Closing the connection releases every grab.
    ~Session() { ledger_.setGrabbed(x_.name(), {}); }

    Connection& connection() { return x_; }

    // Makes the grabbed set the given one: chords no longer wanted are released, new ones
    // grabbed, and ones another program held before are tried again.
    std::vector<ChordStatus> apply(std::vector<Chord> chords) {
        std::sort(chords.begin(), chords.end());
        chords.erase(std::unique(chords.begin(), chords.end()), chords.end());
        std::vector<Grab> kept;
        std::vector<Grab> fresh;
        for (Grab& grab : grabs_) {
            bool wanted = std::binary_search(chords.begin(), chords.end(), grab.chord);
            if (wanted && grab.state == ChordGrab::grabbed) {
                kept.push_back(grab);
            } else {
                ungrab(grab);
            }
        }
        for (const Chord& chord : chords) {
            bool held = std::any_of(kept.begin(), kept.end(),
                                    [&](const Grab& grab) { return grab.chord == chord; });
            if (!held) fresh.push_back(Grab{.chord = chord});
        }
        grabAll(fresh);
        kept.insert(kept.end(), fresh.begin(), fresh.end());
        grabs_ = std::move(kept);
        std::sort(grabs_.begin(), grabs_.end(),
                  [](const Grab& a, const Grab& b) { return a.chord < b.chord; });
        return published();
    }

    // After a keyboard mapping change: every chord again by the new keymap. A chord whose
    // key and modifiers are what they were keeps its grab untouched, so that announcements
    // that change nothing for it (the server sends one whenever input switches to a device
    // with another keymap) never open a moment in which its key-down slips through.
    std::vector<ChordStatus> regrab() {
        const auto oldMasks = masks_;
        const auto oldCombos = lockCombos_;
        const auto oldMasters = masters_;
        readKeyboard();
        const bool sameModifiers =
            oldMasks == masks_ && oldCombos == lockCombos_ && oldMasters == masters_;
        std::vector<Chord> chords;
        std::vector<Grab> kept;
        for (const Grab& grab : grabs_) {
            chords.push_back(grab.chord);
            if (sameModifiers && grab.state == ChordGrab::grabbed &&
                keyFor(grab.chord) == grab.key) {
                kept.push_back(grab);
            } else {
                ungrab(grab, oldCombos, oldMasters);
            }
        }
        grabs_ = std::move(kept);
        return apply(std::move(chords));
    }

    // One event. Returns true when the keyboard mapping changed (the caller regrabs once
    // the events at hand are read).
    //
    // A chord's key-down arrives frozen by our grab, which the server then holds active
    // until the key goes up: everything the keyboard sends meanwhile (the user's next keys,
    // and the keys the action types through XTest) would be delivered to us, not to the
    // focused window. So a swallowed key-down ends the grab at once instead of merely
    // thawing it: the ungrab thaws the keyboard after the grab is gone, so whatever queued
    // behind the key goes to the focused window, in order. A passed one is replayed, which
    // ends the grab as well. An action that types starts only after the server has done
    // that (one round trip); its keys then meet no grab of ours but the passive ones, where
    // our own marked key-downs are passed on like any other. Each auto-repeat of a held chord finds
    // no active grab and comes as a fresh press.
    bool handle(XEvent& event) {
        if (x_.keymapEvent(event)) return true;
        if (event.type == KeyPress) {
            // Only between a chord's core grab and its XInput2 twins being made.
            const XKeyEvent& key = event.xkey;
            KeyDecision decision = decide(key.keycode, key.state, std::nullopt);
            if (decision.verdict == KeyVerdict::swallow) {
                XUngrabKeyboard(x_.display(), key.time);
            } else {
                XAllowEvents(x_.display(), ReplayKeyboard, key.time);
            }
            settle(decision);
            return false;
        }
        if (event.type == GenericEvent && event.xcookie.extension == xiOpcode_ &&
            XGetEventData(x_.display(), &event.xcookie)) {
            std::optional<KeyDecision> decision;
            if (event.xcookie.evtype == XI_KeyPress) {
                auto* key = static_cast<XIDeviceEvent*>(event.xcookie.data);
                decision = decide(static_cast<unsigned>(key->detail),
                                  static_cast<unsigned>(key->mods.effective), key->sourceid);
                if (decision->verdict == KeyVerdict::swallow) {
                    XIUngrabDevice(x_.display(), key->deviceid, key->time);
                } else {
                    XIAllowEvents(x_.display(), key->deviceid, XIReplayDevice, key->time);
                }
            }
            XFreeEventData(x_.display(), &event.xcookie);
            if (decision) settle(*decision);
        }
        return false;
    }

  private:
    static std::uint32_t lookupKey(unsigned key, unsigned modifiers) {
        return (key << 8) | (modifiers & 0xFF);
    }

    void readKeyboard() {
        masks_ = ModifierMasks::read(x_.display());
        chordMask_ = masks_.shift | masks_.control | masks_.option | masks_.command;
        // Every combination of the lock modifiers that are on keys and are not chord
        // modifiers themselves.
        lockCombos_ = {0};
        for (unsigned lock : {masks_.capsLock, masks_.numLock, masks_.scrollLock}) {
            if (lock == 0 || (lock & chordMask_)) continue;
            bool seen = std::any_of(lockCombos_.begin(), lockCombos_.end(),
                                    [&](unsigned combo) { return combo & lock; });
            if (seen) continue;
            for (std::size_t i = 0, n = lockCombos_.size(); i < n; ++i) {
                lockCombos_.push_back(lockCombos_[i] | lock);
            }
        }
        readDevices();
    }

    // The master keyboards (grabbed one by one: the server does not replay a key-down
    // frozen by a grab made for all masters at once), and the slave keyboards that XTest
    // requests go through.
    void readDevices() {
        masters_.clear();
        xtestDevices_.clear();
        int count = 0;
        XIDeviceInfo* devices = XIQueryDevice(x_.display(), XIAllDevices, &count);
        for (int i = 0; i < count; ++i) {
            const XIDeviceInfo& device = devices[i];
            if (device.use == XIMasterKeyboard) masters_.push_back(device.deviceid);
            if (device.use != XISlaveKeyboard && device.use != XIFloatingSlave) continue;
            bool xtest = isXTestDevice(x_.display(), device.deviceid);
            if (xtest) xtestDevices_.push_back(device.deviceid);
        }
        XIFreeDeviceInfo(devices);
    }

    // The verdict is on its way to the server; what the answer starts, if it types, waits
    // until the server has applied it.
    void settle(const KeyDecision& decision) {
        if (decision.then && decision.thenTypes) {
            XSync(x_.display(), False);
        } else {
            XFlush(x_.display());
        }
        if (!decision.then) return;
        try {
            decision.then();
        } catch (...) {
            // The action is lost, the key source goes on.
        }
    }

    KeyDecision decide(unsigned key, unsigned state, std::optional<int> sourceDevice) {
        auto found = byKey_.find(lookupKey(key, state & chordMask_));
        if (found == byKey_.end()) return KeyVerdict::pass;  // not one of ours: let it go on
        KeyDown down;
        down.keyCode = found->second.keyCode;
        down.flags = masks_.fromX(state);
        if (state & masks_.capsLock) down.flags |= kCapsLockFlag;
        if (masks_.numLock && (state & masks_.numLock)) down.flags |= kNumLockFlag;
        bool synthetic = sourceDevice && std::find(xtestDevices_.begin(), xtestDevices_.end(),
                                                   *sourceDevice) != xtestDevices_.end();
        if (synthetic) {
            down.marker = ledger_.take(x_.name(), {key, masks_.fromX(state & chordMask_)});
        }
        try {
            return onKeyDown_(down);
        } catch (...) {
            // Never leave the keyboard waiting. The callback logs what it can explain
            // itself; what reaches here has nothing to say.
            return KeyVerdict::pass;
        }
    }

    // Core grabs first (one round trip for all, failures told apart by sequence number),
    // then the XInput2 twins of those that held (one round trip each); a chord refused on
    // either side lets go of whatever it got.
    void grabAll(std::vector<Grab>& grabs) {
        Display* display = x_.display();
        struct Span {
            unsigned long first, last;
        };
        std::vector<Span> spans(grabs.size(), Span{0, 0});
        {
            ErrorTrap trap(x_);
            for (std::size_t i = 0; i < grabs.size(); ++i) {
                Grab& grab = grabs[i];
                grab.state = ChordGrab::noKey;
                grab.key = keyFor(grab.chord);
                if (grab.key == 0) continue;
                grab.modifiers = masks_.toX(keyFlagsOf(grab.chord.modifiers));
                grab.state = ChordGrab::grabbed;
                spans[i].first = NextRequest(display);
                for (unsigned combo : lockCombos_) {
                    XGrabKey(display, grab.key, grab.modifiers | combo, x_.root(), False,
                             GrabModeAsync, GrabModeSync);
                }
                spans[i].last = NextRequest(display) - 1;
            }
            trap.failed();
            for (const auto& failure : trap.failures()) {
                for (std::size_t i = 0; i < grabs.size(); ++i) {
                    if (grabs[i].state == ChordGrab::grabbed && failure.serial >= spans[i].first &&
                        failure.serial <= spans[i].last) {
                        grabs[i].state = ChordGrab::takenByOther;
                    }
                }
            }
        }

        unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
        XISetMask(bits, XI_KeyPress);
        XISetMask(bits, XI_KeyRelease);
        XIEventMask mask{XIAllMasterDevices, static_cast<int>(sizeof bits), bits};
        for (Grab& grab : grabs) {
            if (grab.state != ChordGrab::grabbed) {
                if (grab.state == ChordGrab::takenByOther) ungrab(grab);
                continue;
            }
            int failed = 0;
            for (int master : masters_) {
                auto modifiers = xiModifiers(grab);
                failed |= XIGrabKeycode(display, master, grab.key, x_.root(), XIGrabModeSync,
                                        XIGrabModeAsync, False, &mask,
                                        static_cast<int>(modifiers.size()), modifiers.data());
            }
            if (failed != 0) {
                grab.state = ChordGrab::takenByOther;
                ungrab(grab);
            }
        }
        XFlush(display);
    }

    std::vector<XIGrabModifiers> xiModifiers(const Grab& grab) const {
        std::vector<XIGrabModifiers> modifiers;
        for (unsigned combo : lockCombos_) {
            modifiers.push_back({static_cast<int>(grab.modifiers | combo), 0});
        }
        return modifiers;
    }

    // The chord's key on the current keymap; 0 when it has none.
    KeyCode keyFor(const Chord& chord) const {
        KeySym symbol = chord.keyCode >= 0 && chord.keyCode <= 0xFFFF
                            ? keySymForMacKey(static_cast<std::uint16_t>(chord.keyCode))
                            : NoSymbol;
        return symbol == NoSymbol ? 0 : XKeysymToKeycode(x_.display(), symbol);
    }

    // Releasing what this client does not hold is harmless: the server only ever removes
    // the caller's own grabs.
    void ungrab(const Grab& grab) { ungrab(grab, lockCombos_, masters_); }
    void ungrab(const Grab& grab, const std::vector<unsigned>& combos,
                const std::vector<int>& masters) {
        if (grab.key == 0) return;
        std::vector<XIGrabModifiers> modifiers;
        for (unsigned combo : combos) {
            modifiers.push_back({static_cast<int>(grab.modifiers | combo), 0});
        }
        for (int master : masters) {
            XIUngrabKeycode(x_.display(), master, grab.key, x_.root(),
                            static_cast<int>(modifiers.size()), modifiers.data());
        }
        for (unsigned combo : combos) {
            XUngrabKey(x_.display(), grab.key, grab.modifiers | combo, x_.root());
        }
    }

    // The lookup table of the grabbed chords, and the same for the marker ledger.
    std::vector<ChordStatus> published() {
        byKey_.clear();
        std::vector<MarkerLedger::Key> ledger;
        std::vector<ChordStatus> status;
        for (const Grab& grab : grabs_) {
            status.push_back({grab.chord, grab.state});
            if (grab.state != ChordGrab::grabbed) continue;
            byKey_.emplace(lookupKey(grab.key, grab.modifiers), grab.chord);
            ledger.push_back({grab.key, keyFlagsOf(grab.chord.modifiers)});
        }
        ledger_.setGrabbed(x_.name(), std::move(ledger));
        return status;
    }

    std::unique_ptr<Connection> connection_;
    Connection& x_;
    int xiOpcode_;
    KeySource::Callback onKeyDown_;
    MarkerLedger& ledger_;
    ModifierMasks masks_;
    unsigned chordMask_ = 0;
    std::vector<unsigned> lockCombos_;
    std::vector<int> masters_;
    std::vector<int> xtestDevices_;
    std::vector<Grab> grabs_;  // sorted by chord
    std::unordered_map<std::uint32_t, Chord> byKey_;
};

class KeySourceX11 final : public ThreadedKeySource {
  public:
    KeySourceX11(std::string displayName, std::shared_ptr<MarkerLedger> ledger)
        : displayName_(std::move(displayName)), ledger_(std::move(ledger)) {}
    ~KeySourceX11() override { stop(); }

  private:
    void run(const Callback& onKeyDown, const LostCallback& onLost,
             std::promise<std::string>& started) override {
        std::string osName = std::string(kKeySourceThreadName).substr(0, 15);
        ::pthread_setname_np(::pthread_self(), osName.c_str());

        std::string error;
        auto connection = Connection::open(displayName_, error);
        if (!connection) {
            started.set_value(error);
            return;
        }
        int xiOpcode = 0, eventBase = 0, errorBase = 0;
        int major = 2, minor = 0;
        if (!XQueryExtension(connection->display(), "XInputExtension", &xiOpcode, &eventBase,
                             &errorBase) ||
            XIQueryVersion(connection->display(), &major, &minor) != Success) {
            started.set_value("the X server on display " + connection->name() +
                              " lacks XInputExtension 2.0, which global hotkeys need");
            return;
        }
        Session session(std::move(connection), xiOpcode, std::move(onKeyDown), *ledger_);
        Connection& x = session.connection();
        publish(session.apply(takeWanted()));
        started.set_value(x.lost() ? "lost the connection to the X server on display " + x.name()
                                   : "");
        if (x.lost()) return;

        while (true) {
            bool remap = false;
            while (!x.lost() && XPending(x.display()) > 0) {
                XEvent event;
                XNextEvent(x.display(), &event);
                remap |= session.handle(event);
            }
            if (x.lost()) break;
            // Regrabbing makes round trips, and events read meanwhile wait in Xlib's queue,
            // where poll() cannot see them: read on before sleeping.
            if (remap) {
                publish(session.regrab());
                continue;
            }
            if (XQLength(x.display()) > 0) continue;

            bool woken = false;
            if (!thread_.sleep(ConnectionNumber(x.display()), woken)) break;
            if (woken) {
                if (thread_.stopping()) return;
                if (auto chords = takeWantedIfChanged()) publish(session.apply(std::move(*chords)));
            }
        }
        if (onLost) onLost("lost the connection to the X server on display " + x.name());
    }

    std::string displayName_;
    std::shared_ptr<MarkerLedger> ledger_;
};

}  // namespace

std::unique_ptr<KeySource> makeKeySource(std::string displayName,
                                         std::shared_ptr<MarkerLedger> ledger) {
    return std::make_unique<KeySourceX11>(std::move(displayName), std::move(ledger));
}

}  // namespace tarn::platform::x11
