// Feeds arbitrary bytes to the store document reader (the settings and window state files).
// A document it reads must write back to a text that reads as the same store.
#include <variant>

#include "fuzz/fuzz_check.h"
#include "support/json_text.h"
#include "support/store.h"

TARN_FUZZ_TARGET(input) {
    using namespace tarn;
    using fuzz::check;

    auto document = support::parseJson(input);
    if (!document) return;
    auto store = support::decodeStore(*document).store;
    if (!store) return;
    for (const auto& [name, value] : store->values) {
        // Dates are written as text and never read back as dates.
        check(!std::holds_alternative<support::Date>(value));
        support::storeValueText(value);
    }

    auto text =
        support::writeJson(support::encodeStore(*store), {.pretty = true, .sortKeys = true});
    auto again = support::parseJson(text);
    check(again.has_value());
    auto reread = support::decodeStore(*again).store;
    check(reread && *reread == *store);
}
