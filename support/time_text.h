#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace tarn::support {

using Date = std::chrono::sys_seconds;

// ISO 8601 in UTC with a "Z" zone: "2026-01-26T09:30:00Z".
std::string iso8601Text(Date date);
std::optional<Date> parseIso8601(std::string_view text);

// The current UTC time for file names: "20260126T093000Z".
std::string fileNameTimestamp();

}  // namespace tarn::support
