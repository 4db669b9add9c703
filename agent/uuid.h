#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarn::agent {

// A 128-bit identifier. Rules are referred to by it from every application's overrides, so
// its text form must read back to the same value.
class Uuid {
  public:
    using Bytes = std::array<std::uint8_t, 16>;

    constexpr Uuid() = default;
    constexpr explicit Uuid(const Bytes& bytes) : bytes_(bytes) {}

    // A version 4 (random) identifier.
    static Uuid random();
    // 8-4-4-4-12 hexadecimal digits, either case; absent for anything else.
    static std::optional<Uuid> parse(std::string_view text);

    // 8-4-4-4-12 upper-case hexadecimal digits.
    std::string text() const;
    const Bytes& bytes() const { return bytes_; }

    friend auto operator<=>(const Uuid&, const Uuid&) = default;
    friend bool operator==(const Uuid&, const Uuid&) = default;

  private:
    Bytes bytes_{};
};

}  // namespace tarn::agent
