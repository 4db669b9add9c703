#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/context.h"
#include "core/keys/parser.h"

namespace tarn::keys {

// How far a buffer typed by {paste} may itself paste the buffer again.
inline constexpr int kMaxPasteDepth = 8;

enum class KeysRunResult { completed, permissionMissing };

// Types, pauses and edits the buffer as the actions say, in order, on the calling thread.
// Each key is a key down, 1 ms, a key up, 10 ms, carrying exactly its flags, and the marker
// when one is given. Checks the Accessibility permission first (an empty list too) and
// again for each pasted buffer; without it nothing more happens and the result says so.
// A pasted buffer that does not parse is reported on standard error and skipped.
//
// The buffer is the caller's: text a keys string grabs or inserts stays there for the next
// string the same caller runs (the agent keeps one for its whole session), and it is never
// saved.
KeysRunResult executeKeysActions(const std::vector<KeyAction>& actions,
                                 std::optional<std::int64_t> marker, CommandContext& context,
                                 std::string& buffer);

}  // namespace tarn::keys
