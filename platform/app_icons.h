#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarn::platform {

// The icon the desktop's own files give an application known by its bundle identifier: a
// name in the icon theme or an absolute path; absent when they name none.
class AppIconNames {
  public:
    virtual ~AppIconNames() = default;
    virtual std::optional<std::string> iconName(std::string_view bundleID) = 0;
};

}  // namespace tarn::platform
