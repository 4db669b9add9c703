#include "core/keys/keys_command.h"

#include <ostream>

#include "core/errors.h"
#include "core/keys/executor.h"
#include "core/keys/parser.h"
#include "core/permission.h"
#include "support/unicode_text.h"

namespace tarn::keys {
namespace {

constexpr int kStatusUnclosedBrace = 2;
constexpr int kStatusUnknownKey = 3;
constexpr int kStatusInvalidPause = 4;
constexpr int kStatusNoPermission = 5;

int reportParseError(const KeysParseError& error, std::ostream& err) {
    switch (error.kind()) {
        case KeysParseError::Kind::unknownKeyName:
            err << "Error: Unknown key name: " << error.payload() << '\n'
                << "Run 'tarn help' to see available key names\n";
            return kStatusUnknownKey;
        case KeysParseError::Kind::unclosedBrace:
            err << "Error: Unclosed brace in keys string\n";
            return kStatusUnclosedBrace;
        case KeysParseError::Kind::invalidPauseValue:
            err << "Error: Invalid pause value: " << error.payload() << '\n';
            return kStatusInvalidPause;
    }
    return kStatusUnclosedBrace;
}

}  // namespace

int handleKeys(const Args& args, std::optional<std::int64_t> marker, CommandContext& context,
               std::string& buffer) {
    if (args.empty()) {
        throw CommandFailure(HelperError::insufficientArguments);
    }
    if (!ensureAccessibilityTrusted(context)) {
        context.err << "ERROR: Accessibility permission required to send keystrokes\n";
        return kStatusNoPermission;
    }
    std::vector<KeyAction> actions;
    try {
        actions = parseKeysStringForExecution(support::repairUtf8(args[0]));
    } catch (const KeysParseError& error) {
        return reportParseError(error, context.err);
    }
    // The permission was there a moment ago; losing it now ends the run without more words.
    auto result = executeKeysActions(actions, marker, context, buffer);
    return result == KeysRunResult::completed ? 0 : kStatusNoPermission;
}

}  // namespace tarn::keys
