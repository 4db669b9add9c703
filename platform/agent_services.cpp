#include "platform/agent_services.h"

#include <cstdlib>
#include <filesystem>

#include "platform/sim/sim_agent.h"
#if defined(__linux__)
#include "platform/x11/app_events.h"
#include "platform/x11/key_source.h"
#include "platform/xdg/autostart.h"
#endif

namespace tarn::platform {

AgentServices openAgentServices(std::vector<std::string> loginCommand) {
    AgentServices services;
#if defined(__linux__)
    if (loginCommand.empty()) {
        std::error_code ec;
        auto self = std::filesystem::read_symlink("/proc/self/exe", ec);
        loginCommand.push_back(ec ? std::string("wendle") : self.string());
    }
    services.loginItem = xdg::makeLoginItem(std::move(loginCommand));
#endif
    if (const char* sim = std::getenv("TARN_SIM_DESKTOP"); sim && *sim) {
        services.keys = std::make_unique<sim::SimKeySource>();
        services.apps = std::make_unique<sim::SimAppEvents>(sim);
        return services;
    }
#if defined(__linux__)
    const char* display = std::getenv("DISPLAY");
    if (!display || !*display) {
        services.error =
            "No desktop to work on: DISPLAY is not set (and TARN_SIM_DESKTOP names no "
            "simulated desktop)";
        return services;
    }
    services.keys = x11::makeKeySource(display);
    services.apps = x11::makeAppEvents(display);
#else
    services.error = "No desktop to work on: no backend for this platform is built";
#endif
    return services;
}

}  // namespace tarn::platform
