// Which desktop a program talks to, from its environment alone.
#include "platform/backend.h"

#include <gtest/gtest.h>

#include <map>

namespace tarn::platform {
namespace {

using Variables = std::map<std::string, std::string, std::less<>>;

Environment from(Variables variables) {
    return [variables = std::move(variables)](std::string_view name) -> std::optional<std::string> {
        auto found = variables.find(name);
        if (found == variables.end()) return std::nullopt;
        return found->second;
    };
}

constexpr const char* kUnknownCompositor =
    "No desktop to work on: this Wayland session's compositor (XDG_CURRENT_DESKTOP=%s) is not "
    "one Tarn supports: sway and other wlroots compositors, GNOME Shell and KDE Plasma are "
    "(TARN_DESKTOP=x11 works on XWayland's windows only)";

std::string unknownCompositor(const std::string& desktops) {
    std::string text = kUnknownCompositor;
    return text.replace(text.find("%s"), 2, desktops);
}

struct Case {
    const char* name;
    Variables environment;
    std::optional<BackendKind> kind;
    std::string error;
};

const Case kCases[] = {
    {"nothing",
     {},
     {},
     "No desktop to work on: DISPLAY is not set (and TARN_SIM_DESKTOP names "
     "no simulated desktop)"},
    {"an X session",
     {{"DISPLAY", ":0"}, {"XDG_SESSION_TYPE", "x11"}, {"XDG_CURRENT_DESKTOP", "GNOME"}},
     BackendKind::x11,
     ""},
    {"the simulated desktop first",
     {{"TARN_SIM_DESKTOP", "desk.json"}, {"TARN_DESKTOP", "kde"}, {"WAYLAND_DISPLAY", "w"}},
     BackendKind::sim,
     ""},
    {"an empty sim file is none",
     {{"TARN_SIM_DESKTOP", ""}, {"DISPLAY", ":0"}},
     BackendKind::x11,
     ""},
    {"forced over the session",
     {{"TARN_DESKTOP", "x11"}, {"WAYLAND_DISPLAY", "wayland-1"}, {"SWAYSOCK", "/run/sway"}},
     BackendKind::x11,
     ""},
    {"forced, unknown",
     {{"TARN_DESKTOP", "mir"}, {"DISPLAY", ":0"}},
     {},
     "No desktop to work on: TARN_DESKTOP=mir names no desktop Tarn knows (it takes x11, "
     "sway, gnome, kde)"},
    {"sway",
     {{"WAYLAND_DISPLAY", "wayland-1"}, {"SWAYSOCK", "/run/sway"}, {"DISPLAY", ":0"}},
     BackendKind::sway,
     ""},
    {"GNOME in a list",
     {{"XDG_SESSION_TYPE", "wayland"}, {"XDG_CURRENT_DESKTOP", "ubuntu:GNOME"}},
     BackendKind::gnome,
     ""},
    {"KDE",
     {{"WAYLAND_DISPLAY", "wayland-0"}, {"XDG_CURRENT_DESKTOP", "KDE"}},
     BackendKind::kde,
     ""},
    {"a compositor Tarn lacks, never XWayland",
     {{"WAYLAND_DISPLAY", "wayland-0"}, {"XDG_CURRENT_DESKTOP", "Hyprland"}, {"DISPLAY", ":0"}},
     {},
     unknownCompositor("Hyprland")},
    {"a name that only contains KDE",
     {{"WAYLAND_DISPLAY", "w"}, {"XDG_CURRENT_DESKTOP", "KDEX"}},
     {},
     unknownCompositor("KDEX")},
    {"no desktop named", {{"XDG_SESSION_TYPE", "wayland"}}, {}, unknownCompositor("unset")},
};

TEST(BackendChoice, FollowsTheEnvironment) {
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        Backend backend(from(c.environment));
        EXPECT_EQ(backend.choice().kind, c.kind);
        EXPECT_EQ(backend.choice().error, c.error);
        // No desktop is the same error as opening one.
        if (!c.kind) {
            EXPECT_EQ(backend.openDesktop().error, c.error);
        }
    }
    EXPECT_EQ(Backend(from({{"TARN_SIM_DESKTOP", "desk.json"}})).choice().simFile, "desk.json");
    // Forced onto sway without its socket: said, as any desktop that cannot be reached.
    EXPECT_EQ(Backend(from({{"TARN_DESKTOP", "sway"}})).openDesktop().error,
              "No desktop to work on: SWAYSOCK is not set");
}

}  // namespace
}  // namespace tarn::platform
