#include "core/support/ascii_text.h"

namespace tarn::support {

std::string asciiLowercase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
}

}  // namespace tarn::support
