#include "platform/sway/key_source.h"

#include <pthread.h>

#include <algorithm>
#include <set>
#include <vector>

#include "platform/input.h"
#include "platform/sway/ipc.h"
#include "platform/threaded_sources.h"
#include "platform/wayland/wayland.h"
#include "support/files.h"
#include "support/text.h"

namespace tarn::platform::sway {
namespace {

std::string bindCommand(const std::string& combo, const Chord& chord) {
    return "bindsym --no-repeat " + combo + " " + bindingCommand(chord);
}

class SwayKeySource final : public ThreadedKeySource {
  public:
    SwayKeySource(std::string socket, std::string waylandDisplay, std::shared_ptr<BindingGate> gate)
        : socket_(std::move(socket)),
          display_(std::move(waylandDisplay)),
          gate_(std::move(gate)),
          listFile_(socket_ + ".tarn-bindings") {}
    ~SwayKeySource() override { stop(); }

    ChordPass chordPass() const override { return ChordPass::retyped; }

  private:
    struct Thread {
        Ipc ipc;
        std::unique_ptr<KeyboardOutput> keyboard;  // null: passing chords cannot be retyped
    };

    void run(const Callback& onKeyDown, const LostCallback& onLost,
             std::promise<std::string>& started) override {
        ::pthread_setname_np(::pthread_self(), "KeystrokeInterc");
        std::string error;
        auto ipc = Ipc::open(socket_, error);
        if (!ipc) {
            started.set_value(error);
            return;
        }
        auto subscribed = ipc->request(message::subscribe, R"(["binding","workspace","shutdown"])");
        if (!subscribed || !subscribed->is_object() || !subscribed->value("success", false)) {
            started.set_value("sway refused to report its bindings");
            return;
        }
        // A keyboard of the thread's own (its own Wayland connection), for chords that pass.
        Thread self{std::move(*ipc), nullptr};
        if (auto connected = wayland::connect(display_); connected.connection) {
            self.keyboard = wayland::makeKeyboard(connected.connection, error);
        }
        clearStale(self.ipc);
        apply(self.ipc, takeWanted(), true);
        started.set_value(self.ipc.failed() ? "lost the connection to sway" : "");

        while (!thread_.stopping() && !self.ipc.failed()) {
            bool woken = false;
            if (!self.ipc.hasKeptEvent() && !thread_.sleep(self.ipc.fd(), woken)) break;
            if (thread_.stopping()) break;
            if (woken) {
                if (auto wanted = takeWantedIfChanged()) apply(self.ipc, std::move(*wanted), false);
                continue;
            }
            auto message = self.ipc.nextEvent();
            if (!message) break;
            if (message->type == event::binding) {
                onBinding(self, message->payload, onKeyDown);
            } else if (message->type == event::workspace &&
                       message->payload.value("change", std::string()) == "reload") {
                // sway dropped every run-time binding with its old configuration.
                apply(self.ipc, currentWanted(), true);
            } else if (message->type == event::shutdown) {
                break;
            }
        }
        if (thread_.stopping()) {
            unbindAll(self.ipc);
            return;
        }
        gate_->change([](BindingGate::Bound& bound) { bound.clear(); });
        onLost("lost the connection to sway");
    }

    void onBinding(Thread& self, const Json& payload, const Callback& onKeyDown) {
        auto binding = payload.find("binding");
        if (binding == payload.end() || !binding->is_object()) return;
        auto chord = chordOfCommand(binding->value("command", std::string()));
        if (!chord) return;
        if (!isBound(*chord)) {
            // An earlier agent's binding that its list no longer names.
            if (auto combo = comboOf(*chord)) self.ipc.command("unbindsym " + *combo);
            return;
        }
        KeyDown key{chord->keyCode, keyFlagsOf(chord->modifiers), std::nullopt};
        KeyDecision decision = onKeyDown(key);
        if (decision.verdict == KeyVerdict::pass && self.keyboard) retype(self, *chord);
        if (decision.then) decision.then();
    }

    // sway consumed the chord: type it again, with its binding released.
    void retype(Thread& self, const Chord& chord) {
        KeyboardOutput& keyboard = *self.keyboard;
        const auto code = static_cast<std::uint16_t>(chord.keyCode);
        const auto flags = keyFlagsOf(chord.modifiers);
        gate_->aroundTyping(
            chord, self.ipc,
            [&] {
                keyboard.beginTyping();
                keyboard.post({code, true, flags, std::nullopt});
                keyboard.post({code, false, flags, std::nullopt});
            },
            [&] { keyboard.endTyping(); });
    }

    bool isBound(const Chord& chord) {
        bool found = false;
        gate_->change([&](BindingGate::Bound& bound) { found = bound.count(chord) > 0; });
        return found;
    }

    // Binds the wanted chords (all of them again with `fresh`, as after a reload), unbinds
    // those no longer wanted, and publishes the result.
    void apply(Ipc& ipc, std::vector<Chord> wanted, bool fresh) {
        std::set<std::string> configured;
        if (auto config = ipc.request(message::getConfig); config && config->is_object()) {
            configured = combosBoundBy(config->value("config", std::string()));
        }
        std::vector<ChordStatus> status;
        std::string list;
        gate_->change([&](BindingGate::Bound& bound) {
            BindingGate::Bound now;
            for (const Chord& chord : wanted) {
                if (std::any_of(status.begin(), status.end(),
                                [&](const ChordStatus& s) { return s.chord == chord; })) {
                    continue;
                }
                auto combo = comboOf(chord);
                if (!combo) {
                    status.push_back({chord, ChordGrab::noKey});
                    continue;
                }
                if (configured.count(normalCombo(*combo))) {
                    status.push_back({chord, ChordGrab::takenByOther});
                    continue;
                }
                auto had = bound.find(chord);
                const bool ok =
                    (had != bound.end() && !fresh) || ipc.command(bindCommand(*combo, chord));
                status.push_back({chord, ok ? ChordGrab::grabbed : ChordGrab::takenByOther});
                if (ok) {
                    now[chord] = *combo;
                    list += *combo + "\n";
                }
            }
            for (const auto& [chord, combo] : bound) {
                if (!now.count(chord) && !fresh) ipc.command("unbindsym " + combo);
            }
            bound = std::move(now);
        });
        support::writeFileAtomically(listFile_, list);
        publish(std::move(status));
    }

    void unbindAll(Ipc& ipc) {
        gate_->change([&](BindingGate::Bound& bound) {
            for (const auto& [chord, combo] : bound) ipc.command("unbindsym " + combo);
            bound.clear();
        });
        support::writeFileAtomically(listFile_, "");
        publish({});
    }

    void clearStale(Ipc& ipc) {
        auto list = support::readFile(listFile_);
        if (!list || list->empty()) return;
        std::set<std::string> configured;
        if (auto config = ipc.request(message::getConfig); config && config->is_object()) {
            configured = combosBoundBy(config->value("config", std::string()));
        }
        for (auto combo : support::splitText(*list, "\n")) {
            if (combo.empty() || configured.count(normalCombo(combo))) continue;
            ipc.command("unbindsym " + std::string(combo));
        }
    }

    const std::string socket_;
    const std::string display_;
    const std::shared_ptr<BindingGate> gate_;
    const std::string listFile_;
};

}  // namespace

std::unique_ptr<KeySource> makeKeySource(std::string socket, std::string waylandDisplay,
                                         std::shared_ptr<BindingGate> gate) {
    return std::make_unique<SwayKeySource>(std::move(socket), std::move(waylandDisplay),
                                           std::move(gate));
}

}  // namespace tarn::platform::sway
