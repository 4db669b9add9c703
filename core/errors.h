#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace tarn {

// The command errors a handler throws; printed as their case names.
enum class HelperError { invalidCommand, insufficientArguments };

std::string_view helperErrorName(HelperError error);

// What the keys and browser-tab handlers throw. what() is the error's printed form, which
// the dispatcher writes as "Error: <printed form>" before ending with status 4.
class CommandFailure : public std::runtime_error {
  public:
    explicit CommandFailure(HelperError error);
    explicit CommandFailure(const std::string& printedForm) : std::runtime_error(printedForm) {}
};

}  // namespace tarn
