#include "core/commands/cli.h"

#include <unistd.h>

#include <ostream>

#include "core/commands/browser_default.h"
#include "core/commands/browser_tab.h"
#include "core/commands/health.h"
#include "core/commands/help_text.h"
#include "core/commands/mouse.h"
#include "core/commands/settings.h"
#include "core/commands/version.h"
#include "core/errors.h"
#include "core/keys/keys_command.h"
#include "core/window/move_app.h"

namespace tarn::commands {

void showUsage(CommandContext& context) {
    context.err << TarnVersion::fullVersionString() + usageText();
    context.err.flush();
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
        // A command line runs one keys string: its buffer lives as long as that run.
        std::string buffer;
        return runThrowing(context, [&] {
            return keys::handleKeys(wordsAfterCommand(argv), std::nullopt, context, buffer);
        });
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
        return window::runMoveAppCommand(argv[2], context);
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
    int status = 1;
    try {
        status = dispatch(argv, context);
    } catch (const platform::DesktopError& error) {
        // The desktop is missing or went away mid-command: one clear line, never a crash.
        context.err << "ERROR: " << error.what() << '\n';
        status = 1;
    }
    // The command's one operation on the desktop ends here, failed or not: what it did
    // before a failure stays done, as on a real desktop (the simulated one writes it now).
    try {
        context.endDesktopOperation();
    } catch (const platform::DesktopError& error) {
        context.err << "ERROR: " << error.what() << '\n';
        return 1;
    }
    return status;
}

}  // namespace tarn::commands
