// Feeds arbitrary bytes to the desktop entry reader and its key-file line reader.

#include "fuzz/fuzz_check.h"
#include "platform/xdg/key_file.h"

namespace {

using namespace tarn::platform::xdg;
using tarn::fuzz::check;

// The name and value of a line are pieces of that line.
bool within(std::string_view piece, std::string_view line) {
    return piece.empty() || (piece.data() >= line.data() &&
                             piece.data() + piece.size() <= line.data() + line.size());
}

}  // namespace

TARN_FUZZ_TARGET(text) {
    forEachLine(text, [](std::string_view raw) {
        check(raw.find('\n') == std::string_view::npos);
        auto line = readKeyFileLine(raw);
        check(within(line.name, raw) && within(line.value, raw));
        if (line.kind == KeyFileLine::Kind::group || line.kind == KeyFileLine::Kind::entry) {
            check(!line.name.empty());
        }
        if (line.kind == KeyFileLine::Kind::entry)
            check(line.name.find('=') == std::string_view::npos);
    });
    // Escapes only ever shorten a value.
    check(unescapeValue(text).size() <= text.size());

    auto entry = parseDesktopEntry(text);
    if (!entry) return;
    check(isValidUtf8(text));
    for (const auto& type : entry->mimeTypes) {
        check(!type.empty() && type.find(';') == std::string::npos);
    }
}
