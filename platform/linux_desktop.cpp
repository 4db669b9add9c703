#include "platform/linux_desktop.h"

#include <unistd.h>

namespace tarn::platform {
namespace {

class SleeperLinux final : public Sleeper {
  public:
    void sleepMicroseconds(std::uint32_t microseconds) override { ::usleep(microseconds); }
};

}  // namespace

LinuxDesktop::LinuxDesktop(std::unique_ptr<BrowserServices> browsers,
                           std::unique_ptr<ScriptRunner> scripts)
    : browsers_(std::move(browsers)), scripts_(std::move(scripts)) {}

Sleeper& LinuxDesktop::sleeper() {
    static SleeperLinux sleeper;
    return sleeper;
}

}  // namespace tarn::platform
