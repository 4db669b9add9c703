#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tarn::support {

// The whole file; absent when it does not exist or cannot be read.
std::optional<std::string> readFile(const std::filesystem::path& path);

// Writes the bytes aside in the same directory, flushes them to disk and renames them over
// the target, so readers see the old file or the new one, never a part. Returns the reason
// when it fails; the target is then untouched and no temporary file is left behind.
std::optional<std::string> writeFileAtomically(const std::filesystem::path& path,
                                               const std::string& bytes);

// Copies the file to "<name>.bak-<UTC timestamp>" beside it, before it is replaced by a
// writer that could not read it whole. Returns the copy's path, or absent on failure.
std::optional<std::filesystem::path> backupFile(const std::filesystem::path& path);

}  // namespace tarn::support
