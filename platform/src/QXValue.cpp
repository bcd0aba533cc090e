#include "qx_platform/QXValue.h"

#include <charconv>
#include <cstdlib>
#include <cstring>

namespace qxp {

std::string QXValue::As_std_string() const {
    char buf[kDoubleTextRoom];
    switch (type_) {
        case kString:
            return s_;
        case kInt32:
        case kInt64: {
            const auto r = std::to_chars(buf, buf + sizeof buf, i_);
            return std::string(buf, r.ptr);
        }
        case kDouble:
            return std::string(buf, FormatDouble(d_, buf));
        case kEmpty:
            break;
    }
    return std::string();
}

long QXValue::OtherAsLong() const noexcept {
    switch (type_) {
        case kInt32:
        case kInt64:
            return i_;
        case kDouble:
            return static_cast<long>(d_);
        case kString:
            return std::strtol(s_.c_str(), nullptr, 10);
        case kEmpty:
            break;
    }
    return 0;
}

double QXValue::OtherAsDouble() const noexcept {
    switch (type_) {
        case kInt32:
        case kInt64:
            return static_cast<double>(i_);
        case kDouble:
            return d_;
        case kString:
            return std::strtod(s_.c_str(), nullptr);
        case kEmpty:
            break;
    }
    return 0.0;
}

bool QXValue::operator==(const QXValue& o) const noexcept {
    if (type_ != o.type_) return false;
    switch (type_) {
        case kString:
            return s_ == o.s_;
        case kInt32:
        case kInt64:
            return i_ == o.i_;
        case kDouble:
            // Bitwise, so that a value equals its own copy whatever it holds.
            return std::memcmp(&d_, &o.d_, sizeof d_) == 0;
        case kEmpty:
            break;
    }
    return true;
}

}  // namespace qxp
