#pragma once

#include <filesystem>
#include <memory>

#include "platform/desktop.h"

namespace tarn::platform::sim {

// The simulated desktop: the whole desktop is one JSON file (format in README.md beside this
// file). Every operation reads the file afresh and writes it back atomically, so separate
// processes and the test that watches them all see one desktop.
std::unique_ptr<Desktop> openSimDesktop(const std::filesystem::path& file);

}  // namespace tarn::platform::sim
