// The simulated desktop under a whole command: `tarn keys` of N plain characters, run as the
// command line runs it (the dispatcher on a context that opens the desktop file itself), on
// a desktop with the recorded clock, so what is timed is the desktop file's reads and writes
// and not the pauses between keys. Each run starts from a fresh file with no events.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <string>

#include "core/commands/cli.h"
#include "core/context.h"
#include "platform/sim/sim_desktop.h"
#include "support/files.h"

namespace {

using namespace tarn;

constexpr const char* kDesktop = R"({
  "displays": [{"id": 1, "x": 0, "y": 0, "width": 1920, "height": 1080}],
  "apps": [{"pid": 100, "bundleID": "com.example.editor", "name": "My Editor",
            "windows": [{"id": 1, "x": 100, "y": 100, "width": 800, "height": 600}]}],
  "frontmost": {"pid": 100, "window": 1},
  "clock": "recorded",
  "events": []
}
)";

class BenchDir {
  public:
    BenchDir() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "tarn-sim-bench.XXXXXX").string();
        path_ = ::mkdtemp(pattern.data()) ? pattern : std::string();
    }
    ~BenchDir() {
        std::error_code ignored;
        if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
    }
    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

void BM_SimTypeCharacters(benchmark::State& state) {
    BenchDir dir;
    std::filesystem::path file = dir.path() / "desktop.json";
    std::string text(static_cast<std::size_t>(state.range(0)), 'a');
    for (auto _ : state) {
        state.PauseTiming();
        if (auto error = support::writeFileAtomically(file, kDesktop)) {
            state.SkipWithError(error->c_str());
            break;
        }
        std::ostringstream out, err;
        CommandContext context(out, err, [&] {
            return platform::DesktopChoice{platform::sim::openSimDesktop(file), {}};
        });
        state.ResumeTiming();
        int status = commands::TarnCLI::main({"tarn", "keys", text}, context);
        state.PauseTiming();
        if (status != 0) {
            state.SkipWithError(("tarn keys failed: " + err.str()).c_str());
            break;
        }
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
// 2,000 characters are 8,000 events (down, pause, up, pause).
BENCHMARK(BM_SimTypeCharacters)->Arg(200)->Arg(2000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
