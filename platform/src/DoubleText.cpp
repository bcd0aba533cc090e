#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>

#include "qx_platform/DecimalDigits.h"
#include "qx_platform/QXValue.h"

namespace qxp {
namespace {

constexpr double kPowersOfTen[] = {1e0, 1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,
                                   1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17};

// Below this, a value times a power of ten is close enough to an integer to tell by one
// rounding whether it is one: a double's rounding interval there spans under 2^-8 and the
// product's own error under 2^-9, so a candidate lies within 2^-7 of it or is none.
constexpr double kFastLimit = 0x1p44;
constexpr double kCandidateSlack = 0x1p-7;

// The shortest fixed form with k digits after the point, for a value below kFastLimit: the
// smallest k for which some integer m gives m / 10^k == |v|. Both operands are exact doubles,
// so the quotient is the correctly rounded value of m / 10^k, as reading the text gives; and
// there is at most one such m for each k, so it is the text the general formatter picks.
// Returns 0 when the value is out of that range, for the general formatter.
std::size_t FormatShortFixed(double v, char* out) noexcept {
    const double a = v < 0 ? -v : v;
    if (!(a < kFastLimit) || a == 0) return 0;  // not a number, infinite, large or zero
    for (std::size_t k = 0; k < sizeof kPowersOfTen / sizeof kPowersOfTen[0]; ++k) {
        const double x = a * kPowersOfTen[k];
        if (!(x < kFastLimit)) return 0;
        // Signed: the conversions both ways are then one instruction each.
        const auto m = static_cast<std::int64_t>(x + 0.5);
        const double r = static_cast<double>(m);
        if (x - r > kCandidateSlack || r - x > kCandidateSlack) continue;
        if (r / kPowersOfTen[k] != a) continue;

        // The digits two at a time, right-aligned; then copied in fixed 24-byte blocks (out
        // has the room), which take no call.
        char digits[48];
        char* const e = digits + 24;
        char* d = e;
        auto u = static_cast<std::uint64_t>(m);
        for (; u >= 100; u /= 100) {
            d -= 2;
            std::memcpy(d, kDigitPairs + (u % 100) * 2, 2);
        }
        if (u >= 10) {
            d -= 2;
            std::memcpy(d, kDigitPairs + u * 2, 2);
        } else {
            *--d = static_cast<char>('0' + u);
        }
        // At least one digit before the point: 0.25 has m = 25, k = 2.
        while (static_cast<std::size_t>(e - d) <= k) *--d = '0';
        char* p = out;
        if (v < 0) *p++ = '-';
        const std::size_t whole = static_cast<std::size_t>(e - d) - k;
        std::memcpy(p, d, 24);
        p += whole;
        *p++ = '.';
        std::memcpy(p, d + whole, 24);
        return static_cast<std::size_t>(p + k - out);
    }
    return 0;
}

// For a binary exponent e, the largest k <= 17 with 10^k <= 2^(43 - e): a value in
// [2^e, 2^(e+1)) times 10^k is then below kFastLimit. Every exponent below the table takes 17.
constexpr int kLowestScaledExponent = -14;  // 2^(43 + 14) > 10^17
struct DecimalScales {
    std::uint8_t k[44 - kLowestScaledExponent];
};
constexpr DecimalScales MakeDecimalScales() {
    DecimalScales t{};
    for (int e = kLowestScaledExponent; e < 44; ++e) {
        const std::uint64_t limit = std::uint64_t{1} << (43 - e);
        std::uint8_t k = 0;
        for (std::uint64_t p = 10; k < 17 && p <= limit; p *= 10) ++k;
        t.k[e - kLowestScaledExponent] = k;
    }
    return t;
}
constexpr DecimalScales kDecimalScales = MakeDecimalScales();

// FormatShortFixed without its search, for the values it finds at once: scaled by the largest
// power of ten K that keeps it below kFastLimit, a value with a short form m / 10^k (k <= K) is
// within 2^-8 of the integer M = m * 10^(K-k), so rounding gives M, and its trailing decimal
// zeros give k. If M / 10^K reads back as the value, the k so found is valid (the same
// rational as m / 10^k), and no smaller one is (it would give M more trailing zeros): the text
// is the search's. Otherwise returns 0, and the search decides.
std::size_t FormatScaledFixed(double v, char* out) noexcept {
#if !(defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__)
    return 0;  // the digit words are laid out for a little-endian store
#endif
    const double a = v < 0 ? -v : v;
    if (!(a < kFastLimit) || a == 0) return 0;
    std::uint64_t bits;
    std::memcpy(&bits, &a, sizeof a);
    const int e = static_cast<int>(bits >> 52) - 1023;
    const int scale = e < kLowestScaledExponent ? 17 : kDecimalScales.k[e - kLowestScaledExponent];
    const double x = a * kPowersOfTen[scale];
    if (!(x < kFastLimit)) return 0;
    const auto m = static_cast<std::int64_t>(x + 0.5);
    if (static_cast<double>(m) / kPowersOfTen[scale] != a) return 0;

    // M has at most 14 digits; it stands right-aligned in 24, so that even 17 places after
    // the point have their leading zeros.
    const auto u = static_cast<std::uint64_t>(m);
    const std::uint64_t high = EightDigits(u / 100000000);
    const std::uint64_t low = EightDigits(u % 100000000);
    char digits[48] = {};
    std::memcpy(digits, "00000000", 8);
    const std::uint64_t highText = high + 0x3030303030303030ull;
    const std::uint64_t lowText = low + 0x3030303030303030ull;
    std::memcpy(digits + 8, &highText, 8);
    std::memcpy(digits + 16, &lowText, 8);
    // In each word the most significant digit is the lowest byte: leading zeros are its low
    // zero bytes, trailing zeros its high ones. M is not 0, so one of the words is not.
    const int used = high != 0 ? 16 - __builtin_ctzll(high) / 8 : 8 - __builtin_ctzll(low) / 8;
    const int trailing = low != 0 ? __builtin_clzll(low) / 8 : 8 + __builtin_clzll(high) / 8;
    const int places = scale - std::min(trailing, scale);
    // At least one digit before the point: 0.25 is "0.25".
    const int first = std::min(24 - used, 23 - scale);
    const int point = 24 - scale;

    char* p = out;
    *p = '-';
    p += v < 0;
    // Fixed 24-byte copies (out has the room) take no call; only the counted bytes stay.
    std::memcpy(p, digits + first, 24);
    p += point - first;
    *p++ = '.';
    std::memcpy(p, digits + point, 24);
    return static_cast<std::size_t>(p + places - out);
}

}  // namespace

std::size_t QXValue::FormatDouble(double v, char* out) noexcept {
    // A value read from a script has few digits: most take the short form, found at once or
    // by the search.
    std::size_t n = FormatScaledFixed(v, out);
    if (n == 0) n = FormatShortFixed(v, out);
    if (n != 0) return n;
    // Shortest fixed form that reads back exactly; a decimal point keeps it a fraction.
    const auto r = std::to_chars(out, out + kDoubleTextRoom - 1, v, std::chars_format::fixed);
    std::size_t len = r.ec == std::errc() ? static_cast<std::size_t>(r.ptr - out) : 0;
    if (std::find_if(out, out + len, [](char c) { return c == '.' || c == 'n' || c == 'i'; }) ==
        out + len) {
        out[len++] = '.';
    }
    return len;
}

}  // namespace qxp
