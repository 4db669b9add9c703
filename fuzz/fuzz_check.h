#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace tarn::fuzz {

// A broken invariant is a finding: abort, so that libFuzzer keeps the input.
inline void check(bool condition) {
    if (!condition) std::abort();
}

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

}  // namespace tarn::fuzz
