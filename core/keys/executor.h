#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/context.h"
#include "core/keys/parser.h"

namespace tarn::keys {

// The keys buffer: one text per process, empty at start, shared by every action list the
// process runs (a text grabbed by one hotkey is still there for the next) and never saved.
// It has no lock: a process runs one action list at a time.
std::string& keysBuffer();

// How far a buffer typed by {paste} may itself paste the buffer again.
inline constexpr int kMaxPasteDepth = 8;

enum class KeysRunResult { completed, permissionMissing };

// Types, pauses and edits the buffer as the actions say, in order, on the calling thread.
// Each key is a key down, 1 ms, a key up, 10 ms, carrying exactly its flags, and the marker
// when one is given. Checks the Accessibility permission first (an empty list too) and
// again for each pasted buffer; without it nothing more happens and the result says so.
// A pasted buffer that does not parse is reported on standard error and skipped.
KeysRunResult executeKeysActions(const std::vector<KeyAction>& actions,
                                 std::optional<std::int64_t> marker, CommandContext& context,
                                 std::string& buffer = keysBuffer());

}  // namespace tarn::keys
