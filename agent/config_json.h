#pragma once

// The configuration file's JSON form. Writers emit the members in field order; readers take
// any order and are tolerant in a fixed way: an optional member that cannot be read falls
// back to its default, a list element that cannot be read empties its whole list, and a
// document that is not a JSON object fails as a whole.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/config.h"
#include "support/json_text.h"

namespace tarn::agent {

// Something in a document that the reader could not keep as written: a list it emptied, a
// member it replaced by its default, a member it does not know. The next save would lose it.
struct ConfigIssue {
    std::string where;  // the member's path: "globalRules[2].action"
    std::string message;
    friend bool operator==(const ConfigIssue&, const ConfigIssue&) = default;
};

struct DecodedConfig {
    RootConfig config;
    std::vector<ConfigIssue> issues;  // empty when the document was read whole

    bool readWhole() const { return issues.empty(); }
};

support::Json encodeConfig(const RootConfig& config);
// The file's bytes: compact, unsorted. Throws std::domain_error for a frame coordinate JSON
// cannot hold (infinite or NaN).
std::string configText(const RootConfig& config);

// Absent when the document is not a JSON object.
std::optional<DecodedConfig> decodeConfig(const support::Json& document);
// Absent when the text is not JSON or not an object.
std::optional<DecodedConfig> decodeConfigText(std::string_view text);

}  // namespace tarn::agent
