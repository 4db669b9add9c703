#include "core/errors.h"

namespace tarn {

std::string_view helperErrorName(HelperError error) {
    switch (error) {
        case HelperError::invalidCommand:
            return "invalidCommand";
        case HelperError::insufficientArguments:
            return "insufficientArguments";
    }
    return "invalidCommand";
}

CommandFailure::CommandFailure(HelperError error)
    : std::runtime_error(std::string(helperErrorName(error))) {}

}  // namespace tarn
