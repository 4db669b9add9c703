// Feeds arbitrary bytes to the core's lenient reader of the agent's configuration file.
// Nothing in the file may stop a move-app call: every JSON object decodes, and each list
// comes back whole or empty.

#include "core/window/override_lookup.h"
#include "fuzz/fuzz_check.h"
#include "support/json_text.h"

namespace {

using namespace tarn;
using fuzz::check;

// A list decodes whole or not at all.
void checkWholeOrEmpty(const support::Json& document, const char* name, std::size_t decoded) {
    if (decoded == 0) return;
    auto list = document.find(name);
    check(list != document.end() && list->is_array() && list->size() == decoded);
}

}  // namespace

TARN_FUZZ_TARGET(text) {
    auto document = support::parseJson(text);
    if (!document) return;
    auto config = window::decodeWendleConfig(*document);
    check(config.has_value() == document->is_object());
    if (!config) return;

    checkWholeOrEmpty(*document, "globalRules", config->globalRules.size());
    checkWholeOrEmpty(*document, "appConfigs", config->appConfigs.size());
    for (const auto& app : config->appConfigs) {
        for (const auto& [id, override] : app.ruleOverrides) {
            check(app.overrideFor(id) != nullptr);
        }
    }
}
