#pragma once

#include <cstdint>
#include <string>

namespace tarn::commands::TarnVersion {

inline constexpr std::int64_t major = 0;
inline constexpr std::int64_t minor = 1;
inline constexpr std::int64_t patch = 1;
inline constexpr std::int64_t build = 106;
inline constexpr const char* buildDate = "2026-01-26";

// "0.1.1.106"
std::string versionString();
// "tarn v0.1.1.106 (built 2026-01-26)"
std::string fullVersionString();

}  // namespace tarn::commands::TarnVersion
