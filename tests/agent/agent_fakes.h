#pragma once

#include <filesystem>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "agent/app_delegate.h"
#include "agent/uuid.h"
#include "platform/app_events.h"
#include "platform/key_source.h"
#include "tests/agent/manual_scheduler.h"
#include "tests/common/fake_desktop.h"
#include "tests/common/temp_dir.h"

namespace tarn::testing {

// A rule identifier told apart by its last byte alone.
inline agent::Uuid ruleId(int n) {
    agent::Uuid::Bytes bytes{};
    bytes[15] = static_cast<std::uint8_t>(n);
    return agent::Uuid(bytes);
}

// A key source the test drives by hand: press() calls the callback as the source's thread
// would, and the verdict comes back.
class FakeKeySource final : public platform::KeySource {
  public:
    bool refuseStart = false;
    int starts = 0, stops = 0;
    std::vector<platform::Chord> chords;
    std::vector<platform::ChordStatus> status;

    bool start(Callback onKeyDown, LostCallback onLost, std::string& error) override {
        stop();
        ++starts;
        if (refuseStart) {
            error = "no keyboard here";
            return false;
        }
        callback_ = std::move(onKeyDown);
        lost_ = std::move(onLost);
        return true;
    }
    void stop() override {
        if (callback_) ++stops;
        callback_ = nullptr;
    }
    void setChords(std::vector<platform::Chord> set) override { chords = std::move(set); }
    std::vector<platform::ChordStatus> chordStatus() override { return status; }

    bool running() const { return static_cast<bool>(callback_); }
    platform::KeyVerdict press(std::int64_t keyCode, std::uint64_t flags,
                               std::optional<std::int64_t> marker = std::nullopt) {
        platform::KeyDecision decision = callback_({keyCode, flags, marker});
        if (decision.then) decision.then();
        return decision.verdict;
    }
    void loseDisplay(const std::string& why) { lost_(why); }

  private:
    Callback callback_;
    LostCallback lost_;
};

class FakeAppEvents final : public platform::AppEvents {
  public:
    std::optional<platform::AppInfo> frontmost;
    std::vector<platform::AppInfo> running;
    Notify activated;
    Notify launchedOrTerminated;

    bool start(Notify onActivated, Notify onLaunchedOrTerminated, std::string&) override {
        activated = std::move(onActivated);
        launchedOrTerminated = std::move(onLaunchedOrTerminated);
        return true;
    }
    void stop() override {}
    std::optional<platform::AppInfo> frontmostApplication() override { return frontmost; }
    std::vector<platform::AppInfo> runningApplications() override { return running; }
};

// The agent's parts as the launch wires them, over fakes: `Loop` is the main loop, `Keys` the
// key source; the configuration file lies in a fresh directory.
template <class Loop = ManualScheduler, class Keys = FakeKeySource>
struct FakeAgent {
    FakeAgent() = default;
    explicit FakeAgent(agent::MoveApp moveApp) { host.moveApp = std::move(moveApp); }

    std::filesystem::path file() const { return dir.path() / "wendle-config.json"; }
    agent::AgentParts parts(std::function<platform::DesktopChoice()> openDesktop,
                            std::function<void(const std::string&)> onDisplayLost = {}) {
        return {.configStore = store,
                .appObserver = observer,
                .ruleEngine = engine,
                .keySource = source,
                .actions = host,
                .mainLoop = mainLoop,
                .log = log,
                .openDesktop = std::move(openDesktop),
                .ownPid = 1,
                .onDisplayLost = std::move(onDisplayLost)};
    }
    std::vector<std::string> lines(agent::LogCategory category) const {
        std::vector<std::string> found;
        for (const auto& entry : log.entries())
            if (entry.category == category) found.push_back(entry.message);
        return found;
    }

    TempDir dir;
    agent::MemoryLog log;
    Loop mainLoop;
    agent::ConfigStore store{mainLoop, agent::Logger(log, agent::LogCategory::appDelegate),
                             [this] { return file(); }};
    agent::RuleEngine engine{agent::Logger(log, agent::LogCategory::ruleEngine)};
    FakeAppEvents events;
    agent::AppObserver observer{events, mainLoop};
    Keys source;
    FakeDesktop desktop;
    std::ostringstream out;
    CommandContext context{out, out, desktop};
    std::string keysBuffer;
    agent::ActionHost host{
        .context = context, .keysBuffer = keysBuffer, .log = log, .configStore = store};
};

}  // namespace tarn::testing
