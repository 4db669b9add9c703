#pragma once

#include "core/context.h"

namespace tarn::commands {

namespace TarnCLI {
// The command entry: argv[0] is the program path, argv[1] the command word. Returns the
// exit status; nothing in here ends the process.
int main(const Args& argv, CommandContext& context);
}  // namespace TarnCLI

// The version line and the usage text to standard error, in one write.
void showUsage(CommandContext& context);

// Prints the health verdict; 0 when healthy, else 1.
int handleHealthcheck(CommandContext& context);

}  // namespace tarn::commands
