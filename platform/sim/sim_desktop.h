#pragma once

#include <filesystem>
#include <memory>

#include "platform/desktop.h"

namespace tarn::platform::sim {

// The simulated desktop: the whole desktop is one JSON file (format in README.md beside this
// file), which separate processes and the test that watches them share. An operation
// (Desktop::beginOperation to endOperation: a command, an action of the agent) reads it once
// under its lock and writes it back once, atomically; a call outside one reads the file as it
// is, or makes its change as a locked read-change-write of its own.
std::unique_ptr<Desktop> openSimDesktop(const std::filesystem::path& file);

}  // namespace tarn::platform::sim
