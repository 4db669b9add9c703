#include "platform/kde/key_source.h"

#include <unistd.h>

#include <map>

#include "platform/dbus/bus.h"
#include "platform/kde/fake_input.h"
#include "platform/kde/kwin.h"
#include "platform/kde/shortcut_keys.h"
#include "platform/threaded_sources.h"

namespace tarn::platform::kde {
namespace {

const dbus::Address kGlobalAccel{"org.kde.kglobalaccel", "/kglobalaccel", "org.kde.KGlobalAccel"};
constexpr const char* kServedPath = "/org/tarn/KWinShortcuts";
constexpr const char* kServedInterface = "org.tarn.KWinShortcuts";
constexpr const char* kNamePrefix = "tarn-";

bool block(dbus::Bus& bus, bool blocked) {
    return static_cast<bool>(bus.call(kGlobalAccel, "blockGlobalShortcuts", "b", {blocked}));
}

// Whether kglobalaccel files a shortcut of that key that is not Tarn's.
bool takenByOther(dbus::Bus& bus, int code) {
    auto reply = bus.call(kGlobalAccel, "getGlobalShortcutsByKey", "i", {std::int32_t{code}});
    if (!reply || reply.values.empty()) return false;
    const auto* list = reply.values.front().get<dbus::Array>();
    if (!list) return false;
    for (const dbus::Value& info : *list) {
        const auto* fields = info.get<dbus::Struct>();
        const std::string* name =
            fields && !fields->members.empty() ? fields->members.front().text() : nullptr;
        if (name && !name->starts_with(kNamePrefix)) return true;
    }
    return false;
}

// Tarn's shortcuts that kglobalaccel files under KWin's component.
std::vector<std::string> ownShortcuts(dbus::Bus& bus) {
    std::vector<std::string> names;
    auto reply =
        bus.call(kGlobalAccel, "allActionsForComponent", "as", {dbus::Array{dbus::Value("kwin")}});
    if (!reply || reply.values.empty()) return names;
    const auto* actions = reply.values.front().get<dbus::Array>();
    if (!actions) return names;
    for (const dbus::Value& action : *actions) {
        const auto* id = action.get<dbus::Array>();
        if (!id || id->size() < 2 || !(*id)[1].text()) continue;
        if ((*id)[1].text()->starts_with(kNamePrefix)) names.push_back(*(*id)[1].text());
    }
    return names;
}

void unregister(dbus::Bus& bus, const std::string& name) {
    bus.call(kGlobalAccel, "unregister", "ss", {"kwin", name});
}

class KdeKeySource final : public ThreadedKeySource {
  public:
    ~KdeKeySource() override { stop(); }

    ChordPass chordPass() const override { return ChordPass::retyped; }

  private:
    void run(const Callback& onKeyDown, const LostCallback& onLost,
             std::promise<std::string>& started) override {
        onKeyDown_ = onKeyDown;
        std::string error;
        bus_ = dbus::Bus::session(error);
        auto version = bus_ ? kwinVersion(*bus_, error) : std::nullopt;
        if (!version) {
            bus_.reset();
            started.set_value("the KDE key source cannot start: " + error);
            return;
        }
        api_ = scriptApiFor(*version);
        // What an agent that died left: a block, and its shortcuts.
        block(*bus_, false);
        for (const std::string& name : ownShortcuts(*bus_)) unregister(*bus_, name);
        auto serving =
            bus_->serve(kServedPath, [this](const dbus::Call& call) { return serve(call); });
        apply(takeWanted());
        started.set_value("");

        std::string lost;
        while (!thread_.stopping()) {
            if (!bus_->wait(50)) {
                lost = "the session bus went away";
                break;
            }
            if (auto chords = takeWantedIfChanged()) apply(*chords);
        }
        script_.reset();
        for (const auto& [name, chord] : registered_) unregister(*bus_, name);
        registered_.clear();
        serving.reset();
        bus_.reset();
        if (!lost.empty() && onLost) onLost(lost);
    }

    // Registers the chord set: a script of its own, then the names it no longer has go.
    void apply(const std::vector<Chord>& chords) {
        std::vector<ChordStatus> status;
        std::vector<Shortcut> shortcuts;
        std::map<std::string, Chord> registered;
        for (const Chord& chord : chords) {
            auto key = shortcutKeyFor(chord);
            ChordGrab state = ChordGrab::grabbed;
            if (!key) {
                state = ChordGrab::noKey;
            } else if (takenByOther(*bus_, key->code)) {
                state = ChordGrab::takenByOther;
            } else {
                const std::string name = kNamePrefix + key->text;
                if (registered.emplace(name, chord).second) shortcuts.push_back({name, key->text});
            }
            status.push_back({chord, state});
        }
        script_.reset();
        ready_ = false;
        if (!shortcuts.empty()) {
            std::string error;
            const CallBack callBack{bus_->uniqueName(), kServedPath, kServedInterface};
            script_ = LoadedScript::load(*bus_, agentScript(api_, callBack, shortcuts),
                                         "tarn-agent-" + std::to_string(::getpid()), error);
            for (int i = 0; script_ && !ready_ && i < 100; ++i) bus_->wait(50);
            if (script_) script_->forgetFile();
        }
        for (const auto& [name, chord] : registered_)
            if (!registered.contains(name)) unregister(*bus_, name);
        registered_ = std::move(registered);
        publish(std::move(status));
    }

    dbus::Answer serve(const dbus::Call& call) {
        const std::string* text = call.arguments.empty() ? nullptr : call.arguments.front().text();
        if (call.member == "ready") {
            ready_ = true;
        } else if (call.member == "pressed" && text) {
            auto found = registered_.find(*text);
            if (found != registered_.end()) pressed(found->second);
        }
        return {};
    }

    void pressed(const Chord& chord) {
        if (!onKeyDown_) return;
        KeyDecision decision =
            onKeyDown_(KeyDown{chord.keyCode, keyFlagsOf(chord.modifiers), std::nullopt});
        if (decision.verdict == KeyVerdict::pass) retype(chord);
        if (decision.then) decision.then();
    }

    // KWin consumed the chord: it is typed again for the focused window, with shortcuts
    // blocked so that it fires none.
    void retype(const Chord& chord) {
        if (!keyboard_)
            keyboard_ = openFakeInput(
                            link_, [] { return Point{}; }, [] { return std::optional<Point>{}; })
                            .keyboard;
        const KeyEvent down{static_cast<std::uint16_t>(chord.keyCode), true,
                            keyFlagsOf(chord.modifiers), std::nullopt};
        block(*bus_, true);
        try {
            keyboard_->beginTyping();
            keyboard_->post(down);
            keyboard_->post({down.keyCode, false, down.flags, std::nullopt});
            keyboard_->endTyping();
        } catch (const std::exception&) {
            // No fake input: the chord stays consumed (the agent's log has said why at start).
        }
        block(*bus_, false);
    }

    // The source thread's own.
    Callback onKeyDown_;
    std::unique_ptr<dbus::Bus> bus_;
    ScriptApi api_ = ScriptApi::plasma5;
    std::unique_ptr<LoadedScript> script_;
    bool ready_ = false;
    std::map<std::string, Chord> registered_;
    std::shared_ptr<WaylandLink> link_ = std::make_shared<WaylandLink>();
    std::unique_ptr<KeyboardOutput> keyboard_;
};

}  // namespace

bool blockGlobalShortcuts(bool blocked) {
    std::string error;
    auto bus = dbus::Bus::session(error);
    return bus && block(*bus, blocked);
}

std::unique_ptr<KeySource> makeKeySource() {
    return std::make_unique<KdeKeySource>();
}

}  // namespace tarn::platform::kde
