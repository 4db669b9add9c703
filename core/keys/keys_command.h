#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/context.h"

namespace tarn::keys {

// The keys command: types args[0] as a keys string (further words are ignored), tagging
// the events with the marker when the agent types. Returns 0 when all was typed, 5 without
// the Accessibility permission, 2, 3 or 4 when the string does not parse (then nothing is
// typed). Throws CommandFailure(insufficientArguments) for no words at all.
int handleKeys(const Args& args, std::optional<std::int64_t> marker, CommandContext& context,
               std::string& buffer);

}  // namespace tarn::keys
