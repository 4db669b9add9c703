#include <benchmark/benchmark.h>

#include <string>

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
BENCHMARK(BM_EncodeStorePretty)->Arg(10)->Arg(1000);

void BM_ParseAndDecodeStore(benchmark::State& state) {
    auto text = tarn::support::writeJson(
        tarn::support::encodeStore(sampleStore(static_cast<int>(state.range(0)))),
        {.pretty = true, .sortKeys = true});
    for (auto _ : state) {
        auto store = tarn::support::decodeStore(*tarn::support::parseJson(text));
        benchmark::DoNotOptimize(store);
    }
}
BENCHMARK(BM_ParseAndDecodeStore)->Arg(10)->Arg(1000);

void BM_DoubleText(benchmark::State& state) {
    double value = 0.1;
    for (auto _ : state) {
        benchmark::DoNotOptimize(tarn::support::doubleText(value));
        value += 1.37;
    }
}
BENCHMARK(BM_DoubleText);

}  // namespace
