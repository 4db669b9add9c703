#include "platform/desktop.h"

#include <cstdlib>

#include "platform/sim/sim_desktop.h"

namespace tarn::platform {

DesktopChoice openDesktop() {
    if (const char* sim = std::getenv("TARN_SIM_DESKTOP"); sim && *sim) {
        return {sim::openSimDesktop(sim), {}};
    }
#if defined(__linux__)
    if (const char* display = std::getenv("DISPLAY"); !display || !*display) {
        return {nullptr,
                "No desktop to work on: DISPLAY is not set (and TARN_SIM_DESKTOP names no "
                "simulated desktop)"};
    }
    return {nullptr, "No desktop to work on: the X11 backend is not built yet"};
#else
    return {nullptr, "No desktop to work on: no backend for this platform is built"};
#endif
}

}  // namespace tarn::platform
