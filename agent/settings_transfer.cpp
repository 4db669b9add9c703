#include "agent/settings_transfer.h"

#include <stdexcept>

#include "support/files.h"

namespace tarn::agent {

std::string exportText(const RootConfig& config) {
    return support::writeJson(encodeConfig(config), {.pretty = true, .sortKeys = true});
}

std::optional<std::string> exportSettings(const RootConfig& config,
                                          const std::filesystem::path& path) {
    try {
        return support::writeFileAtomically(path, exportText(config));
    } catch (const std::domain_error& error) {
        return error.what();
    }
}

ImportOutcome importSettings(ConfigStore& store, const std::filesystem::path& path) {
    auto text = support::readFile(path);
    if (!text) return {.error = "could not read " + path.string(), .keptAs = {}};
    auto json = support::parseJson(*text);
    if (!json) return {.error = path.filename().string() + " is not JSON", .keptAs = {}};
    auto decoded = decodeConfig(*json);
    if (!decoded) {
        return {.error = "the document is not a JSON object (a configuration is one)",
                .keptAs = {}};
    }
    std::string current;
    try {
        current = configText(store.config());
    } catch (const std::domain_error& error) {
        return {.error = std::string("the current settings could not be kept: ") + error.what(),
                .keptAs = {}};
    }
    auto kept = support::writeBackup(store.configURL(), current);
    if (!kept) {
        return {
            .error = "the current settings could not be kept beside " + store.configURL().string(),
            .keptAs = {}};
    }
    store.setConfig(std::move(decoded->config));
    // Written now rather than after the usual pause: an import is one deliberate change.
    store.flushPendingSave();
    return {.error = std::nullopt, .keptAs = *kept};
}

}  // namespace tarn::agent
