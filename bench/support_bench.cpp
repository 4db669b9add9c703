#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "support/files.h"
#include "support/json_text.h"
#include "support/number_text.h"
#include "support/store.h"

namespace {

using tarn::support::Json;

tarn::support::Store sampleStore(int entries) {
    tarn::support::Store store;
    for (int i = 0; i < entries; ++i) {
        std::string name = "setting" + std::to_string(i);
        switch (i % 4) {
            case 0:
                store.values[name] = static_cast<std::int64_t>(i);
                break;
            case 1:
                store.values[name] = i * 0.37;
                break;
            case 2:
                store.values[name] = "https://example.com/" + name;
                break;
            default:
                store.values[name] = (i % 8) == 3;
                break;
        }
    }
    return store;
}

// The settings and window state files are rewritten after every command.
void BM_EncodeStorePretty(benchmark::State& state) {
    auto store = sampleStore(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        auto text = tarn::support::writeJson(tarn::support::encodeStore(store),
                                             {.pretty = true, .sortKeys = true});
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(BM_EncodeStorePretty)->Arg(10)->Arg(1000)->Arg(100000);

void BM_ParseAndDecodeStore(benchmark::State& state) {
    auto text = tarn::support::writeJson(
        tarn::support::encodeStore(sampleStore(static_cast<int>(state.range(0)))),
        {.pretty = true, .sortKeys = true});
    for (auto _ : state) {
        auto store = tarn::support::decodeStore(*tarn::support::parseJson(text));
        benchmark::DoNotOptimize(store);
    }
}
BENCHMARK(BM_ParseAndDecodeStore)->Arg(10)->Arg(1000)->Arg(100000);

// `tarn settings <name>` and `tarn settings <name> <value>` on a file of n settings: the
// whole file is read, and for a set written back whole.
class SettingsFile {
  public:
    explicit SettingsFile(int entries)
        : path_(std::filesystem::temp_directory_path() /
                ("tarn_bench_settings_" + std::to_string(entries) + ".json")) {
        tarn::support::saveJSON(sampleStore(entries), path_);
    }
    SettingsFile(const SettingsFile&) = delete;
    SettingsFile& operator=(const SettingsFile&) = delete;
    ~SettingsFile() { std::filesystem::remove(path_); }
    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

void BM_SettingsReadOne(benchmark::State& state) {
    SettingsFile file(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        auto loaded = tarn::support::loadStore(file.path());
        benchmark::DoNotOptimize(loaded.store.values.find("setting5"));
    }
}
BENCHMARK(BM_SettingsReadOne)
    ->Arg(10000)
    ->Arg(20000)
    ->Arg(40000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond);

void BM_SettingsSetOne(benchmark::State& state) {
    SettingsFile file(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        auto loaded = tarn::support::loadStore(file.path());
        loaded.store.values["setting5"] = std::int64_t{5};
        benchmark::DoNotOptimize(tarn::support::saveStoreOver(loaded.store, loaded, file.path()));
    }
}
BENCHMARK(BM_SettingsSetOne)
    ->Arg(10000)
    ->Arg(20000)
    ->Arg(40000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond);

void BM_DoubleText(benchmark::State& state) {
    double value = 0.1;
    for (auto _ : state) {
        benchmark::DoNotOptimize(tarn::support::doubleText(value));
        value += 1.37;
    }
}
BENCHMARK(BM_DoubleText);

}  // namespace
