#include "agent/app_observer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agent/agent_fakes.h"

namespace tarn::agent {
namespace {

using platform::AppInfo;
using ::testing::ElementsAreArray;

AppInfo app(platform::Pid pid, std::optional<std::string> name, bool regular = true) {
    return {.pid = pid,
            .bundleID = "org." + std::to_string(pid),
            .localizedName = std::move(name),
            .regularActivationPolicy = regular};
}

struct SortCase {
    const char* name;
    std::vector<AppInfo> running;
    std::vector<platform::Pid> expected;
};

TEST(AppObserverSort, OrdinaryAppsByNameInCodePointOrderKeepingTies) {
    const std::vector<SortCase> cases{
        {"capitals before small letters", {app(1, "alpha"), app(2, "Zed")}, {2, 1}},
        {"no name sorts first", {app(1, "Alpha"), app(2, std::nullopt), app(3, "")}, {2, 3, 1}},
        {"equal names keep their order", {app(3, "Same"), app(1, "Same"), app(2, "A")}, {2, 3, 1}},
        {"background applications left out", {app(1, "B"), app(2, "A", false)}, {1}},
        {"accents after every ASCII letter", {app(1, "Éclair"), app(2, "zsh")}, {2, 1}},
    };
    for (const SortCase& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<platform::Pid> pids;
        for (const AppInfo& info : ordinaryAppsByName(c.running)) pids.push_back(info.pid);
        EXPECT_THAT(pids, ElementsAreArray(c.expected));
    }
}

TEST(AppObserver, NotificationsAreHandledOnTheMainLoop) {
    testing::FakeAppEvents events;
    testing::ManualScheduler mainLoop;
    events.running = {app(1, "One")};
    events.frontmost = app(1, "One");
    AppObserver observer(events, mainLoop);
    std::string error;
    ASSERT_TRUE(observer.start(error));
    EXPECT_EQ(observer.frontmostBundleID(), "org.1");
    EXPECT_EQ(observer.runningApps().size(), 1u);

    events.frontmost = AppInfo{.pid = 2, .bundleID = {}, .localizedName = {}};  // no identifier
    events.running = {app(1, "One"), app(2, "Two")};
    events.activated();
    events.launchedOrTerminated();
    EXPECT_EQ(observer.frontmostBundleID(), "org.1");  // not yet: nothing ran on the loop
    mainLoop.advance(std::chrono::milliseconds(0));
    EXPECT_EQ(observer.frontmostBundleID(), std::nullopt);
    EXPECT_EQ(observer.runningApps().size(), 2u);
}

}  // namespace
}  // namespace tarn::agent
