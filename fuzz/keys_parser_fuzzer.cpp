// Feeds arbitrary bytes to the keys-string parser and the escape expansion. Any crash,
// sanitizer report, exception other than KeysParseError, or broken invariant is a finding.

#include "core/keys/escapes.h"
#include "core/keys/parser.h"
#include "fuzz/fuzz_check.h"
#include "support/unicode_text.h"

namespace {

using tarn::fuzz::check;

bool hasByte(std::string_view text, char byte) {
    return text.find(byte) != std::string_view::npos;
}

}  // namespace

TARN_FUZZ_TARGET(text) {
    using namespace tarn;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = support::characterEnd(text, at);
        check(end > at && end <= text.size());
        at = end;
    }

    // Without an opening brace there is nothing to expand.
    std::string expanded = keys::expandEscapeSequences(text);
    if (!hasByte(text, '{')) check(expanded == text);

    try {
        auto actions = keys::parseKeysString(text);
        // Every action comes from at least one byte of the string.
        check(actions.size() <= text.size());
        for (const auto& action : actions) {
            if (const auto* key = std::get_if<keys::TypeKey>(&action)) {
                check(key->code <= 126);
                check((key->flags & ~std::uint64_t{0x1E0000}) == 0);
            }
            check(!keys::describe(action).empty());
        }
        // Without braces every action is a key press.
        if (!hasByte(text, '{')) {
            for (const auto& action : actions) check(std::holds_alternative<keys::TypeKey>(action));
        }
    } catch (const keys::KeysParseError& error) {
        check(error.what()[0] != '\0');
        if (error.kind() == keys::KeysParseError::Kind::unclosedBrace) check(hasByte(text, '{'));
    }
}
