#include "core/commands/version.h"

namespace tarn::commands {

std::string TarnVersion::versionString() {
    return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch) + "." +
           std::to_string(build);
}

std::string TarnVersion::fullVersionString() {
    return "tarn v" + versionString() + " (built " + buildDate + ")";
}

}  // namespace tarn::commands
