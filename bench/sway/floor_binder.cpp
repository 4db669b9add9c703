// The floor of hotkey to window moved on sway: the least a hotkey program can do there. It
// binds one chord at run time through sway's IPC (as wendle does), and on each `binding`
// event sends the one command that places the focused window. No rules, no tree read, no
// threads, no state file: whatever wendle takes beyond this is its own cost.
//
//   sway_floor_binder COMBO X Y WIDTH HEIGHT     e.g. Ctrl+Mod1+Right 0 100 1920 605
//
// Prints "bound" once the binding is made; runs until killed (the binding stays until the
// next program binds the chord).
#include <cstdio>
#include <string>

#include "platform/sway/ipc.h"

int main(int argc, char** argv) {
    using namespace tarn::platform::sway;
    if (argc != 6) {
        std::fprintf(stderr, "usage: sway_floor_binder COMBO X Y WIDTH HEIGHT\n");
        return 2;
    }
    const std::string combo = argv[1];
    const std::string move = std::string("floating enable, resize set ") + argv[4] + " " + argv[5] +
                             ", move absolute position " + argv[2] + " " + argv[3];
    std::string error;
    auto events = Ipc::open(socketPath(), error);
    auto commands = Ipc::open(socketPath(), error);
    if (!events || !commands) {
        std::fprintf(stderr, "sway_floor_binder: %s\n", error.c_str());
        return 2;
    }
    events->request(message::subscribe, R"(["binding"])");
    if (!commands->command("bindsym --no-repeat " + combo + " nop floor", &error)) {
        std::fprintf(stderr, "sway_floor_binder: %s\n", error.c_str());
        return 2;
    }
    std::printf("bound\n");
    std::fflush(stdout);
    while (auto event = events->nextEvent()) {
        if (event->type == event::binding) commands->command(move);
    }
    return 0;
}
