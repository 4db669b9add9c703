#include "platform/desktop.h"

#include <cstdlib>

#include "platform/sim/sim_desktop.h"
#include "platform/xdg/xdg_desktop.h"
#if defined(__linux__)
#include "platform/nativemsg/native_tabs.h"
#include "platform/x11/x11_desktop.h"
#endif

namespace tarn::platform {
namespace {

enum class DesktopUse { command, agent };

DesktopChoice open(DesktopUse use) {
    if (const char* sim = std::getenv("TARN_SIM_DESKTOP"); sim && *sim) {
        return {sim::openSimDesktop(sim), {}};
    }
#if defined(__linux__)
    const char* display = std::getenv("DISPLAY");
    if (!display || !*display) {
        return {nullptr,
                "No desktop to work on: DISPLAY is not set (and TARN_SIM_DESKTOP names no "
                "simulated desktop)"};
    }
    auto clipboard = use == DesktopUse::agent ? x11::ClipboardOwner::thisProcess
                                              : x11::ClipboardOwner::forkedProcess;
    auto choice = x11::openX11Desktop(display, xdg::makeBrowserServices(), xdg::makeScriptRunner(),
                                      clipboard);
    if (!choice.desktop) choice.error = "No desktop to work on: " + choice.error;
    return choice;
#else
    (void)use;
    return {nullptr, "No desktop to work on: no backend for this platform is built"};
#endif
}

}  // namespace

DesktopChoice openDesktop() {
    return open(DesktopUse::command);
}

DesktopChoice openAgentDesktop() {
    return open(DesktopUse::agent);
}

std::unique_ptr<BrowserServices> openDisplaylessBrowserServices() {
    if (const char* sim = std::getenv("TARN_SIM_DESKTOP"); sim && *sim) return nullptr;
#if defined(__linux__)
    return xdg::makeBrowserServices();
#else
    return nullptr;
#endif
}

std::unique_ptr<BrowserTabs> openDisplaylessBrowserTabs(const std::string& browser) {
    if (const char* sim = std::getenv("TARN_SIM_DESKTOP"); sim && *sim) return nullptr;
#if defined(__linux__)
    return nativemsg::makeNativeTabs(browser);
#else
    (void)browser;
    return nullptr;
#endif
}

}  // namespace tarn::platform
