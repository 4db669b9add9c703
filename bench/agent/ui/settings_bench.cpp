// The settings window with a large rule list: building and showing it, and redrawing it after
// one stored change (the goal is one frame, 16 ms, at 1,000 rules). Runs on Qt's offscreen
// platform unless QT_QPA_PLATFORM says otherwise.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <filesystem>

#include "agent/ui/global_rules_view.h"
#include "agent/ui/qt_scheduler.h"
#include "agent/ui/settings_window.h"

namespace {

using namespace tarn::agent;

class NoApps final : public ui::RunningApps {
  public:
    void refreshRunningApps() override {}
    std::vector<tarn::platform::AppInfo> runningApps() const override { return {}; }
};

RootConfig rules(std::int64_t count) {
    RootConfig config;
    for (std::int64_t i = 0; i < count; ++i) {
        HotkeyRule rule;
        rule.id = Uuid::random();
        rule.chord = {i % 120, {i % 16}};
        if (i % 3 == 0) rule.action = Action{Action::SendKeystrokeSequence{"{cmd}c"}};
        config.globalRules.push_back(rule);
    }
    return config;
}

// A store whose saves go nowhere: the benchmark measures drawing, not the disk.
struct Setup {
    DiscardLog log;
    ui::QtScheduler scheduler;
    ConfigStore store{scheduler, Logger(log, LogCategory::appDelegate),
                      [] { return std::filesystem::path("/nonexistent/wendle-config.json"); }};
    NoApps apps;
};

void BM_SettingsWindowShown(benchmark::State& state) {
    Setup setup;
    setup.store.setConfig(rules(state.range(0)));
    for (auto _ : state) {
        ui::SettingsWindowController controller(setup.store, setup.apps);
        controller.show();
        controller.window()->repaint();
        QApplication::processEvents();
    }
}
BENCHMARK(BM_SettingsWindowShown)->Arg(10)->Arg(1000)->Unit(benchmark::kMillisecond);

void BM_SettingsRedrawAfterStoreChange(benchmark::State& state) {
    Setup setup;
    setup.store.setConfig(rules(state.range(0)));
    ui::SettingsWindowController controller(setup.store, setup.apps);
    controller.show();
    auto middle = static_cast<std::size_t>(state.range(0) / 2);
    controller.view()->globalRules()->selectRule(setup.store.config().globalRules[middle].id);
    QApplication::processEvents();
    for (auto _ : state) {
        setup.store.update(
            [&](RootConfig& c) { c.globalRules[middle].swallow = !c.globalRules[middle].swallow; });
        controller.window()->repaint();
    }
}
BENCHMARK(BM_SettingsRedrawAfterStoreChange)->Arg(10)->Arg(1000)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
