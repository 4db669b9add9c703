#include "support/number_text.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string>

namespace tarn::support {
namespace {

// 2^53: above it not every integer is a double, and the shortest form switches to exponents.
constexpr double kExponentAbove = 9007199254740992.0;
constexpr double kExponentBelow = 1e-4;

std::string shortest(double value, std::chars_format format) {
    char buffer[64];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, value, format);
    return std::string(buffer, result.ptr);
}

// "1e-05" / "1.5e+20": at least two exponent digits, always a sign.
std::string scientific(double value) {
    std::string text = shortest(value, std::chars_format::scientific);
    auto e = text.find('e');
    if (e == std::string::npos) return text;
    std::string mantissa = text.substr(0, e);
    std::string exponent = text.substr(e + 1);
    char sign = '+';
    if (!exponent.empty() && (exponent[0] == '+' || exponent[0] == '-')) {
        sign = exponent[0];
        exponent.erase(0, 1);
    }
    if (exponent.size() < 2) exponent.insert(0, 2 - exponent.size(), '0');
    return mantissa + "e" + sign + exponent;
}

}  // namespace

std::string doubleText(double value) {
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
    double magnitude = std::fabs(value);
    if (value != 0 && (magnitude < kExponentBelow || magnitude >= kExponentAbove)) {
        return scientific(value);
    }
    std::string text = shortest(value, std::chars_format::fixed);
    if (text.find('.') == std::string::npos) text += ".0";
    return text;
}

std::string jsonDoubleText(double value) {
    std::string text = doubleText(value);
    if (text.size() > 2 && text.compare(text.size() - 2, 2, ".0") == 0)
        text.resize(text.size() - 2);
    return text;
}

std::optional<std::int64_t> parseInt64(std::string_view text) {
    if (text.empty()) return std::nullopt;
    bool negative = false;
    if (text[0] == '+' || text[0] == '-') {
        negative = text[0] == '-';
        text.remove_prefix(1);
    }
    if (text.empty()) return std::nullopt;
    for (char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
    }
    // Accumulate towards the negative side, which has room for INT64_MIN.
    std::int64_t value = 0;
    constexpr std::int64_t kMin = INT64_MIN;
    for (char c : text) {
        int digit = c - '0';
        if (value < kMin / 10 || (value == kMin / 10 && -digit < kMin % 10)) return std::nullopt;
        value = value * 10 - digit;
    }
    if (negative) return value;
    if (value == kMin) return std::nullopt;
    return -value;
}

std::optional<double> parseDouble(std::string_view text) {
    if (text.empty()) return std::nullopt;
    unsigned char first = static_cast<unsigned char>(text.front());
    if (std::isspace(first)) return std::nullopt;
    std::string copy(text);
    if (copy.find('\0') != std::string::npos) return std::nullopt;
    char* end = nullptr;
    double value = std::strtod(copy.c_str(), &end);
    if (end != copy.c_str() + copy.size()) return std::nullopt;
    return value;
}

std::optional<std::int64_t> exactInt64(double value) {
    if (!(value >= -0x1p63 && value < 0x1p63) || std::trunc(value) != value) return std::nullopt;
    return static_cast<std::int64_t>(value);
}

}  // namespace tarn::support
