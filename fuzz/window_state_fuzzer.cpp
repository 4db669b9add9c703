// Feeds arbitrary bytes to the window state record reader. A record it reads must write back
// to a text that reads as the same record.

#include "core/window/window_state.h"
#include "fuzz/fuzz_check.h"
#include "support/json_text.h"

TARN_FUZZ_TARGET(text) {
    using namespace tarn;
    using fuzz::check;

    auto state = window::decodeWindowState(text);
    if (!state) return;
    check(state->steps.empty());

    auto record = support::writeJson(window::encodeWindowState(*state));
    auto reread = window::decodeWindowState(record);
    check(reread && *reread == *state);
}
