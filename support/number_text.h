#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarn::support {

// Shortest text that reads back as the same double, always with a fraction or an exponent:
// 1440 -> "1440.0", 0.5 -> "0.5", 1e-05 -> "1e-05", 1e+16 -> "1e+16", inf -> "inf".
// This is how diagnostics and settings print doubles.
std::string doubleText(double value);

// The JSON number text for a double: like doubleText, but whole values carry no ".0"
// (3.0 -> "3"). Not defined for infinities and NaN, which JSON cannot hold.
std::string jsonDoubleText(double value);

// Decimal integer: optional "+" or "-", then one or more digits, nothing else, within the
// signed 64-bit range.
std::optional<std::int64_t> parseInt64(std::string_view text);

// C-string-to-double rules on the whole text ("1.5", "1e3", ".5", "inf", "0x1p3"); no
// leading or trailing white space; absent when any of the text is left over.
std::optional<double> parseDouble(std::string_view text);

// The integer a double stands for when it is whole and a signed 64-bit integer holds it:
// -2^63 <= value < 2^63, both bounds exact as doubles. Absent for fractions, infinities,
// NaN and whole values beyond that range.
std::optional<std::int64_t> exactInt64(double value);

}  // namespace tarn::support
