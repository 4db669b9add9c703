#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/commands/context.h"

// The command handlers the dispatcher reaches. Each returns the command's exit status and
// writes its own messages; keys and browser-tab may also throw CommandFailure.
namespace tarn::commands {

// args[0] is the keys string; marker tags the posted events when the agent types.
int handleKeys(const Args& args, std::optional<std::int64_t> marker, CommandContext& context);
int handleBrowserTab(const Args& args, CommandContext& context);
int handleBrowserDefault(const Args& args, CommandContext& context);
int moveMouse(const Args& args, CommandContext& context);
int handleSettings(const Args& args, CommandContext& context);
// The command line's move-app: no saved locations, every state filter on, not a user rule.
int runMoveAppCommand(const std::string& direction, CommandContext& context);

}  // namespace tarn::commands
