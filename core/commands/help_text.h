#pragma once

#include <string>

namespace tarn::commands {

// The command overview printed after the version line by usage and help; it begins with
// two line feeds and ends with one.
const std::string& usageText();

// The list of key names printed by help after the usage text.
const std::string& keyNamesText();

}  // namespace tarn::commands
