#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "qx_platform/CStdString.h"
#include "qx_platform/Export.h"

namespace qxp {

// The host's variant value: empty, text, 32-bit integer, 64-bit integer or double. Every name
// and value of a parsed parameter is one of these. A value type that owns its text: up to
// kInlineText bytes inside the value, longer ones in a heap buffer that the value keeps, with
// its capacity, whatever it holds next, so that a value refilled in a loop copies a text
// without allocating. Texts are NUL-terminated and shorter than kMaxText bytes (longer ones
// throw std::length_error, as a standard string beyond its max_size()). Not synchronised: a
// value is read by many threads or written by one.
class QXP_API QXValue {
  public:
    enum Type : std::uint8_t { kEmpty, kString, kInt32, kInt64, kDouble };
    static constexpr std::size_t kInlineText = 14;
    // Bytes that may be read from the start of a text value's text whatever its length (the
    // inline text is followed by the type inside the value; a heap buffer is never smaller), for
    // block copies; those past the text are not its own.
    static constexpr std::size_t kTextBlock = 16;
    static constexpr std::size_t kMaxText = 0xFFFFFFFEu;

    QXValue() noexcept = default;
    // The flag is the host's "binary text" marker; the script library always passes false.
    QXValue(const std::string& s, bool flag) {
        SetString(s.data(), s.size());
        (void)flag;
    }
    QXValue(const CStdString& s, bool flag) {
        SetString(s.data(), s.size());
        (void)flag;
    }
    QXValue(const char* s, bool flag) {
        SetString(s ? s : "", s ? std::strlen(s) : 0);
        (void)flag;
    }
    QXValue(int v) noexcept : type_(kInt32) { Put(static_cast<long>(v)); }
    QXValue(long v) noexcept : type_(kInt64) { Put(v); }
    QXValue(double v) noexcept : type_(kDouble) { Put(v); }

    QXValue(const QXValue& o) { CopyFrom(o); }
    QXValue(QXValue&& o) noexcept { TakeFrom(o); }
    QXValue& operator=(const QXValue& o) {
        if (this != &o) CopyFrom(o);
        return *this;
    }
    QXValue& operator=(QXValue&& o) noexcept {
        if (this != &o) TakeFrom(o);
        return *this;
    }
    ~QXValue() = default;

    // Exchanges the two values, heap buffers included.
    void swap(QXValue& o) noexcept {
        heap_.swap(o.heap_);
        std::swap(size_, o.size_);
        std::swap(cap_, o.cap_);
        char box[sizeof box_];
        std::memcpy(box, box_, sizeof box);
        std::memcpy(box_, o.box_, sizeof box);
        std::memcpy(o.box_, box, sizeof box);
        std::swap(type_, o.type_);
    }

    // Exchanges the heap buffers of the two values, capacities included, and empties both: for a
    // caller about to refill this value with a text that the other's buffer holds.
    void ExchangeBuffers(QXValue& o) noexcept {
        heap_.swap(o.heap_);
        std::swap(cap_, o.cap_);
        size_ = o.size_ = 0;
        type_ = o.type_ = kEmpty;
    }
    // The host's name for assignment from another value.
    void ReadFrom(const QXValue& other) { *this = other; }

    // Setters that keep the text's storage, for callers that refill values in a loop.
    void SetString(const char* s, std::size_t n) {
        char* const d = n <= kInlineText ? box_ : n < cap_ ? heap_.get() : Grow(n);
        // s may be this value's own text: its inline bytes overlap, its heap text is never
        // longer than the buffer, which Grow alone replaces.
        std::memmove(d, s, n);
        d[n] = '\0';
        size_ = static_cast<std::uint32_t>(n);
        type_ = kString;
    }
    // As SetString for a text of n <= kInlineText bytes given at the start of a block of
    // kInlineText + 1 bytes, copied whole: a fixed-size copy instead of one sized at run time.
    void SetInlineString(const char (&block)[kInlineText + 1], std::size_t n) noexcept {
        std::memcpy(box_, block, sizeof box_);
        box_[n] = '\0';
        size_ = static_cast<std::uint32_t>(n);
        type_ = kString;
    }
    void SetInt32(int v) noexcept {
        type_ = kInt32;
        Put(static_cast<long>(v));
    }
    void SetInt64(long v) noexcept {
        type_ = kInt64;
        Put(v);
    }
    void SetDouble(double v) noexcept {
        type_ = kDouble;
        Put(v);
    }
    // Empties the value; its heap buffer stays for the next text.
    void Clear() noexcept { type_ = kEmpty; }
    // The longest text the value takes without allocating.
    std::size_t TextCapacity() const noexcept { return cap_ != 0 ? cap_ - 1 : kInlineText; }
    // Whether the value keeps a heap buffer (TextCapacity() beyond kInlineText).
    bool HasTextBuffer() const noexcept { return cap_ != 0; }

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
    long AsLong() const noexcept { return IsInteger() ? Get<long>() : OtherAsLong(); }
    float AsFloat() const noexcept { return static_cast<float>(AsDouble()); }
    double AsDouble() const noexcept { return type_ == kDouble ? Get<double>() : OtherAsDouble(); }
    // The text of a string value; "" for every other type (no conversion, no allocation).
    const char* AsCString() const noexcept { return type_ == kString ? Text() : ""; }
    // The same text with its length; empty for every other type.
    std::string_view StringRef() const noexcept {
        return type_ == kString ? std::string_view(Text(), size_) : std::string_view();
    }

    // Same type and same content.
    bool operator==(const QXValue& o) const noexcept;
    bool operator!=(const QXValue& o) const noexcept { return !(*this == o); }

  private:
    bool IsInteger() const noexcept { return type_ == kInt32 || type_ == kInt64; }
    long OtherAsLong() const noexcept;
    double OtherAsDouble() const noexcept;
    const char* Text() const noexcept { return size_ <= kInlineText ? box_ : heap_.get(); }
    // A heap buffer for a text of n bytes, kInlineText < n, replacing the current one.
    char* Grow(std::size_t n);
    void CopyFrom(const QXValue& o) {
        if (o.type_ == kString) return SetString(o.Text(), o.size_);
        std::memcpy(box_, o.box_, sizeof box_);
        type_ = o.type_;
    }
    // Takes the heap buffer too; o is left empty, without one.
    void TakeFrom(QXValue& o) noexcept {
        heap_ = std::move(o.heap_);
        size_ = o.size_;
        cap_ = o.cap_;
        std::memcpy(box_, o.box_, sizeof box_);
        type_ = o.type_;
        o.size_ = 0;
        o.cap_ = 0;
        o.type_ = kEmpty;
    }
    // A number lives in the first bytes of box_; copied through memcpy, which is one load or
    // store and reads no inactive union member.
    template <class T>
    void Put(T v) noexcept {
        static_assert(sizeof(T) <= sizeof box_, "a number fits the inline box");
        std::memcpy(box_, &v, sizeof v);
    }
    template <class T>
    T Get() const noexcept {
        T v;
        std::memcpy(&v, box_, sizeof v);
        return v;
    }

    std::unique_ptr<char[]> heap_;  // kept across texts; cap_ bytes, or null with cap_ 0
    std::uint32_t size_ = 0;        // of the text, when type_ is kString
    std::uint32_t cap_ = 0;
    // The text when it is no longer than kInlineText, with its NUL; else a number or nothing.
    alignas(8) char box_[kInlineText + 1] = {};
    Type type_ = kEmpty;
    // An inline text, its NUL and the type fill a block; a heap text is longer than kInlineText.
    static_assert(sizeof box_ + sizeof type_ >= kTextBlock && kInlineText + 2 >= kTextBlock,
                  "a block can be read from every text");
};

}  // namespace qxp
