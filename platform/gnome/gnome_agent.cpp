#include "platform/gnome/gnome_agent.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/dbus/bus.h"
#include "platform/gnome/keys.h"
#include "platform/gnome/remote_desktop.h"
#include "platform/gnome/shell_extension.h"
#include "platform/input.h"
#include "platform/threaded_sources.h"

namespace tarn::platform::gnome {
namespace {

constexpr const char* kShellName = "org.tarn.Shell";

// Follows the extension's bus name: true once when a new owner appears (the shell came back
// after a restart, or the extension was enabled again).
std::unique_ptr<dbus::Bus::Subscription> onShellAppeared(dbus::Bus& bus, bool& appeared) {
    return bus.onSignal("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                        "NameOwnerChanged",
                        [&appeared](const std::string&, const std::vector<dbus::Value>& args) {
                            if (args.size() < 3 || !args[0].text() || !args[2].text()) return;
                            if (*args[0].text() == kShellName && !args[2].text()->empty()) {
                                appeared = true;
                            }
                        });
}

class GnomeKeySource final : public ThreadedKeySource {
  public:
    explicit GnomeKeySource(std::shared_ptr<platform::MarkerLedger> ledger)
        : ledger_(std::move(ledger)) {}
    ~GnomeKeySource() override { stop(); }

    void stop() override {
        ThreadedKeySource::stop();
        if (ledger_) ledger_->setGrabbed(kLedgerDesktop, {});
    }

    ChordPass chordPass() const override { return ChordPass::retyped; }

  private:
    // What the thread holds while it runs.
    struct Grabs {
        std::map<std::uint32_t, Chord> byAction;
        std::map<Chord, std::uint32_t> byChord;
    };

    void run(const Callback& onKeyDown, const LostCallback& onLost,
             std::promise<std::string>& started) override {
        std::string error;
        auto bus = dbus::Bus::session(error);
        if (!bus) {
            started.set_value("the session bus cannot be reached: " + error);
            return;
        }
        ShellExtension shell(*bus);
        if (auto why = shell.check(); !why.empty()) {
            started.set_value(why);
            return;
        }
        // What an earlier run of this connection's owner left is gone with its connection;
        // this clears nothing of anybody else's.
        shell.releaseAll();
        RemoteDesktop remote(*bus);
        std::deque<std::uint32_t> activated;
        auto onActivated =
            bus->onSignal(kShellName, "/org/tarn/Shell", "org.tarn.Shell1", "AcceleratorActivated",
                          [&activated](const std::string&, const std::vector<dbus::Value>& args) {
                              if (!args.empty()) {
                                  if (auto action = args.front().integer()) {
                                      activated.push_back(static_cast<std::uint32_t>(*action));
                                  }
                              }
                          });
        bool shellAppeared = false;
        auto onAppeared = onShellAppeared(*bus, shellAppeared);
        // Mutter's keyboard for retyped chords comes up now rather than at the first one.
        std::string remoteError;
        remote.ready(remoteError);
        started.set_value("");

        Grabs grabs;
        while (!thread_.stopping()) {
            bool worked = false;
            auto wanted = takeWantedIfChanged();
            if (std::exchange(shellAppeared, false)) {
                // A new shell holds none of our grabs: make them all again.
                grabs = {};
                if (!wanted) wanted = currentWanted();
            }
            if (wanted) {
                apply(shell, grabs, *wanted);
                worked = true;
            }
            if (!bus->process()) {
                if (onLost) onLost("the connection to the session bus was lost");
                return;
            }
            while (!activated.empty() && !thread_.stopping()) {
                const std::uint32_t action = activated.front();
                activated.pop_front();
                handle(action, shell, remote, grabs, onKeyDown);
                worked = true;
            }
            // A call made above may have read signals that are waiting now: dispatch them
            // before sleeping.
            if (worked) continue;
            bool woken = false;
            if (!thread_.sleep(bus->fd(), woken)) {
                if (onLost) onLost("waiting on the session bus failed");
                return;
            }
        }
        for (const auto& [action, chord] : grabs.byAction) shell.release(action);
    }

    // Grabs what is wanted and not held, releases what is held and no longer wanted.
    void apply(ShellExtension& shell, Grabs& grabs, const std::vector<Chord>& wanted) {
        for (auto it = grabs.byChord.begin(); it != grabs.byChord.end();) {
            if (std::find(wanted.begin(), wanted.end(), it->first) == wanted.end()) {
                shell.release(it->second);
                grabs.byAction.erase(it->second);
                it = grabs.byChord.erase(it);
            } else {
                ++it;
            }
        }
        std::vector<ChordStatus> status;
        std::vector<LedgerKey> ledgerKeys;
        for (const Chord& chord : wanted) {
            ChordStatus entry{chord, ChordGrab::grabbed};
            auto accelerator = acceleratorFor(chord);
            if (!accelerator) {
                entry.state = ChordGrab::noKey;
            } else if (!grabs.byChord.count(chord)) {
                ShellGrab grab = shell.grab(*accelerator);
                if (grab.action) {
                    grabs.byChord[chord] = *grab.action;
                    grabs.byAction[*grab.action] = chord;
                } else {
                    entry.state = grab.taken ? ChordGrab::takenByOther : ChordGrab::noKey;
                }
            }
            if (entry.state == ChordGrab::grabbed) {
                ledgerKeys.push_back(ledgerKey(static_cast<std::uint16_t>(chord.keyCode),
                                               keyFlagsOf(chord.modifiers)));
            }
            status.push_back(entry);
        }
        if (ledger_) ledger_->setGrabbed(kLedgerDesktop, std::move(ledgerKeys));
        publish(std::move(status));
    }

    void handle(std::uint32_t action, ShellExtension& shell, RemoteDesktop& remote, Grabs& grabs,
                const Callback& onKeyDown) {
        auto found = grabs.byAction.find(action);
        if (found == grabs.byAction.end()) return;
        const Chord chord = found->second;
        const auto keyCode = static_cast<std::uint16_t>(chord.keyCode);
        KeyDown down{chord.keyCode, keyFlagsOf(chord.modifiers), std::nullopt};
        if (ledger_) down.marker = ledger_->take(kLedgerDesktop, ledgerKey(keyCode, down.flags));
        KeyDecision decision = onKeyDown ? onKeyDown(down) : KeyDecision{};
        if (decision.verdict == KeyVerdict::pass) {
            // Mutter drops the press of a key another keyboard holds down, so the chord is
            // typed again once it has been let go. Our own typist (this program's desktop)
            // lets go a millisecond after pressing; a person or another program holds the
            // chord for as long as they like, and its modifiers are the last keys let go.
            if (down.marker) {
                std::this_thread::sleep_for(std::chrono::milliseconds(25));
            } else {
                waitForRelease(shell);
            }
            retype(chord, action, shell, remote, grabs);
        }
        if (decision.then) decision.then();
    }

    // Until no modifier is held (the chord's key goes up before them), for at most two
    // seconds: a chord held longer is typed again while still held, and may be dropped.
    static void waitForRelease(ShellExtension& shell) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        while (shell.modifiersHeld().value_or(false) &&
               std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        // The key itself may go up a moment after the last modifier.
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }

    // The shell consumed the chord: it goes to the focused window again from here, with our
    // grab released so that it does not come back to us.
    void retype(const Chord& chord, std::uint32_t action, ShellExtension& shell,
                RemoteDesktop& remote, Grabs& grabs) {
        shell.release(action);
        grabs.byAction.erase(action);
        grabs.byChord.erase(chord);
        KeyboardGnome keyboard(remote, nullptr);
        const auto keyCode = static_cast<std::uint16_t>(chord.keyCode);
        const std::uint64_t flags = keyFlagsOf(chord.modifiers);
        keyboard.post({keyCode, true, flags, std::nullopt});
        keyboard.post({keyCode, false, flags, std::nullopt});
        // Mutter hands injected keys to its input thread and matches them against the grabs
        // only when they come back: grabbing again at once could catch our own chord. A round
        // trip to the shell and a moment let them land first.
        shell.check();
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        if (auto accelerator = acceleratorFor(chord)) {
            ShellGrab grab = shell.grab(*accelerator);
            if (grab.action) {
                grabs.byChord[chord] = *grab.action;
                grabs.byAction[*grab.action] = chord;
            }
        }
    }

    std::shared_ptr<platform::MarkerLedger> ledger_;
};

class GnomeAppEvents final : public ThreadedAppEvents {
  public:
    ~GnomeAppEvents() override { stop(); }

    std::optional<AppInfo> frontmostApplication() override {
        std::lock_guard guard(lock_);
        ShellExtension* shell = reader();
        if (!shell) return std::nullopt;
        auto focused = shell->focusedWindow();
        if (!focused || focused->pid <= 0) return std::nullopt;
        return appOf(focused->pid, focused->appId, focused->appName);
    }

    std::vector<AppInfo> runningApplications() override {
        std::lock_guard guard(lock_);
        std::vector<AppInfo> apps;
        ShellExtension* shell = reader();
        if (!shell) return apps;
        for (const ShellApp& app : shell->apps().value_or(std::vector<ShellApp>{})) {
            apps.push_back(appOf(app.pid, app.appId, app.appName));
        }
        return apps;
    }

  private:
    void run(const Notify& onActivated, const Notify& onChanged,
             std::promise<std::string>& started) override {
        std::string why;
        auto bus = dbus::Bus::session(why);
        if (!bus) {
            started.set_value("the session bus cannot be reached: " + why);
            return;
        }
        auto focus = bus->onSignal(kShellName, "/org/tarn/Shell", "org.tarn.Shell1", "FocusChanged",
                                   [&](const auto&, const auto&) {
                                       if (onActivated) onActivated();
                                   });
        auto apps = bus->onSignal(kShellName, "/org/tarn/Shell", "org.tarn.Shell1", "AppsChanged",
                                  [&](const auto&, const auto&) {
                                      if (onChanged) onChanged();
                                  });
        bool appeared = false;
        auto shell = onShellAppeared(*bus, appeared);
        started.set_value("");
        while (!thread_.stopping()) {
            if (!bus->process()) return;
            if (std::exchange(appeared, false) && onChanged) onChanged();
            bool woken = false;
            if (!thread_.sleep(bus->fd(), woken)) return;
        }
    }

    static AppInfo appOf(Pid pid, const std::string& appId, const std::string& appName) {
        AppInfo app;
        app.pid = pid;
        if (!appId.empty()) app.bundleID = appId;
        if (!appName.empty()) app.localizedName = appName;
        return app;
    }

    // Reads on demand come from any thread: a connection of their own, under the lock.
    ShellExtension* reader() {
        if (!readerBus_) {
            std::string error;
            readerBus_ = dbus::Bus::session(error);
            if (!readerBus_) return nullptr;
            readerShell_ = std::make_unique<ShellExtension>(*readerBus_);
        }
        return readerShell_.get();
    }

    std::mutex lock_;
    std::unique_ptr<dbus::Bus> readerBus_;
    std::unique_ptr<ShellExtension> readerShell_;
};

}  // namespace

std::unique_ptr<KeySource> makeKeySource(std::shared_ptr<platform::MarkerLedger> ledger) {
    return std::make_unique<GnomeKeySource>(std::move(ledger));
}

std::unique_ptr<AppEvents> makeAppEvents() {
    return std::make_unique<GnomeAppEvents>();
}

}  // namespace tarn::platform::gnome
