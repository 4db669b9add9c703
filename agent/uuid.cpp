#include "agent/uuid.h"

#include <random>

namespace tarn::agent {
namespace {

constexpr std::array<std::size_t, 4> kDashPositions{8, 13, 18, 23};
constexpr std::size_t kTextLength = 36;

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool isDashPosition(std::size_t index) {
    for (std::size_t position : kDashPositions) {
        if (index == position) return true;
    }
    return false;
}

}  // namespace

Uuid Uuid::random() {
    // One engine per thread, seeded from the system's entropy source.
    thread_local std::mt19937_64 engine{[] {
        std::random_device device;
        std::seed_seq seed{device(), device(), device(), device()};
        return std::mt19937_64(seed);
    }()};
    Bytes bytes;
    for (std::size_t i = 0; i < bytes.size(); i += 8) {
        std::uint64_t word = engine();
        for (std::size_t j = 0; j < 8; ++j)
            bytes[i + j] = static_cast<std::uint8_t>(word >> (8 * j));
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0f) | 0x40);  // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3f) | 0x80);  // RFC 4122 variant
    return Uuid(bytes);
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
    if (text.size() != kTextLength) return std::nullopt;
    Bytes bytes;
    std::size_t nibble = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isDashPosition(i)) {
            if (text[i] != '-') return std::nullopt;
            continue;
        }
        int value = hexValue(text[i]);
        if (value < 0) return std::nullopt;
        std::uint8_t& byte = bytes[nibble / 2];
        byte = nibble % 2 == 0 ? static_cast<std::uint8_t>(value << 4)
                               : static_cast<std::uint8_t>(byte | value);
        ++nibble;
    }
    return Uuid(bytes);
}

std::string Uuid::text() const {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(kTextLength);
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += kDigits[bytes_[i] >> 4];
        text += kDigits[bytes_[i] & 0x0f];
    }
    return text;
}

}  // namespace tarn::agent
