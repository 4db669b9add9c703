#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <unistd.h>

#include "core/commands/browser_default.h"
#include "platform/desktop.h"
#include "platform/xdg/xdg_desktop.h"

namespace {

namespace fs = std::filesystem;

// A data directory like a desktop machine's: 200 desktop entries, one in ten a browser.
class EntryTree {
  public:
    EntryTree() : root_(fs::temp_directory_path() / ("tarn-bench-" + std::to_string(::getpid()))) {
        fs::create_directories(root_ / "share" / "applications");
        for (int i = 0; i < 200; ++i) {
            std::ofstream file(root_ / "share" / "applications" /
                               ("app" + std::to_string(i) + ".desktop"));
            file << "[Desktop Entry]\nType=Application\nName=Application " << i
                 << "\nGenericName=Something\nComment=Does things\nExec=app" << i
                 << " %U\nIcon=app\nCategories=Utility;\nMimeType="
                 << (i % 10 == 0 ? "text/html;x-scheme-handler/http;x-scheme-handler/https;"
                                 : "text/plain;image/png;")
                 << "\n\n[Desktop Action new]\nName=New\nExec=app" << i << "\n";
        }
        fs::create_directories(root_ / "config");
    }
    ~EntryTree() {
        std::error_code ignored;
        fs::remove_all(root_, ignored);
    }
    tarn::platform::xdg::Locations locations() const {
        return {.configHome = root_ / "config",
                .configDirs = {},
                .dataHome = {},
                .dataDirs = {root_ / "share"},
                .desktops = {}};
    }

  private:
    fs::path root_;
};

// Only the browser services are used by the command; the rest is never called.
class BrowsersOnly final : public tarn::platform::Desktop {
  public:
    explicit BrowsersOnly(tarn::platform::xdg::Locations where)
        : browsers_(tarn::platform::xdg::makeBrowserServices(std::move(where))) {}
    tarn::platform::BrowserServices& browsers() override { return *browsers_; }
    tarn::platform::WindowSystem& windowSystem() override { throw unused(); }
    tarn::platform::Displays& displays() override { throw unused(); }
    tarn::platform::KeyboardOutput& keyboard() override { throw unused(); }
    tarn::platform::Clipboard& clipboard() override { throw unused(); }
    tarn::platform::Pointer& pointer() override { throw unused(); }
    tarn::platform::Accessibility& accessibility() override { throw unused(); }
    tarn::platform::Sleeper& sleeper() override { throw unused(); }
    tarn::platform::ScriptRunner& scripts() override { throw unused(); }

  private:
    static tarn::platform::DesktopError unused() { return tarn::platform::DesktopError("unused"); }
    std::unique_ptr<tarn::platform::BrowserServices> browsers_;
};

// `tarn browser-default list` on 200 entries: two directory scans, every entry parsed
// twice, the candidates sorted and printed.
void BM_BrowserDefaultList200Entries(benchmark::State& state) {
    EntryTree tree;
    BrowsersOnly desktop(tree.locations());
    for (auto _ : state) {
        std::ostringstream out, err;
        tarn::CommandContext context(out, err, desktop);
        if (tarn::commands::handleBrowserDefault({"list"}, context) != 0)
            state.SkipWithError("list failed");
        benchmark::DoNotOptimize(out.str());
    }
}
BENCHMARK(BM_BrowserDefaultList200Entries)->Unit(benchmark::kMillisecond);

}  // namespace
