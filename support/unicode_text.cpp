#include "support/unicode_text.h"

#include <algorithm>
#include <cstdint>

#include "support/unicode_tables.h"

namespace tarn::support {
namespace {

using unicode_data::ScalarRange;

struct Scalar {
    std::uint32_t value;
    std::size_t length;  // bytes taken; 1 for a malformed byte
    bool valid;
};

constexpr std::uint32_t kReplacement = 0xFFFD;

bool inRange(unsigned char byte, unsigned char low, unsigned char high) {
    return byte >= low && byte <= high;
}

// Decodes the scalar at text[at]. A malformed sequence takes the bytes up to the first one
// that cannot continue it (its maximal well-formed part), at least one.
Scalar decode(std::string_view text, std::size_t at) {
    auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) return {lead, 1, true};
    std::size_t need = 0;
    std::uint32_t value = 0;
    unsigned char low = 0x80, high = 0xBF;  // range of the second byte
    if (inRange(lead, 0xC2, 0xDF)) {
        need = 1, value = lead & 0x1F;
    } else if (inRange(lead, 0xE0, 0xEF)) {
        need = 2, value = lead & 0x0F;
        if (lead == 0xE0) low = 0xA0;
        if (lead == 0xED) high = 0x9F;  // no surrogates
    } else if (inRange(lead, 0xF0, 0xF4)) {
        need = 3, value = lead & 0x07;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;
    } else {
        return {kReplacement, 1, false};
    }
    std::size_t taken = 1;
    for (; taken <= need; ++taken) {
        if (at + taken >= text.size()) return {kReplacement, taken, false};
        auto next = static_cast<unsigned char>(text[at + taken]);
        if (!inRange(next, taken == 1 ? low : 0x80, taken == 1 ? high : 0xBF)) {
            return {kReplacement, taken, false};
        }
        value = (value << 6) | (next & 0x3F);
    }
    return {value, taken, true};
}

void encode(std::uint32_t value, std::string& out) {
    if (value < 0x80) {
        out += static_cast<char>(value);
    } else if (value < 0x800) {
        out += static_cast<char>(0xC0 | (value >> 6));
        out += static_cast<char>(0x80 | (value & 0x3F));
    } else if (value < 0x10000) {
        out += static_cast<char>(0xE0 | (value >> 12));
        out += static_cast<char>(0x80 | ((value >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (value & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (value >> 18));
        out += static_cast<char>(0x80 | ((value >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((value >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (value & 0x3F));
    }
}

bool inTable(std::uint32_t value, const ScalarRange* table, std::size_t count) {
    const ScalarRange* end = table + count;
    const ScalarRange* it = std::upper_bound(
        table, end, value, [](std::uint32_t v, const ScalarRange& r) { return v < r.first; });
    return it != table && value <= (it - 1)->last;
}

bool isExtend(const Scalar& scalar) {
    return scalar.valid && scalar.value >= 0x300 &&
           inTable(scalar.value, unicode_data::kExtend, unicode_data::kExtendCount);
}

bool isPrepend(const Scalar& scalar) {
    return scalar.valid && scalar.value >= 0x600 &&
           inTable(scalar.value, unicode_data::kPrepend, unicode_data::kPrependCount);
}

// Control characters end a character and join nothing (C0, DEL, C1).
bool isControl(const Scalar& scalar) {
    return scalar.valid && (scalar.value < 0x20 || (scalar.value >= 0x7F && scalar.value < 0xA0));
}

std::uint32_t lowerScalar(std::uint32_t value) {
    using unicode_data::kLowercase;
    const auto* end = kLowercase + unicode_data::kLowercaseCount;
    const auto* it = std::upper_bound(
        kLowercase, end, value,
        [](std::uint32_t v, const unicode_data::LowercaseRange& r) { return v < r.first; });
    if (it == kLowercase) return value;
    const auto& range = *(it - 1);
    if (value > range.last || (value - range.first) % range.stride != 0) return value;
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(value) + range.delta);
}

}  // namespace

std::size_t detail::characterEndBeyondAscii(std::string_view text, std::size_t start) {
    const std::size_t size = text.size();
    if (text[start] == '\r' && start + 1 < size && text[start + 1] == '\n') return start + 2;
    Scalar scalar = decode(text, start);
    std::size_t end = start + scalar.length;
    if (!scalar.valid || isControl(scalar)) return end;
    while (isPrepend(scalar) && end < size) {
        Scalar next = decode(text, end);
        if (!next.valid || isControl(next)) return end;
        end += next.length;
        scalar = next;
    }
    while (end < size) {
        Scalar next = decode(text, end);
        if (!isExtend(next)) break;
        end += next.length;
    }
    return end;
}

std::string toLowerCase(std::string_view text) {
    std::string lower;
    lower.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        auto byte = static_cast<unsigned char>(text[at]);
        if (byte < 0x80) {
            lower += static_cast<char>(byte >= 'A' && byte <= 'Z' ? byte + ('a' - 'A') : byte);
            ++at;
            continue;
        }
        Scalar scalar = decode(text, at);
        if (!scalar.valid) {
            lower.append(text.substr(at, scalar.length));
        } else if (scalar.value == 0x130) {
            lower += "i\u0307";  // capital I with dot above lowers to two scalars
        } else {
            encode(lowerScalar(scalar.value), lower);
        }
        at += scalar.length;
    }
    return lower;
}

bool isValidUtf8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        if (static_cast<unsigned char>(text[at]) < 0x80) {
            ++at;
            continue;
        }
        Scalar scalar = decode(text, at);
        if (!scalar.valid) return false;
        at += scalar.length;
    }
    return true;
}

std::string repairUtf8(std::string_view text) {
    std::string repaired;
    repaired.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        Scalar scalar = decode(text, at);
        if (scalar.valid) {
            repaired.append(text.substr(at, scalar.length));
        } else {
            encode(kReplacement, repaired);
        }
        at += scalar.length;
    }
    return repaired;
}

std::string latin1ToUtf8(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    for (char c : bytes) {
        auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            text += c;
        } else {
            text += static_cast<char>(0xC0 | (byte >> 6));
            text += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return text;
}

}  // namespace tarn::support
