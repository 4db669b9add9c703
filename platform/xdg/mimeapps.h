#pragma once

#include <string>
#include <string_view>
#include <vector>

// The [Default Applications] group of mimeapps.list files: which desktop entry opens a MIME
// type (URL schemes are the types "x-scheme-handler/<scheme>").
namespace tarn::platform::xdg {

// The desktop ids listed as defaults for the type, in order of preference; empty when the
// text names none. The first entry for the type counts.
std::vector<std::string> defaultApplications(std::string_view text, std::string_view mimeType);

struct DefaultAssignment {
    std::string mimeType;
    std::string desktopId;
};

// The text with each type's default set to its desktop id. Entries for the types in every
// [Default Applications] group are replaced where they stand; types without an entry are
// added after the last line of the first such group, or in a new group at the end. Every
// other line stays byte for byte, so comments, other groups and lines this reader does not
// understand survive. The result ends with a line feed.
std::string withDefaults(std::string_view text, const std::vector<DefaultAssignment>& assignments);

}  // namespace tarn::platform::xdg
