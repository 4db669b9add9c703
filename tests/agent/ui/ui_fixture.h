#pragma once

#include <QTemporaryDir>
#include <memory>

#include "agent/config_store.h"
#include "agent/ui/running_apps.h"
#include "tests/agent/manual_scheduler.h"

namespace tarn::testing {

// A store on a hand-driven clock, saving into a temporary directory.
struct StoreFixture {
    QTemporaryDir dir;
    agent::DiscardLog log;
    ManualScheduler scheduler;
    agent::ConfigStore store{scheduler, agent::Logger(log, agent::LogCategory::appDelegate),
                             [this] { return path(); }};

    std::filesystem::path path() const {
        return std::filesystem::path(dir.path().toStdString()) / "wendle-config.json";
    }
};

inline agent::HotkeyRule rule(std::int64_t keyCode, std::int64_t modifiers, agent::Action action,
                              bool swallow = true) {
    agent::HotkeyRule made;
    made.id = agent::Uuid::random();
    made.chord = {keyCode, {modifiers}};
    made.action = std::move(action);
    made.swallow = swallow;
    return made;
}

inline agent::Action moveWindow(agent::Action::MoveDirection direction) {
    return agent::Action{agent::Action::MoveWindow{direction}};
}

class FakeRunningApps final : public agent::ui::RunningApps {
  public:
    std::vector<platform::AppInfo> apps;
    int refreshes = 0;
    void refreshRunningApps() override { ++refreshes; }
    std::vector<platform::AppInfo> runningApps() const override { return apps; }
};

}  // namespace tarn::testing
