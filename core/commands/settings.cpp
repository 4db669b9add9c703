#include "core/commands/settings.h"

#include <cmath>
#include <ostream>

#include "support/files.h"
#include "support/number_text.h"
#include "support/store.h"
#include "support/text.h"

namespace tarn::commands {
namespace {

using support::StoreValue;

// true/false in any letter case, then a decimal integer, then anything strtod takes whole,
// else the text as typed. A double JSON cannot hold (inf, nan, 1e400) stays the text.
StoreValue inferValue(const std::string& text) {
    std::string lower = support::asciiLowercase(text);
    if (lower == "true") return true;
    if (lower == "false") return false;
    if (auto integer = support::parseInt64(text)) return *integer;
    if (auto number = support::parseDouble(text); number && std::isfinite(*number)) {
        return *number;
    }
    return text;
}

std::filesystem::path settingsPath(CommandContext& context) {
    return context.appSupportDir() / "config.json";
}

// Writes the store back; on failure says why and gives the command's failing status.
int save(const support::Store& store, const support::LoadedStore& loaded,
         const std::filesystem::path& path, CommandContext& context) {
    auto result = support::saveStoreOver(store, loaded, path);
    if (result.refused) {
        // The same rule and words as the agent's for its configuration file.
        context.err << "ERROR: Not saving " << path.string() << ": " << *result.error << '\n';
        return 1;
    }
    if (result.error) {
        context.err << "ERROR: Could not save " << path.string() << ": " << *result.error << '\n';
        return 1;
    }
    if (result.backup) {
        context.err << "Note: the settings file as it was (" << loaded.problem << ") is kept as "
                    << result.backup->string() << '\n';
    }
    return 0;
}

// Loads the store. A file that is there but cannot be read is named on standard error; the
// command then goes on with an empty store, as its outputs define, except that listing,
// reading and removing fail (status 1) when not even the file's bytes could be read (no
// permission, a FIFO or another non-regular file): an empty list or "not found" would then
// be a guess.
support::LoadedStore load(const std::filesystem::path& path, CommandContext& context) {
    auto loaded = support::loadStore(path);
    if (loaded.state == support::StoreFileState::unreadable) {
        context.err << "ERROR: Could not read " << path.string() << ": " << loaded.problem << '\n';
    }
    return loaded;
}

int notFound(const std::string& name, CommandContext& context) {
    context.err << "Setting '" << name << "' not found\n";
    return 1;
}

}  // namespace

int handleSettings(const Args& args, CommandContext& context) {
    const auto path = settingsPath(context);
    if (args.empty()) {
        auto loaded = load(path, context);
        if (loaded.bytesUnread) return 1;
        if (loaded.store.values.empty()) {
            context.out << "No settings configured.\n";
            return 0;
        }
        context.out << "Current settings:\n";
        for (const auto& [name, value] : loaded.store.values) {
            context.out << "  " << name << ": " << support::storeValueText(value) << '\n';
        }
        return 0;
    }
    if (args[0] == "--remove") {
        if (args.size() < 2) {
            context.err << "Usage: tarn settings --remove <name>\n";
            return 1;
        }
        const std::string& name = args[1];
        auto lock = support::FileLock::acquire(path);
        auto loaded = load(path, context);
        if (loaded.bytesUnread) return 1;
        if (!loaded.store.values.contains(name)) return notFound(name, context);
        loaded.store.values.erase(name);
        if (int status = save(loaded.store, loaded, path, context)) return status;
        context.out << "Removed setting: " << name << '\n';
        return 0;
    }
    const std::string& name = args[0];
    if (args.size() == 1) {
        auto loaded = load(path, context);
        if (loaded.bytesUnread) return 1;
        auto found = loaded.store.values.find(name);
        if (found == loaded.store.values.end()) return notFound(name, context);
        context.out << support::storeValueText(found->second) << '\n';
        return 0;
    }
    const std::string& text = args[1];
    // Read, change and write under the file's lock, so parallel commands each keep their
    // change.
    auto lock = support::FileLock::acquire(path);
    auto loaded = load(path, context);
    loaded.store.values[name] = inferValue(text);
    if (int status = save(loaded.store, loaded, path, context)) return status;
    context.out << "Set " << name << " = " << text << '\n';
    return 0;
}

}  // namespace tarn::commands
