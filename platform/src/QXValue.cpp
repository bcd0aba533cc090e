#include "qx_platform/QXValue.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace qxp {
namespace {

constexpr char kPairs[201] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

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
            std::memcpy(d, kPairs + (u % 100) * 2, 2);
        }
        if (u >= 10) {
            d -= 2;
            std::memcpy(d, kPairs + u * 2, 2);
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

}  // namespace

std::size_t QXValue::FormatDouble(double v, char* out) noexcept {
    // A value read from a script has few digits: most take the short form.
    const std::size_t n = FormatShortFixed(v, out);
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

char* QXValue::Grow(std::size_t n) {
    if (n >= kMaxText) throw std::length_error("text too long for a value");
    // Doubling spares a value refilled with ever longer texts an allocation for each.
    const std::size_t cap =
        std::max<std::size_t>(n + 1, std::min<std::size_t>(2 * std::size_t{cap_}, kMaxText + 1));
    heap_.reset(new char[cap]);
    cap_ = static_cast<std::uint32_t>(cap);
    return heap_.get();
}

std::string QXValue::As_std_string() const {
    char buf[kDoubleTextRoom];
    switch (type_) {
        case kString:
            return std::string(Text(), size_);
        case kInt32:
        case kInt64: {
            const auto r = std::to_chars(buf, buf + sizeof buf, Get<long>());
            return std::string(buf, r.ptr);
        }
        case kDouble:
            return std::string(buf, FormatDouble(Get<double>(), buf));
        case kEmpty:
            break;
    }
    return std::string();
}

long QXValue::OtherAsLong() const noexcept {
    switch (type_) {
        case kInt32:
        case kInt64:
            return Get<long>();
        case kDouble:
            return static_cast<long>(Get<double>());
        case kString:
            return std::strtol(Text(), nullptr, 10);
        case kEmpty:
            break;
    }
    return 0;
}

double QXValue::OtherAsDouble() const noexcept {
    switch (type_) {
        case kInt32:
        case kInt64:
            return static_cast<double>(Get<long>());
        case kDouble:
            return Get<double>();
        case kString:
            return std::strtod(Text(), nullptr);
        case kEmpty:
            break;
    }
    return 0.0;
}

bool QXValue::operator==(const QXValue& o) const noexcept {
    if (type_ != o.type_) return false;
    switch (type_) {
        case kString:
            return StringRef() == o.StringRef();
        case kInt32:
        case kInt64:
            return Get<long>() == o.Get<long>();
        case kDouble:
            // Bitwise, so that a value equals its own copy whatever it holds.
            return std::memcmp(box_, o.box_, sizeof(double)) == 0;
        case kEmpty:
            break;
    }
    return true;
}

}  // namespace qxp
