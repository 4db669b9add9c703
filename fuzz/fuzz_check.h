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

}  // namespace tarn::fuzz

// The libFuzzer entry point around a body that reads the input as `text`.
#define TARN_FUZZ_TARGET(text)                                                          \
    static void fuzzOne(std::string_view text);                                         \
    extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) { \
        fuzzOne({reinterpret_cast<const char*>(data), size});                           \
        return 0;                                                                       \
    }                                                                                   \
    static void fuzzOne(std::string_view text)
