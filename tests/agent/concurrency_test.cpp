// Threads meeting in the agent's core; built and run under ThreadSanitizer by the tsan preset.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "agent/config_store.h"
#include "agent/rule_engine.h"
#include "tests/agent/manual_scheduler.h"

namespace tarn::agent {
namespace {

Uuid id(int n) {
    Uuid::Bytes bytes{};
    bytes[15] = static_cast<std::uint8_t>(n);
    return Uuid(bytes);
}

const KeyChord kPressed{124, {6}};
const StateFilters kFiltersA{.fullWidthOnPrimary = false};
const StateFilters kFiltersB{.alignLeftOnSecondary = false};

// A match mixing one variant's rules with another's overrides shows as a mismatched override.
RootConfig variant(int rule, const StateFilters& filters, int padding) {
    RootConfig config;
    for (int i = 0; i < padding; ++i) {
        config.globalRules.push_back(
            HotkeyRule{.id = id(100 + i), .chord = {i, {8}}, .action = {Action::MoveWindow{}}});
    }
    config.globalRules.push_back(HotkeyRule{
        .id = id(rule), .chord = kPressed, .action = {Action::SendKeystrokeSequence{"abc"}}});
    config.appConfigs.push_back(AppConfig{
        .bundleID = "org.demo.editor",
        .displayName = "Editor",
        .ruleOverrides = {{id(rule), RuleOverride{.enabled = true, .stateFilters = filters}}}});
    return config;
}

TEST(Concurrency, MatchingWhileTheIndexIsRebuilt) {
    DiscardLog log;
    RuleEngine engine(Logger(log, LogCategory::ruleEngine));
    const RootConfig a = variant(1, kFiltersA, 3);
    const RootConfig b = variant(2, kFiltersB, 5);
    engine.rebuildIndex(a);

    std::atomic<bool> done{false};
    int rebuilds = 0;
    std::thread rebuilder([&] {
        for (int i = 0; !done.load(std::memory_order_relaxed); ++i, ++rebuilds) {
            engine.rebuildIndex(i % 2 == 0 ? b : a);
            std::this_thread::yield();
        }
    });
    int mismatches = 0;
    for (int i = 0; i < 1'000'000; ++i) {
        auto result = engine.match("org.demo.editor", kPressed);
        bool consistent =
            result && result->override &&
            result->override->stateFilters == (result->rule.id == id(1) ? kFiltersA : kFiltersB);
        if (!consistent) ++mismatches;
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
        while (!done.load(std::memory_order_relaxed)) {
            auto config = store.snapshot();
            // Each published configuration has as many applications as rules.
            if (config->appConfigs.size() * 21 != config->globalRules.size()) ++mismatches;
            ++reads;
        }
    });
    for (int i = 0; i < 2000 || reads.load() < 1000; ++i) {
        RootConfig config = variant(1, kFiltersA, 20);
        for (int extra = 0; extra < i % 3; ++extra) {
            RootConfig more = variant(1, kFiltersA, 20);
            config.globalRules.insert(config.globalRules.end(), more.globalRules.begin(),
                                      more.globalRules.end());
            config.appConfigs.push_back(more.appConfigs[0]);
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

}  // namespace
}  // namespace tarn::agent
