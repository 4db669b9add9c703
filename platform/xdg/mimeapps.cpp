#include "platform/xdg/mimeapps.h"

#include <optional>

#include "platform/xdg/key_file.h"

namespace tarn::platform::xdg {
namespace {

constexpr std::string_view kDefaultsGroup = "Default Applications";

}  // namespace

std::vector<std::string> defaultApplications(std::string_view text, std::string_view mimeType) {
    std::optional<std::vector<std::string>> found;
    bool inDefaults = false;
    forEachLine(text, [&](std::string_view raw) {
        auto line = readKeyFileLine(raw);
        if (line.kind == KeyFileLine::Kind::group) inDefaults = line.name == kDefaultsGroup;
        if (!found && inDefaults && line.kind == KeyFileLine::Kind::entry &&
            line.name == mimeType) {
            found = splitList(line.value);
        }
    });
    return found.value_or(std::vector<std::string>{});
}

std::string withDefaults(std::string_view text, const std::vector<DefaultAssignment>& assignments) {
    std::vector<std::string> lines;
    forEachLine(text, [&](std::string_view line) { lines.emplace_back(line); });

    std::vector<bool> written(assignments.size(), false);
    std::optional<std::size_t> endOfFirstGroup;  // its last line that is not blank
    bool inDefaults = false;
    bool inFirstDefaults = false;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        auto line = readKeyFileLine(lines[i]);
        if (line.kind == KeyFileLine::Kind::group) {
            inDefaults = line.name == kDefaultsGroup;
            inFirstDefaults = inDefaults && !endOfFirstGroup;
            if (inFirstDefaults) endOfFirstGroup = i;
            continue;
        }
        if (inFirstDefaults && line.kind != KeyFileLine::Kind::blank) endOfFirstGroup = i;
        if (!inDefaults || line.kind != KeyFileLine::Kind::entry) continue;
        for (std::size_t k = 0; k < assignments.size(); ++k) {
            if (line.name == assignments[k].mimeType) {
                lines[i] = assignments[k].mimeType + "=" + assignments[k].desktopId;
                written[k] = true;
                break;
            }
        }
    }

    std::vector<std::string> added;
    for (std::size_t k = 0; k < assignments.size(); ++k) {
        if (!written[k]) added.push_back(assignments[k].mimeType + "=" + assignments[k].desktopId);
    }
    if (endOfFirstGroup) {
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(*endOfFirstGroup + 1),
                     added.begin(), added.end());
    } else {
        if (!lines.empty() && !lines.back().empty()) lines.emplace_back();
        lines.emplace_back("[" + std::string(kDefaultsGroup) + "]");
        lines.insert(lines.end(), added.begin(), added.end());
    }

    std::string result;
    for (const auto& line : lines) result += line + "\n";
    return result;
}

}  // namespace tarn::platform::xdg
