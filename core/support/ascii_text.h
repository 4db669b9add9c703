#pragma once

#include <string>
#include <string_view>

namespace tarn::support {

// The text with A-Z turned into a-z; every other byte (UTF-8 included) as it was. For
// names compared without regard to letter case: browser names, MIME types, desktop names.
std::string asciiLowercase(std::string_view text);

}  // namespace tarn::support
