// Feeds arbitrary bytes to the window state record reader. A record it reads must write back
// to a text that reads as the same record.

#include "core/window/window_state.h"
#include "fuzz/fuzz_check.h"
#include "support/json_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tarn;
    using fuzz::check;

    auto state = window::decodeWindowState(fuzz::textOf(data, size));
    if (!state) return 0;
    check(state->steps.empty());

    auto record = support::writeJson(window::encodeWindowState(*state));
    auto reread = window::decodeWindowState(record);
    check(reread && *reread == *state);
    return 0;
}
