// The agent's hot and warm paths: matching a key press (on the key tap's thread, so every
// microsecond delays the user's typing), rebuilding the index after a settings change, and
// reading and writing the configuration file.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/config_json.h"
#include "agent/logger.h"
#include "agent/rule_engine.h"
#include "support/files.h"

namespace {

using namespace tarn::agent;

constexpr int kRules = 1000;
constexpr int kApps = 200;
constexpr int kOverridesPerApp = 10;

Uuid ruleId(int n) {
    Uuid::Bytes bytes{};
    bytes[0] = 0xA5;
    bytes[14] = static_cast<std::uint8_t>(n >> 8);
    bytes[15] = static_cast<std::uint8_t>(n);
    return Uuid(bytes);
}

KeyChord ruleChord(int n) {
    return {n % 128, {(n / 128) % 16}};
}

std::string bundle(int n) {
    return "com.example.app" + std::to_string(n);
}

// A large but plausible configuration: every action kind, filters on some rules, and each
// application overriding a handful of rules (some disabled, some with their own filters).
RootConfig largeConfig() {
    RootConfig config;
    for (int i = 0; i < kRules; ++i) {
        HotkeyRule rule{.id = ruleId(i), .chord = ruleChord(i)};
        switch (i % 3) {
            case 0:
                rule.action = {Action::MoveWindow{Action::allMoveDirections[i % 5]}};
                break;
            case 1:
                rule.action = {
                    Action::SendKeystrokeSequence{"{cmd}c{tab}text " + std::to_string(i)}};
                break;
            default:
                rule.action = {Action::MoveMouse{{Action::MouseTarget::Screen{i % 3}},
                                                 Action::MousePosition::center}};
        }
        if (i % 4 == 0) rule.stateFilters = StateFilters{.alignLeftOnSecondary = false};
        config.globalRules.push_back(std::move(rule));
    }
    std::mt19937 random(7);
    for (int a = 0; a < kApps; ++a) {
        AppConfig app{.bundleID = bundle(a), .displayName = "App " + std::to_string(a)};
        app.savedLocations.push_back({.frame = {100.0 + a, 50, 900, 700.5}, .screenIndex = a % 2});
        for (int k = 0; k < kOverridesPerApp; ++k) {
            RuleOverride override{.enabled = k % 3 != 0};
            if (k % 2 == 0) override.stateFilters = StateFilters{.fullWidthOnPrimary = false};
            app.ruleOverrides[ruleId(static_cast<int>(random() % kRules))] = override;
        }
        config.appConfigs.push_back(std::move(app));
    }
    return config;
}

struct Press {
    std::optional<std::string> bundleID;
    KeyChord chord;
};

// Presses spread over every rule, one in ten a chord no rule has (a full scan), one in ten
// with no frontmost application and one in ten with an application without an entry.
std::vector<Press> presses(std::size_t count) {
    std::mt19937 random(11);
    std::vector<Press> result;
    for (std::size_t i = 0; i < count; ++i) {
        Press press;
        int kind = static_cast<int>(random() % 10);
        press.chord =
            kind == 0 ? KeyChord{127, {15}} : ruleChord(static_cast<int>(random() % kRules));
        if (kind == 1) {
            press.bundleID = std::nullopt;
        } else if (kind == 2) {
            press.bundleID = "org.unknown.app";
        } else {
            press.bundleID = bundle(static_cast<int>(random() % kApps));
        }
        result.push_back(std::move(press));
    }
    return result;
}

double percentile(std::vector<double>& samples, double fraction) {
    auto index = static_cast<std::size_t>(fraction * static_cast<double>(samples.size() - 1));
    std::nth_element(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(index),
                     samples.end());
    return samples[index];
}

// Times every call on its own, so the figures are per key press: p50 and p99 in ns. `settle`
// runs untimed every 256 presses (the system log writes its queue there: a person presses
// keys far more slowly than this loop does).
template <class Settle>
void matchLatency(benchmark::State& state, LogSink& sink, Settle settle) {
    RuleEngine engine(Logger(sink, LogCategory::ruleEngine));
    engine.rebuildIndex(largeConfig());
    const std::vector<Press> keys = presses(4096);
    std::vector<double> samples;
    samples.reserve(1 << 20);
    std::size_t next = 0;
    for (auto _ : state) {
        if (next % 256 == 0) {
            state.PauseTiming();
            settle();
            state.ResumeTiming();
        }
        const Press& press = keys[next++ % keys.size()];
        auto start = std::chrono::steady_clock::now();
        auto result = engine.match(press.bundleID, press.chord);
        auto end = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(result);
        if (samples.size() < samples.capacity()) {
            samples.push_back(std::chrono::duration<double, std::nano>(end - start).count());
        }
    }
    if (!samples.empty()) {
        state.counters["p50_ns"] = percentile(samples, 0.50);
        state.counters["p99_ns"] = percentile(samples, 0.99);
    }
}

void BM_MatchDiscardingLog(benchmark::State& state) {
    DiscardLog log;
    matchLatency(state, log, [] {});
}
BENCHMARK(BM_MatchDiscardingLog);

void BM_MatchSystemLog(benchmark::State& state) {
    SystemLog log;
    matchLatency(state, log, [&] { log.flush(); });
}
BENCHMARK(BM_MatchSystemLog);

void BM_RebuildIndexDiscardingLog(benchmark::State& state) {
    DiscardLog log;
    RuleEngine engine(Logger(log, LogCategory::ruleEngine));
    const RootConfig config = largeConfig();
    for (auto _ : state) engine.rebuildIndex(config);
}
BENCHMARK(BM_RebuildIndexDiscardingLog)->Unit(benchmark::kMicrosecond);

void BM_RebuildIndexSystemLog(benchmark::State& state) {
    SystemLog log;
    RuleEngine engine(Logger(log, LogCategory::ruleEngine));
    const RootConfig config = largeConfig();
    for (auto _ : state) {
        engine.rebuildIndex(config);
        state.PauseTiming();
        log.flush();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_RebuildIndexSystemLog)->Unit(benchmark::kMicrosecond);

class BenchDir {
  public:
    BenchDir() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "wendle-bench-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
        path_ = pattern;
    }
    ~BenchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    BenchDir(const BenchDir&) = delete;
    BenchDir& operator=(const BenchDir&) = delete;
    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

// What the agent does at launch and after each settled change: read, decode, encode, write
// atomically (with its flush to disk).
void BM_LoadDecodeSave(benchmark::State& state) {
    BenchDir dir;
    const std::filesystem::path file = dir.path() / "wendle-config.json";
    const std::string text = configText(largeConfig());
    tarn::support::writeFileAtomically(file, text);
    for (auto _ : state) {
        auto bytes = tarn::support::readFile(file);
        auto decoded = decodeConfigText(*bytes);
        tarn::support::writeFileAtomically(file, configText(decoded->config));
    }
    state.counters["file_bytes"] = static_cast<double>(text.size());
}
BENCHMARK(BM_LoadDecodeSave)->Unit(benchmark::kMillisecond);

void BM_DecodeOnly(benchmark::State& state) {
    const std::string text = configText(largeConfig());
    for (auto _ : state) {
        auto decoded = decodeConfigText(text);
        benchmark::DoNotOptimize(decoded);
    }
}
BENCHMARK(BM_DecodeOnly)->Unit(benchmark::kMillisecond);

void BM_EncodeOnly(benchmark::State& state) {
    const RootConfig config = largeConfig();
    for (auto _ : state) {
        auto text = configText(config);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(BM_EncodeOnly)->Unit(benchmark::kMillisecond);

}  // namespace
