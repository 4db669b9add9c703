// wendle without Qt: the hotkey agent alone, for builds without the tray and settings
// window. It binds the configuration's key chords on the desktop, runs their actions, and
// follows the configuration file until it is told to stop.

#include <iostream>

#include "agent/agent_runtime.h"

int main(int argc, char** argv) {
    using namespace tarn::agent;
    CommandLine line = parseCommandLine(argc, argv, false);
    if (line.exitStatus) return *line.exitStatus;
    InstanceLock lock = lockInstance();
    if (!lock.warning.empty()) std::cerr << "wendle: " << lock.warning << '\n';
    if (lock.result != InstanceLock::Result::acquired) return reportLockNotAcquired(lock);
    return runHeadless(lock.listening ? lock.fd.get() : -1);
}
