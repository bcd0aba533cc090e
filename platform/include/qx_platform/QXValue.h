#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include "qx_platform/CStdString.h"
#include "qx_platform/Export.h"

namespace qxp {

// The host's variant value: empty, text, 32-bit integer, 64-bit integer or double. Every name
// and value of a parsed parameter is one of these. A value type; copies are deep and cheap for
// short texts (the text uses the standard small-string storage).
class QXP_API QXValue {
  public:
    enum Type : std::uint8_t { kEmpty, kString, kInt32, kInt64, kDouble };

    QXValue() noexcept : type_(kEmpty), i_(0) {}
    // The flag is the host's "binary text" marker; the script library always passes false.
    QXValue(const std::string& s, bool flag) : type_(kString), i_(0), s_(s) { (void)flag; }
    QXValue(std::string&& s, bool flag) noexcept : type_(kString), i_(0), s_(std::move(s)) {
        (void)flag;
    }
    QXValue(const CStdString& s, bool flag) : type_(kString), i_(0), s_(s) { (void)flag; }
    QXValue(const char* s, bool flag) : type_(kString), i_(0), s_(s ? s : "") { (void)flag; }
    QXValue(int v) noexcept : type_(kInt32), i_(v) {}
    QXValue(long v) noexcept : type_(kInt64), i_(v) {}
    QXValue(double v) noexcept : type_(kDouble), d_(v) {}

    QXValue(const QXValue&) = default;
    QXValue(QXValue&&) noexcept = default;
    QXValue& operator=(const QXValue&) = default;
    QXValue& operator=(QXValue&&) noexcept = default;

    // The host's name for assignment from another value.
    void ReadFrom(const QXValue& other) { *this = other; }

    // Setters that keep the text's storage, for callers that refill values in a loop.
    void SetString(const char* s, std::size_t n) {
        type_ = kString;
        if (n <= s_.size()) {
            // A text no longer than the one it replaces is copied over it and the rest cut off,
            // which the standard string does inline; growing takes its out-of-line assign.
            if (n != 0) std::memmove(&s_[0], s, n);
            s_.erase(n);
        } else {
            s_.assign(s, n);
        }
    }
    void SetInt32(int v) noexcept {
        type_ = kInt32;
        i_ = v;
    }
    void SetInt64(long v) noexcept {
        type_ = kInt64;
        i_ = v;
    }
    void SetDouble(double v) noexcept {
        type_ = kDouble;
        d_ = v;
    }
    void Clear() noexcept {
        type_ = kEmpty;
        i_ = 0;
        s_.clear();
    }

    Type GetType() const noexcept { return type_; }
    bool IsEmpty() const noexcept { return type_ == kEmpty; }
    bool IsNumericTypeEx() const noexcept {
        return type_ == kInt32 || type_ == kInt64 || type_ == kDouble;
    }
    bool IsStringTypeEx() const noexcept { return type_ == kString; }

    // Text of the value: the text itself; integers in decimal; a double in its shortest
    // fixed-point form that reads back to the same value, always with a decimal point so that
    // it stays a fraction when written into a script ("1.5", "12.", "-0.25"); empty for empty.
    std::string As_std_string() const;
    // Room that FormatDouble may take: 309 digits before the point for the largest value.
    static constexpr std::size_t kDoubleTextRoom = 400;
    // Writes the text that As_std_string() gives for a double into out, which has room for
    // kDoubleTextRoom characters; returns its length.
    static std::size_t FormatDouble(double v, char* out) noexcept;
    CStdString As_QXString() const { return CStdString(As_std_string()); }
    operator CStdString() const { return As_QXString(); }

    // Readings as numbers: numbers convert; a text is read as a leading decimal number
    // (strtol/strtod rules), 0 when it has none; empty gives 0.
    // Integers are answered inline: writers read every integer value through these.
    int AsInt() const noexcept { return static_cast<int>(AsLong()); }
    long AsLong() const noexcept { return IsInteger() ? i_ : OtherAsLong(); }
    float AsFloat() const noexcept { return static_cast<float>(AsDouble()); }
    double AsDouble() const noexcept { return type_ == kDouble ? d_ : OtherAsDouble(); }
    // The text of a string value; "" for every other type (no conversion, no allocation).
    const char* AsCString() const noexcept { return type_ == kString ? s_.c_str() : ""; }
    const std::string& StringRef() const noexcept { return s_; }

    // Same type and same content.
    bool operator==(const QXValue& o) const noexcept;
    bool operator!=(const QXValue& o) const noexcept { return !(*this == o); }

  private:
    bool IsInteger() const noexcept { return type_ == kInt32 || type_ == kInt64; }
    long OtherAsLong() const noexcept;
    double OtherAsDouble() const noexcept;

    Type type_;
    union {
        long i_;
        double d_;
    };
    std::string s_;
};

}  // namespace qxp
