#include "support/text.h"

namespace tarn::support {

std::string asciiLowercase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
}

std::vector<std::string_view> splitText(std::string_view text, std::string_view separator) {
    std::vector<std::string_view> pieces;
    for (auto at = text.find(separator); at != std::string_view::npos; at = text.find(separator)) {
        pieces.push_back(text.substr(0, at));
        text.remove_prefix(at + separator.size());
    }
    pieces.push_back(text);
    return pieces;
}

}  // namespace tarn::support
