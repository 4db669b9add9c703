#include "platform/backend.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>

#include "platform/nativemsg/native_tabs.h"
#include "platform/sim/sim_agent.h"
#include "platform/sim/sim_desktop.h"
#include "platform/xdg/autostart.h"
#include "platform/xdg/xdg_desktop.h"
#if defined(__linux__)
#include "platform/gnome/gnome_agent.h"
#include "platform/gnome/gnome_desktop.h"
#include "platform/kde/app_events.h"
#include "platform/kde/kde_desktop.h"
#include "platform/kde/key_source.h"
#include "platform/sway/app_events.h"
#include "platform/sway/key_source.h"
#include "platform/sway/sway_desktop.h"
#include "platform/x11/app_events.h"
#include "platform/x11/key_source.h"
#include "platform/x11/x11_desktop.h"
#endif

namespace tarn::platform {
namespace {

constexpr const char* kSupported = "x11, sway, gnome, kde";

bool set(const std::optional<std::string>& value) {
    return value && !value->empty();
}

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// XDG_CURRENT_DESKTOP is a colon-separated list ("ubuntu:GNOME", "KDE").
bool namesDesktop(const std::string& list, const std::string& wanted) {
    std::string rest = lower(list);
    std::size_t at = 0;
    while (at <= rest.size()) {
        std::size_t end = std::min(rest.find(':', at), rest.size());
        if (rest.substr(at, end - at) == wanted) return true;
        at = end + 1;
    }
    return false;
}

std::optional<BackendKind> kindNamed(const std::string& word) {
    for (BackendKind kind :
         {BackendKind::x11, BackendKind::sway, BackendKind::gnome, BackendKind::kde}) {
        if (word == backendName(kind)) return kind;
    }
    return std::nullopt;
}

BackendChoice none(std::string error) {
    return {std::nullopt, {}, "No desktop to work on: " + std::move(error)};
}

}  // namespace

std::string_view backendName(BackendKind kind) {
    switch (kind) {
        case BackendKind::sim:
            return "sim";
        case BackendKind::x11:
            return "x11";
        case BackendKind::sway:
            return "sway";
        case BackendKind::gnome:
            return "gnome";
        case BackendKind::kde:
            return "kde";
    }
    return "";
}

Environment processEnvironment() {
    return [](std::string_view name) -> std::optional<std::string> {
        const char* value = std::getenv(std::string(name).c_str());
        if (!value) return std::nullopt;
        return std::string(value);
    };
}

BackendChoice chooseBackend(const Environment& env) {
    if (auto sim = env("TARN_SIM_DESKTOP"); set(sim)) return {BackendKind::sim, *sim, {}};
    if (auto forced = env("TARN_DESKTOP"); set(forced)) {
        if (auto kind = kindNamed(*forced)) return {kind, {}, {}};
        return none("TARN_DESKTOP=" + *forced + " names no desktop Tarn knows (it takes " +
                    kSupported + ")");
    }
    const bool wayland = set(env("WAYLAND_DISPLAY")) || env("XDG_SESSION_TYPE") == "wayland";
    if (wayland) {
        if (set(env("SWAYSOCK"))) return {BackendKind::sway, {}, {}};
        const std::string desktops = env("XDG_CURRENT_DESKTOP").value_or("");
        if (namesDesktop(desktops, "gnome")) return {BackendKind::gnome, {}, {}};
        if (namesDesktop(desktops, "kde")) return {BackendKind::kde, {}, {}};
        return none("this Wayland session's compositor (XDG_CURRENT_DESKTOP=" +
                    (desktops.empty() ? std::string("unset") : desktops) +
                    ") is not one Tarn supports: sway and other wlroots compositors, GNOME "
                    "Shell and KDE Plasma are (TARN_DESKTOP=x11 works on XWayland's windows "
                    "only)");
    }
    if (set(env("DISPLAY"))) return {BackendKind::x11, {}, {}};
    return none("DISPLAY is not set (and TARN_SIM_DESKTOP names no simulated desktop)");
}

struct Backend::Shared {
#if defined(__linux__)
    std::shared_ptr<platform::MarkerLedger> ledger = std::make_shared<platform::MarkerLedger>();
    // On sway, what the key source has bound, which the keyboard types its own chords past.
    std::shared_ptr<sway::BindingGate> bindings = std::make_shared<sway::BindingGate>();
#endif
};

Backend::Backend(Environment environment)
    : environment_(std::move(environment)),
      choice_(chooseBackend(environment_)),
      shared_(std::make_shared<Shared>()) {}

namespace {

[[maybe_unused]] std::string notBuilt(BackendKind kind) {
    return "No desktop to work on: the " + std::string(backendName(kind)) +
           " desktop is not supported by this build yet (TARN_DESKTOP=x11 works on XWayland's "
           "windows only)";
}

}  // namespace

DesktopChoice Backend::openDesktop(DesktopOptions options) const {
    if (!choice_.kind) return {nullptr, choice_.error};
    switch (*choice_.kind) {
        case BackendKind::sim:
            return {sim::openSimDesktop(choice_.simFile), {}};
        case BackendKind::x11: {
#if defined(__linux__)
            auto display = environment_("DISPLAY").value_or("");
            auto choice = x11::openX11Desktop(display, xdg::makeBrowserServices(),
                                              xdg::makeScriptRunner(), options, shared_->ledger);
            if (!choice.desktop) choice.error = "No desktop to work on: " + choice.error;
            return choice;
#else
            (void)options;
            return {nullptr, "No desktop to work on: the X11 backend is not built here"};
#endif
        }
        case BackendKind::sway: {
#if defined(__linux__)
            auto choice = sway::openSwayDesktop(
                environment_("SWAYSOCK").value_or(""), environment_("WAYLAND_DISPLAY").value_or(""),
                xdg::makeBrowserServices(), xdg::makeScriptRunner(), options, shared_->bindings);
            if (!choice.desktop) choice.error = "No desktop to work on: " + choice.error;
            return choice;
#else
            return {nullptr, notBuilt(*choice_.kind)};
#endif
        }
        case BackendKind::gnome: {
#if defined(__linux__)
            auto choice = gnome::openGnomeDesktop(xdg::makeBrowserServices(),
                                                  xdg::makeScriptRunner(), shared_->ledger);
            if (!choice.desktop) choice.error = "No desktop to work on: " + choice.error;
            return choice;
#else
            return {nullptr, notBuilt(*choice_.kind)};
#endif
        }
        case BackendKind::kde:
#if defined(__linux__)
            return kde::openKdeDesktop(xdg::makeBrowserServices(), xdg::makeScriptRunner(),
                                       options);
#else
            return {nullptr, notBuilt(*choice_.kind)};
#endif
    }
    return {nullptr, choice_.error};
}

AgentServices Backend::openAgentServices(std::vector<std::string> loginCommand) const {
    AgentServices services;
    if (loginCommand.empty()) {
        std::error_code ec;
        auto self = std::filesystem::read_symlink("/proc/self/exe", ec);
        loginCommand.push_back(ec ? std::string("wendle") : self.string());
    }
    services.loginItem = xdg::makeLoginItem(std::move(loginCommand));
    if (!choice_.kind) {
        services.error = choice_.error;
        return services;
    }
    switch (*choice_.kind) {
        case BackendKind::sim:
            services.keys = std::make_unique<sim::SimKeySource>();
            services.apps = std::make_unique<sim::SimAppEvents>(choice_.simFile);
            break;
        case BackendKind::x11: {
#if defined(__linux__)
            auto display = environment_("DISPLAY").value_or("");
            services.keys = x11::makeKeySource(display, shared_->ledger);
            services.apps = x11::makeAppEvents(display);
#else
            services.error = "No desktop to work on: the X11 backend is not built here";
#endif
            break;
        }
        case BackendKind::sway: {
#if defined(__linux__)
            auto socket = environment_("SWAYSOCK").value_or("");
            services.keys = sway::makeKeySource(
                socket, environment_("WAYLAND_DISPLAY").value_or(""), shared_->bindings);
            services.apps = sway::makeAppEvents(socket);
#else
            services.error = notBuilt(*choice_.kind);
#endif
            break;
        }
        case BackendKind::gnome:
#if defined(__linux__)
            services.keys = gnome::makeKeySource(shared_->ledger);
            services.apps = gnome::makeAppEvents();
#else
            services.error = notBuilt(*choice_.kind);
#endif
            break;
        case BackendKind::kde:
#if defined(__linux__)
            services.keys = kde::makeKeySource();
            services.apps = kde::makeAppEvents();
#else
            services.error = notBuilt(*choice_.kind);
#endif
            break;
    }
    return services;
}

std::unique_ptr<BrowserServices> Backend::openDisplaylessBrowserServices() const {
    if (choice_.kind == BackendKind::sim) return nullptr;
    return xdg::makeBrowserServices();
}

std::unique_ptr<BrowserTabs> Backend::openDisplaylessBrowserTabs(const std::string& browser) const {
    if (choice_.kind == BackendKind::sim) return nullptr;
    return nativemsg::makeNativeTabs(browser);
}

std::unique_ptr<AppIconNames> Backend::openAppIconNames() const {
    return xdg::makeAppIconNames(xdg::Locations::fromEnvironment());
}

}  // namespace tarn::platform
