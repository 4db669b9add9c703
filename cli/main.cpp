#include <cstdio>
#include <iostream>
#include <vector>

#include "core/commands/cli.h"
#include "platform/backend.h"

int main(int argc, char** argv) {
    // std::cerr flushes after every piece written to it, and writes through to stderr, which
    // C leaves unbuffered: a DEBUG line built from five pieces would cost five system calls.
    // Line buffering keeps each line whole and still shows it at once.
    std::cerr.unsetf(std::ios::unitbuf);
    std::setvbuf(stderr, nullptr, _IOLBF, BUFSIZ);
    std::vector<std::string> args(argv, argv + argc);
    const tarn::platform::Backend backend;
    tarn::CommandContext context(
        std::cout, std::cerr, [&backend] { return backend.openDesktop(); },
        [&backend] { return backend.openDisplaylessBrowserServices(); },
        [&backend](const std::string& browser) {
            return backend.openDisplaylessBrowserTabs(browser);
        });
    int status = tarn::commands::TarnCLI::main(args, context);
    std::cout.flush();
    return status;
}
