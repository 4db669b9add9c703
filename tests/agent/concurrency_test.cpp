// Threads meeting in the agent's core; built and run under ThreadSanitizer by the tsan preset.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>

#include <atomic>
#include <fstream>
#include <thread>

#include "agent/app_delegate.h"
#include "agent/config_json.h"
#include "agent/hosted_desktop.h"
#include "agent/instance_lock.h"
#include "agent/main_loop.h"
#include "platform/sim/sim_agent.h"
#include "platform/sim/sim_desktop.h"
#include "support/files.h"
#include "tests/agent/agent_fakes.h"

namespace tarn::agent {
namespace {

using testing::ruleId;
using namespace std::chrono_literals;

const KeyChord kPressed{124, {6}};
const StateFilters kFiltersA{.fullWidthOnPrimary = false};
const StateFilters kFiltersB{.alignLeftOnSecondary = false};

// `rules` rules, the last one on kPressed with an override carrying `filters`: a reader that
// mixes one variant's rules with another's overrides sees a mismatched override.
RootConfig variant(int rule, const StateFilters& filters, int rules) {
    RootConfig config;
    for (int i = 1; i < rules; ++i)
        config.globalRules.push_back({.id = ruleId(100 + i), .chord = {i, {8}}});
    config.globalRules.push_back({.id = ruleId(rule), .chord = kPressed});
    config.appConfigs.push_back({.bundleID = "org.demo.editor",
                                 .ruleOverrides = {{ruleId(rule), {.stateFilters = filters}}}});
    return config;
}

TEST(Concurrency, MatchingWhileTheIndexIsRebuilt) {
    DiscardLog log;
    RuleEngine engine(Logger(log, LogCategory::ruleEngine));
    const RootConfig a = variant(1, kFiltersA, 4), b = variant(2, kFiltersB, 6);
    engine.rebuildIndex(a);
    std::atomic<bool> done{false};
    int rebuilds = 0;
    std::thread rebuilder([&] {
        for (; !done.load(std::memory_order_relaxed); ++rebuilds) {
            engine.rebuildIndex(rebuilds % 2 == 0 ? b : a);
            std::this_thread::yield();
        }
    });
    int mismatches = 0;
    for (int i = 0; i < 1'000'000; ++i) {
        auto result = engine.match("org.demo.editor", kPressed);
        mismatches += !result || !result->override ||
                      result->override->stateFilters !=
                          (result->rule.id == ruleId(1) ? kFiltersA : kFiltersB);
    }
    done = true;
    rebuilder.join();
    EXPECT_EQ(mismatches, 0);
    EXPECT_GT(rebuilds, 0);
}

TEST(Concurrency, SnapshotsReadWhileTheStorePublishes) {
    testing::ManualScheduler clock;
    DiscardLog log;
    ConfigStore store(clock, Logger(log, LogCategory::appDelegate),
                      [] { return std::filesystem::path("/nonexistent/wendle-config.json"); });
    std::atomic<bool> done{false};
    std::atomic<int> reads{0};
    int mismatches = 0;
    std::thread workQueue([&] {
        for (; !done.load(std::memory_order_relaxed); ++reads) {
            auto config = store.snapshot();
            // Each published configuration has as many applications as rules.
            mismatches += config->appConfigs.size() * 20 != config->globalRules.size();
        }
    });
    const RootConfig one = variant(1, kFiltersA, 20);
    for (int i = 0; i < 2000 || reads.load() < 1000; ++i) {
        RootConfig config;
        for (int n = 0; n <= i % 3; ++n) {
            config.globalRules.insert(config.globalRules.end(), one.globalRules.begin(),
                                      one.globalRules.end());
            config.appConfigs.push_back(one.appConfigs[0]);
        }
        store.setConfig(std::move(config));
    }
    done = true;
    workQueue.join();
    EXPECT_EQ(mismatches, 0);
}

TEST(Concurrency, SystemLogFromSeveralThreads) {
    // A small queue, so that queueing, dropping, writing and flushing all meet.
    SystemLog log(64);
    auto logFrom = [&](LogCategory category) {
        Logger logger(log, category);
        for (int i = 0; i < 2000; ++i) logger.error("message " + std::to_string(i));
    };
    std::thread tap(logFrom, LogCategory::keystrokeInterceptor);
    std::thread work(logFrom, LogCategory::windowActions);
    for (int i = 0; i < 50; ++i) log.flush();
    tap.join();
    work.join();
    log.flush();
}

// The whole agent on its real threads: key presses arrive on the key source's thread while
// the main loop switches the frontmost application, changes the rules, reloads an outside
// edit of the file and finally stops; actions run on the work queue.
TEST(Concurrency, TheAgentWhileKeysArriveOnTheSourcesThread) {
    std::atomic<int> moves{0};
    testing::FakeAgent<MainLoop, platform::sim::SimKeySource> agent([&](auto&...) {
        ++moves;
        return 0;
    });
    RootConfig config{
        .globalRules = {{.id = ruleId(1), .chord = {124, {6}}},
                        {.id = ruleId(2),
                         .chord = {40, {6}},
                         .action = {Action::SendKeystrokeSequence{"ab{ctrl+alt+right}"}}}},
        .appConfigs = {{.bundleID = "org.b", .ruleOverrides = {{ruleId(1), {.enabled = false}}}}}};
    std::ofstream(agent.file()) << configText(config);

    std::optional<AppDelegate> delegate;
    delegate.emplace(agent.parts([] {
        return platform::DesktopChoice{std::make_unique<testing::FakeDesktop>(), {}};
    }));
    delegate->applicationDidFinishLaunching();
    ASSERT_TRUE(agent.source.running());

    std::atomic<bool> done{false};
    std::atomic<int> swallowed{0};
    std::thread source([&] {
        const std::uint64_t flags = platform::keyflags::control | platform::keyflags::option;
        for (; !done; std::this_thread::sleep_for(500us)) {
            for (std::int64_t key : {124, 40}) {
                swallowed +=
                    agent.source.press({key, flags, std::nullopt}) == platform::KeyVerdict::swallow;
            }
        }
    });
    std::thread appEvents([&] {
        for (; !done; std::this_thread::sleep_for(1ms)) agent.events.activated();
    });

    int tick = 0;
    std::function<void()> step = [&] {
        agent.events.frontmost = platform::AppInfo{
            .pid = 2, .bundleID = tick % 2 ? "org.a" : "org.b", .localizedName = {}};
        agent.observer.updateFrontmost();
        if (tick == 0 || tick == 40) {
            agent.store.update(
                [&](RootConfig& c) { c.globalRules[0].swallow = !c.globalRules[0].swallow; });
        }
        if (tick == 80) {
            RootConfig edited = config;
            edited.globalRules.pop_back();
            std::ofstream(agent.file().string() + ".edit") << configText(edited);
            std::filesystem::rename(agent.file().string() + ".edit", agent.file());
        }
        // Until the edit has been loaded, and no longer than 5 s.
        bool reloaded = agent.store.config().globalRules.size() == 1;
        if (++tick >= 1000 || (tick > 120 && reloaded)) {
            delegate->prepareToQuit();
            done = true;
            return agent.mainLoop.quit(0);
        }
        agent.mainLoop.schedule(5ms, step);
    };
    agent.mainLoop.schedule(0ms, step);
    EXPECT_EQ(agent.mainLoop.run(), 0);
    source.join();
    appEvents.join();
    delegate->interceptor()->workQueue().drain();
    delegate.reset();

    EXPECT_GT(swallowed.load(), 0);
    EXPECT_GT(moves.load(), 0);
    EXPECT_FALSE(agent.desktop.keyEvents.empty());
    EXPECT_EQ(agent.store.config().globalRules.size(), 1u);
}

// The agent keeps its desktop for its whole life; on the simulated desktop each action is one
// transaction on the file: it holds the file's lock from its first use to its end, writes
// once at the end, and the next action sees what others did in between.
TEST(Concurrency, EachActionOfTheAgentIsOneTransactionOnTheSimulatedDesktop) {
    testing::TempDir dir;
    auto file = dir.path() / "desktop.json";
    std::ofstream(file) << R"({"pointer": {"x": 0, "y": 0}})";
    HostedDesktop hosted([&] {
        return platform::DesktopChoice{platform::sim::openSimDesktop(file), {}};
    });
    auto lockIsFree = [&] {
        Fd probe(::open((file.string() + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        return ::flock(probe.get(), LOCK_EX | LOCK_NB) == 0;
    };
    hosted.startAction();
    hosted.keyboard().post({.keyCode = 0, .down = true, .flags = 0, .marker = 7});
    EXPECT_FALSE(lockIsFree());
    EXPECT_EQ(support::readFile(file), R"({"pointer": {"x": 0, "y": 0}})");  // not written yet
    hosted.finishAction();
    EXPECT_TRUE(lockIsFree());
    platform::sim::openSimDesktop(file)->pointer().warp({3, 4});  // another process
    hosted.startAction();
    EXPECT_EQ(hosted.pointer().location(), (platform::Point{3, 4}));
    hosted.finishAction();
    auto desktop = support::parseJson(support::readFile(file).value_or(""));
    ASSERT_TRUE(desktop);
    EXPECT_EQ((*desktop)["events"].size(), 2u);  // the key, then the other's warp
}

}  // namespace
}  // namespace tarn::agent
