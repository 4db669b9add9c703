#include <ostream>

#include "core/commands/handlers.h"

// Commands whose engines have not landed yet answer with a clear error instead of doing
// nothing. Each definition leaves this file when its real handler arrives.
namespace tarn::commands {
namespace {

int notAvailable(const char* command, CommandContext& context) {
    context.err << "ERROR: tarn " << command << " is not available in this build yet\n";
    return 1;
}

}  // namespace

int runMoveAppCommand(const std::string&, CommandContext& context) {
    return notAvailable("move-app", context);
}

}  // namespace tarn::commands
