#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/window/cycle.h"
#include "core/window/window_state.h"
#include "platform/displays.h"

namespace {

using tarn::platform::Rect;
using tarn::window::WindowState;

// Six screens in a row below a wide one, as a large desk might have them.
class SixScreens final : public tarn::platform::Displays {
  public:
    std::vector<tarn::platform::DisplayId> activeDisplays() override { return {1, 2, 3, 4, 5, 6}; }
    Rect bounds(tarn::platform::DisplayId display) override {
        static const Rect screens[] = {{0, 0, 1440, 900},          {1440, 0, 2560, 1440},
                                       {4000, 0, 1920, 1080},      {-1920, 0, 1920, 1080},
                                       {-1920, -1440, 2560, 1440}, {1440, -1080, 1080, 1920}};
        return display >= 1 && display <= 6 ? screens[display - 1] : Rect{};
    }
    tarn::platform::DisplayId mainDisplay() override { return 1; }
};

WindowState stateWithSavedLocations() {
    WindowState state;
    state.appName = "Editor";
    state.initialFrame = {100, 125, 800, 500, 0};
    state.currentFrame = state.initialFrame;
    state.savedLocations = {{{200, 300, 600, 400, 0}, true},
                            {{1500, 100, 1200, 800, 1}, false},
                            {{-1800, 200, 900, 700, 3}, true}};
    return state;
}

// One left press minus the window system: the list is rebuilt (the record came from the
// file), printed, the nearest step found and the next step's frame computed.
void BM_StepListAndNextStep(benchmark::State& bench) {
    SixScreens displays;
    const WindowState base = stateWithSavedLocations();
    const Rect window{2000, 400, 1000, 700};
    std::ostringstream diagnostics;
    for (auto _ : bench) {
        WindowState state = base;
        diagnostics.str("");
        state.buildStepList(displays, {}, diagnostics);
        auto current = state.findCurrentStepIndex(displays, window, 1);
        auto next = state.findNextEnabledStep(*current, 1);
        Rect frame = state.steps[*next].computeFrame(displays, state.initialFrame, window,
                                                     state.savedLocations);
        benchmark::DoNotOptimize(frame);
    }
}
BENCHMARK(BM_StepListAndNextStep);

class BenchDir {
  public:
    BenchDir() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "tarn-bench-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
        path = pattern;
    }
    ~BenchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    BenchDir(const BenchDir&) = delete;
    BenchDir& operator=(const BenchDir&) = delete;
    std::filesystem::path path;
};

// What every press does to the state file: read the whole document for one record, then
// write the whole document back with that record changed (atomic write, fsync included).
void BM_StateLoadSaveRoundTrip(benchmark::State& bench) {
    const auto applications = bench.range(0);
    BenchDir dir;
    const auto file = dir.path / "state.json";
    std::ostringstream diagnostics;
    WindowState state = stateWithSavedLocations();
    for (std::int64_t i = 0; i < applications; ++i) {
        state.appName = "Application " + std::to_string(i);
        tarn::window::saveWindowState(state, file, diagnostics);
    }
    std::int64_t press = 0;
    for (auto _ : bench) {
        const std::string name = "Application " + std::to_string(press++ % applications);
        auto loaded = tarn::window::loadWindowState(name, file);
        loaded->horizontalState = (loaded->horizontalState + 1) % 4;
        benchmark::DoNotOptimize(tarn::window::saveWindowState(*loaded, file, diagnostics));
    }
    bench.SetLabel(std::to_string(std::filesystem::file_size(file)) + " bytes");
}
BENCHMARK(BM_StateLoadSaveRoundTrip)->Arg(200)->Unit(benchmark::kMicrosecond);

}  // namespace
