#include "core/commands/health.h"

#include <gtest/gtest.h>

#include "tests/common/fake_desktop.h"

namespace tarn::commands {
namespace {

using platform::ax::apiDisabled;
using platform::ax::failure;
using testing::FakeDesktop;

constexpr platform::Pid kSelf = 42;

// The first regular application with a bundle identifier, not this process, decides.
struct HealthCase {
    const char* name;
    void (*setUp)(FakeDesktop&);
    PermissionHealth verdict;
};

class CheckPermissionHealthTest : public ::testing::TestWithParam<HealthCase> {};

TEST_P(CheckPermissionHealthTest, Verdict) {
    FakeDesktop desktop;
    GetParam().setUp(desktop);
    EXPECT_EQ(TarnCoreHealth::checkPermissionHealth(desktop, kSelf), GetParam().verdict);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Cases, CheckPermissionHealthTest,
    ::testing::Values(
        HealthCase{"NoApplicationsButFocusedElementReadable", [](FakeDesktop&) {}, PermissionHealth::healthy},
        HealthCase{"NoApplicationsAndNoFocusedElement", [](FakeDesktop& d) { d.focusedElement = failure; },
                   PermissionHealth::cannotReadPosition},
        HealthCase{"OwnProcessIsSkipped", [](FakeDesktop& d) {
                       d.addApp(kSelf, "me", "Me").windowListError = apiDisabled;
                       d.addApp(7, "other", "Other");
                   }, PermissionHealth::healthy},
        HealthCase{"ApplicationsWithoutBundleIdAreSkipped", [](FakeDesktop& d) {
                       d.addApp(6, std::nullopt, "Nameless").windowListError = apiDisabled;
                       d.addApp(7, "other", "Other");
                   }, PermissionHealth::healthy},
        HealthCase{"BackgroundApplicationsAreSkipped", [](FakeDesktop& d) {
                       auto& app = d.addApp(6, "agent", "Agent");
                       app.info.regularActivationPolicy = false;
                       app.windowListError = apiDisabled;
                   }, PermissionHealth::healthy},
        HealthCase{"DisabledInterfaceIsFinal", [](FakeDesktop& d) {
                       d.addApp(7, "other", "Other").windowListError = apiDisabled;
                       d.addApp(8, "next", "Next");
                   }, PermissionHealth::cannotReadPosition},
        // Only the first candidate is asked; another error falls back to the focused element.
        HealthCase{"OtherErrorFallsBackToTheFocusedElement", [](FakeDesktop& d) {
                       d.addApp(7, "other", "Other").windowListError = failure;
                       d.addApp(8, "next", "Next");
                       d.focusedElement = failure;
                   }, PermissionHealth::cannotReadPosition},
        HealthCase{"PointerUnreadable", [](FakeDesktop& d) { d.pointerAt.reset(); },
                   PermissionHealth::cannotMoveMouse},
        HealthCase{"NoMouseEvents", [](FakeDesktop& d) { d.mouseEvents = false; },
                   PermissionHealth::cannotMoveMouse}),
    [](const auto& info) { return std::string(info.param.name); });
// clang-format on

}  // namespace
}  // namespace tarn::commands
