#include "core/commands/cli.h"

#include <unistd.h>

#include <ostream>

#include "core/commands/errors.h"
#include "core/commands/handlers.h"
#include "core/commands/health.h"
#include "core/commands/help_text.h"
#include "core/commands/version.h"

namespace tarn::commands {

std::string_view helperErrorName(HelperError error) {
    switch (error) {
        case HelperError::invalidCommand:
            return "invalidCommand";
        case HelperError::insufficientArguments:
            return "insufficientArguments";
    }
    return "invalidCommand";
}

CommandFailure::CommandFailure(HelperError error)
    : std::runtime_error(std::string(helperErrorName(error))) {}

std::string TarnVersion::versionString() {
    return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch) + "." +
           std::to_string(build);
}

std::string TarnVersion::fullVersionString() {
    return "tarn v" + versionString() + " (built " + buildDate + ")";
}

void showUsage(CommandContext& context) {
    context.err << TarnVersion::fullVersionString() + usageText();
    context.err.flush();
}

int handleHealthcheck(CommandContext& context) {
    auto verdict = TarnCoreHealth::checkPermissionHealth(context.desktop(), ::getpid());
    context.out << permissionHealthName(verdict) << '\n';
    return verdict == PermissionHealth::healthy ? 0 : 1;
}

namespace {

Args wordsAfterCommand(const Args& argv) {
    return Args(argv.begin() + 2, argv.end());
}

// keys and browser-tab may throw; their errors end the command with status 4.
template <typename Handler>
int runThrowing(CommandContext& context, Handler&& handler) {
    try {
        return handler();
    } catch (const CommandFailure& failure) {
        context.err << "Error: " << failure.what() << '\n';
        return 4;
    }
}

int dispatch(const Args& argv, CommandContext& context) {
    const std::string& command = argv[1];
    if (command == "healthcheck") return handleHealthcheck(context);
    if (command == "keys") {
        return runThrowing(
            context, [&] { return handleKeys(wordsAfterCommand(argv), std::nullopt, context); });
    }
    if (command == "browser-tab") {
        return runThrowing(context,
                           [&] { return handleBrowserTab(wordsAfterCommand(argv), context); });
    }
    if (command == "browser-default") return handleBrowserDefault(wordsAfterCommand(argv), context);
    if (command == "move-mouse") return moveMouse(wordsAfterCommand(argv), context);
    if (command == "settings") return handleSettings(wordsAfterCommand(argv), context);
    if (command == "move-app") {
        if (argv.size() < 3) {
            context.err << "Usage: tarn move-app <left|right|up|down>\n";
            return 1;
        }
        return runMoveAppCommand(argv[2], context);
    }
    if (command == "version" || command == "--version" || command == "-v") {
        context.out << TarnVersion::fullVersionString() << '\n';
        return 0;
    }
    if (command == "help" || command == "--help" || command == "-h") {
        showUsage(context);
        context.err << keyNamesText();
        return 0;
    }
    showUsage(context);
    return 1;
}

}  // namespace

int TarnCLI::main(const Args& argv, CommandContext& context) {
    if (argv.size() < 2) {
        showUsage(context);
        return 1;
    }
    try {
        return dispatch(argv, context);
    } catch (const platform::DesktopError& error) {
        // The desktop is missing or went away mid-command: one clear line, never a crash.
        context.err << "ERROR: " << error.what() << '\n';
        return 1;
    }
}

}  // namespace tarn::commands
