#pragma once

// Export and import of the whole configuration. The document is the configuration itself, in
// the configuration file's JSON form (either file can stand in for the other), written for
// people: pretty-printed with its keys sorted at every level.

#include <filesystem>
#include <optional>
#include <string>

#include "agent/config_store.h"

namespace tarn::agent {

// The export document's text. Throws std::domain_error for a frame JSON cannot hold.
std::string exportText(const RootConfig& config);

// Writes the export document; the reason in words when it could not be written (the file is
// then untouched).
std::optional<std::string> exportSettings(const RootConfig& config,
                                          const std::filesystem::path& path);

struct ImportOutcome {
    // Why nothing was imported; the configuration is then unchanged.
    std::optional<std::string> error;
    // Where the replaced configuration was kept, after a successful import.
    std::filesystem::path keptAs;
};

// Reads the document and replaces the whole configuration with it through the store. The
// configuration it replaces is first written beside the configuration file as
// "wendle-config.json.bak-<UTC time>", so importing that copy undoes the import; when no copy
// can be made nothing is imported.
ImportOutcome importSettings(ConfigStore& store, const std::filesystem::path& path);

}  // namespace tarn::agent
