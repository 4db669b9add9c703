#pragma once

#include "core/context.h"

namespace tarn::commands {

// The settings command: lists, reads, sets (typed from the text) and removes settings.
int handleSettings(const Args& args, CommandContext& context);

}  // namespace tarn::commands
