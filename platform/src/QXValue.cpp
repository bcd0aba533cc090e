#include "qx_platform/QXValue.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace qxp {

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
