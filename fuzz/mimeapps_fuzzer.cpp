// Feeds arbitrary bytes to the mimeapps.list reader and writer. The first line of the input
// is a default to set ("type=desktop-id"), the rest the file. Once set, the default reads
// back; setting it again changes nothing; every other type's defaults stay as they were.
#include <set>
#include <string>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "platform/xdg/key_file.h"
#include "platform/xdg/mimeapps.h"

namespace {

using namespace tarn::platform::xdg;
using tarn::fuzz::check;

// Some of the types that have an entry in the file (a few are enough, and keep runs fast).
std::set<std::string_view> entryNames(std::string_view text) {
    std::set<std::string_view> names;
    forEachLine(text, [&](std::string_view raw) {
        auto line = readKeyFileLine(raw);
        if (line.kind == KeyFileLine::Kind::entry && names.size() < 8) names.insert(line.name);
    });
    return names;
}

}  // namespace

TARN_FUZZ_TARGET(input) {
    auto newline = input.find('\n');
    if (newline == std::string_view::npos) return;
    std::string_view first = input.substr(0, newline);
    std::string_view text = input.substr(newline + 1);

    // Only a default the file format can hold: one id, written as is.
    auto equals = first.find('=');
    if (equals == std::string_view::npos) return;
    DefaultAssignment assignment{std::string(first.substr(0, equals)),
                                 std::string(first.substr(equals + 1))};
    auto line = readKeyFileLine(first);
    if (line.kind != KeyFileLine::Kind::entry || line.name != assignment.mimeType ||
        line.value != assignment.desktopId ||
        splitList(line.value) != std::vector{assignment.desktopId}) {
        return;
    }

    const std::vector<DefaultAssignment> assignments{assignment};
    std::string changed = withDefaults(text, assignments);
    check(changed.ends_with('\n'));
    check(defaultApplications(changed, assignment.mimeType) == std::vector{assignment.desktopId});
    check(withDefaults(changed, assignments) == changed);
    for (std::string_view type : entryNames(text)) {
        if (type != assignment.mimeType) {
            check(defaultApplications(changed, type) == defaultApplications(text, type));
        }
    }
}
