#pragma once

// How number and string tokens are read. Both scanners use these, so that their values agree
// to the bit, saturation and wrapping included.

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace NSQX_script {
namespace parser {

// Up to this many digits a decimal cannot saturate the 64-bit range.
constexpr std::ptrdiff_t kShortDecimalDigits = 18;

// The value of a decimal of at most kShortDecimalDigits digits, given as its magnitude and
// sign: narrowed to 32 bits by wrapping.
inline std::int64_t NarrowDecimal(std::uint64_t magnitude, bool negative) {
    return static_cast<std::int32_t>(
        static_cast<std::uint32_t>(negative ? 0 - magnitude : magnitude));
}

// Base 10, saturating at the 64-bit range like strtol, then narrowed to 32 bits (wrapping).
// The text is -?[0-9]+ and the byte after it is no digit.
inline std::int64_t DecimalValue(const char* text, std::size_t length) {
    const bool negative = text[0] == '-';
    const std::size_t digits = length - (negative ? 1 : 0);
    if (digits <= static_cast<std::size_t>(kShortDecimalDigits)) {
        std::uint64_t v = 0;
        for (const char* p = text + (negative ? 1 : 0); p != text + length; ++p)
            v = v * 10 + static_cast<unsigned>(*p - '0');
        return NarrowDecimal(v, negative);
    }
    const std::int64_t value = std::strtoll(text, nullptr, 10);  // stops at the first non-digit
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

// As "%x" reads an unsigned 32-bit value: the number saturated at 64 bits, then its low half.
// The text is 0x followed by hexadecimal digits.
inline std::int64_t HexValue(const char* text, std::size_t length) {
    std::uint64_t v = 0;
    for (const char* p = text + 2; p != text + length; ++p) {
        const char c = *p;
        const unsigned digit = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
        if (v >> 60) {
            v = UINT64_MAX;
            break;
        }
        v = v << 4 | digit;
    }
    return static_cast<std::uint32_t>(v);
}

// Fractions of up to this many digits are converted by ExactFraction.
constexpr std::size_t kExactDigits = 15;

// A fraction given as all its digits read as one integer and the count of those after the
// point. Up to kExactDigits digits the integer and the power of ten are both exact doubles, so
// one division rounds exactly as the full conversion does.
inline double ExactFraction(std::uint64_t digits, std::size_t scale, bool negative) {
    static constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                         1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    const double magnitude = static_cast<double>(digits) / kPowers[scale];
    // The sign bit set without a branch, which the signs of a value list would mispredict.
    std::uint64_t bits;
    std::memcpy(&bits, &magnitude, sizeof bits);
    bits |= static_cast<std::uint64_t>(negative) << 63;
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// The fraction -?[0-9]+\.[0-9]* when it is in the range of a double; false otherwise.
inline bool ExactRealValue(const char* text, std::size_t length, double& value) {
    const bool negative = text[0] == '-';
    if (length - (negative ? 1 : 0) <= kExactDigits + 1) {
        std::uint64_t digits = 0;
        std::size_t scale = 0;
        bool point = false;
        for (const char* p = text + (negative ? 1 : 0); p != text + length; ++p) {
            if (*p == '.') {
                point = true;
                continue;
            }
            digits = digits * 10 + static_cast<unsigned>(*p - '0');
            scale += point ? 1 : 0;
        }
        value = ExactFraction(digits, scale, negative);
        return true;
    }
    const auto r = std::from_chars(text, text + length, value);
    return r.ec == std::errc() && r.ptr == text + length;
}

// As ExactRealValue, with strtod's HUGE_VAL or 0 out of range; text must end in a NUL there.
inline double RealValue(const char* text, std::size_t length) {
    double value = 0;
    if (!ExactRealValue(text, length, value)) value = std::strtod(text, nullptr);
    return value;
}

// The end of a double-quoted string whose text starts at p, or null when it does not close.
// A backslash takes the next character with it, whatever it is; the end of input (NUL) is no
// character.
inline const char* QuoteEnd(const char* p) {
    for (;;) {
        while (*p != '"' && *p != '\\' && *p != '\0') ++p;  // strings are short: no strcspn
        if (*p == '"') return p;
        if (*p == '\0' || p[1] == '\0') return nullptr;
        p += 2;
    }
}

}  // namespace parser
}  // namespace NSQX_script
