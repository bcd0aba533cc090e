#pragma once

#include <cstdint>

// Decimal digits without a division per digit, for the writers of numbers (a script's integers,
// a double's text), which turn millions of numbers into text.
namespace qxp {

// The digits 00 to 99, two at a time. At namespace scope: the table inside std::to_chars is
// rebuilt on the stack at every call with GCC 12.
inline constexpr char kDigitPairs[201] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

// The eight decimal digits of u (below 10^8), one per byte, the most significant in the lowest
// byte: two four-digit halves split in 32-bit lanes, then into pairs, then into digits, each
// step a multiplication by a reciprocal that is exact in this range.
#if defined(__GNUC__)
__attribute__((always_inline))
#endif
inline std::uint64_t
EightDigits(std::uint64_t u) noexcept {
    const std::uint64_t merged = (u / 10000) | ((u % 10000) << 32);
    const std::uint64_t top = ((merged * 10486) >> 20) & 0x0000007F0000007Full;
    const std::uint64_t bottom = merged - 100 * top;
    const std::uint64_t pairs = (bottom << 16) + top;
    std::uint64_t tens = ((pairs * 103) >> 10) & 0x000F000F000F000Full;
    tens += (pairs - 10 * tens) << 8;
    return tens;
}

}  // namespace qxp
