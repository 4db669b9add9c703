#include <iostream>
#include <vector>

#include "core/commands/cli.h"
#include "platform/desktop.h"

int main(int argc, char** argv) {
    std::vector<std::string> args(argv, argv + argc);
    tarn::CommandContext context(std::cout, std::cerr, tarn::platform::openDesktop,
                                 tarn::platform::openDisplaylessBrowserServices);
    int status = tarn::commands::TarnCLI::main(args, context);
    std::cout.flush();
    return status;
}
