#include "cmd/CommandLayout.h"

#include <algorithm>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "qx_platform/CodeSet.h"
#include "qx_platform/DecimalDigits.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/CmdNameConvert.h"

#if defined(__GNUC__)
#define QX_LAYOUT_INLINE inline __attribute__((always_inline))
#define QX_NO_ADDRESS_CHECK __attribute__((no_sanitize("address", "thread")))
#else
#define QX_LAYOUT_INLINE inline
#define QX_NO_ADDRESS_CHECK
#endif

namespace NSQX_script {

const LayoutStyle kScriptFileLayout = {"TScriptFileImpl::WriteParaList, ParaName is empty.\n",
                                       false, nullptr};
const LayoutStyle kConvertLogLayout = {"ParaName is empty when write command.\n", true,
                                       "ParaValue List is empty.\n"};

namespace {

constexpr std::size_t kWrapColumn = 80;
constexpr char kWrap[] = "\n  ";
constexpr std::size_t kWrapIndent = 2;

constexpr std::size_t kIntegerRoom = 20;  // "-9223372036854775808"

unsigned DigitCount(std::uint64_t u) {
    unsigned n = 1;
    for (;;) {
        if (u < 10) return n;
        if (u < 100) return n + 1;
        if (u < 1000) return n + 2;
        if (u < 10000) return n + 3;
        u /= 10000;
        n += 4;
    }
}

}  // namespace

CommandLayout::Kind CommandLayout::Render(const TScriptCmdRef& cmd) {
    const std::vector<MMLParaStruct>* paras = cmd.GetParaListPtr();
    if (paras == nullptr) {
        Clear();
        return Kind::kNothing;
    }
    return Render(cmd.GetCmdCode(), *paras);
}

CommandLayout::Kind CommandLayout::Render(unsigned long cmdCode,
                                          const std::vector<MMLParaStruct>& paras) {
    Clear();
    if (paras.empty()) return Kind::kNothing;
    if (!CmdNameConvert::GetCorrespondCmdName(name_, cmdCode)) {
        AppendRaw(paras);
        return Kind::kRaw;
    }
    AppendNamed(name_, paras);
    return Kind::kNamed;
}

void CommandLayout::AppendNamed(const std::string& name, const std::vector<MMLParaStruct>& paras) {
    Put(':');
    PutText(name);
    Put(":{", 2);
    std::size_t column = name.size() + 3;
    ParaList(paras, column);
    Put("};\n\n", 4);
}

void CommandLayout::AppendRaw(const std::vector<MMLParaStruct>& paras) {
    for (const MMLParaStruct& para : paras) {
        if (!para.values.empty()) PutValue(para.values.front());
    }
    Put('\n');
}

void CommandLayout::AppendParaList(const std::vector<MMLParaStruct>& paras, std::size_t& column) {
    ParaList(paras, column);
}

void CommandLayout::Grow(std::size_t more) {
    const std::size_t cap = std::max(cap_ * 2, len_ + more + 4096);
    std::unique_ptr<char[]> bigger(new char[cap]);
    if (len_ != 0) std::memcpy(bigger.get(), buf_.get(), len_);
    buf_ = std::move(bigger);
    cap_ = cap;
}

namespace {

#if defined(__SSE2__) && \
    (defined(_LIBCPP_VERSION) || (defined(_GLIBCXX_USE_CXX11_ABI) && _GLIBCXX_USE_CXX11_ABI))
// 16 bytes can be read from the start of every text copied here, whatever its length: a
// standard string's storage holds capacity() + 1 bytes and no capacity is below 15, the
// short-string buffer's; a value's text holds 16 at least (QXValue::kTextBlock). The bytes past
// the end are read but not used; the address checker may count them outside the text, so it is
// kept out.
QX_NO_ADDRESS_CHECK inline __m128i LoadStringBlock(const char* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// Copies a text to d, which has room for 16 bytes more than its length (bytes past the length
// are written but not counted); true when one of its bytes is above 0x7F. A text of up to 32
// bytes takes two blocks, the second ending at its end (or the first again when it is shorter
// than a block), with no branch on its length, which mixed lengths would mispredict.
QX_LAYOUT_INLINE bool CopyString(char* d, std::string_view text) {
    const char* s = text.data();
    const std::size_t n = text.size();
    const __m128i head = LoadStringBlock(s);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), head);
    __m128i any = head;
    for (std::size_t i = 16; i + 16 < n; i += 16) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), block);
        any = _mm_or_si128(any, block);
    }
    const std::size_t tail = (n > 16 ? n : 16) - 16;
    const __m128i last = LoadStringBlock(s + tail);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d + tail), last);
    any = _mm_or_si128(any, last);
    // Below 16 bytes, both blocks hold bytes past the end, which do not count.
    const unsigned counted = (1u << std::min<std::size_t>(n, 16)) - 1;
    return (static_cast<unsigned>(_mm_movemask_epi8(any)) & counted) != 0;
}
#else
QX_LAYOUT_INLINE bool CopyString(char* d, std::string_view text) {
    std::memcpy(d, text.data(), text.size());
    std::uint64_t bits = 0;
    for (const char c : text) bits |= static_cast<unsigned char>(c);
    return (bits & 0x80) != 0;
}
#endif

// Room a string needs beyond its length.
constexpr std::size_t kStringSlack = 16;

// Writes value in decimal at p, which has room for kIntegerRoom bytes; returns its length.
QX_LAYOUT_INLINE std::size_t FormatInteger(long value, char* const start) {
    char* p = start;
    std::uint64_t u = static_cast<std::uint64_t>(value);
    if (value < 0) {
        *p++ = '-';
        u = 0 - u;
    }
    std::size_t n;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    if (u - 1 < 99999999) {
        // Up to eight digits at once: each byte of the word gets one digit, the most
        // significant first; the leading zeros are shifted out.
        std::uint64_t word = qxp::EightDigits(u);
        n = 8 - static_cast<std::size_t>(__builtin_ctzll(word)) / 8;
        word = (word >> (8 * (8 - n))) + 0x3030303030303030ull;
        std::memcpy(p, &word, 8);
    } else
#endif
    {
        n = DigitCount(u);
        char* e = p + n;
        while (u >= 100) {
            e -= 2;
            std::memcpy(e, qxp::kDigitPairs + (u % 100) * 2, 2);
            u /= 100;
        }
        if (u >= 10) {
            std::memcpy(e - 2, qxp::kDigitPairs + u * 2, 2);
        } else {
            e[-1] = static_cast<char>('0' + u);
        }
    }
    return n + static_cast<std::size_t>(p - start);
}

// Room that the value's text may take, without a branch on its type: a number takes at most a
// double's room, and a string's length is counted whatever the type (a number's string is
// empty, or a text it held before).
QX_LAYOUT_INLINE std::size_t ValueRoom(const QXValue& value) {
    return value.StringRef().size() + QXValue::kDoubleTextRoom;
}
static_assert(kIntegerRoom <= QXValue::kDoubleTextRoom, "an integer fits a double's room");
static_assert(kStringSlack <= QXValue::kDoubleTextRoom, "a string's slack fits the room");

}  // namespace

// Keeps a text with bytes above 0x7F for IsKnownUtf8, with a line feed after it.
void CommandLayout::NoteNonAscii(std::string_view text) {
    nonAscii_.append(text).push_back('\n');
}

// Writes the value's text at d, which has ValueRoom(value) bytes; returns its length.
QX_LAYOUT_INLINE std::size_t CommandLayout::FormatValue(const QXValue& value, char* d) {
    switch (value.GetType()) {
        case QXValue::kString: {
            const std::string_view s = value.StringRef();
            if (CopyString(d, s)) NoteNonAscii(s);
            return s.size();
        }
        case QXValue::kInt32:
        case QXValue::kInt64:
            return FormatInteger(value.AsLong(), d);
        case QXValue::kDouble:
            return QXValue::FormatDouble(value.AsDouble(), d);
        case QXValue::kEmpty:
            break;
    }
    return 0;
}

bool CommandLayout::IsKnownUtf8() {
    if (nonAscii_.empty()) return true;
    // Texts joined by an ASCII byte are valid UTF-8 together exactly when each one is; the
    // conversion of UTF-8 into itself checks them and takes them unchanged.
    if (!qxp::OrinCodeSetConvertTaking("UTF-8", "UTF-8", nonAscii_, checked_)) return false;
    nonAscii_.swap(checked_);
    return true;
}

void CommandLayout::PutText(const std::string& text) {
    char* d = Room(text.size() + kStringSlack);
    len_ += text.size();
    if (CopyString(d, text)) NoteNonAscii(text);
}

std::size_t CommandLayout::PutName(const QXValue& name) {
    char* d = Room(ValueRoom(name) + 1);
    const std::size_t n = FormatValue(name, d);
    d[n] = '=';
    len_ += n + 1;
    return n;
}

std::size_t CommandLayout::PutValue(const QXValue& value) {
    const std::size_t n = FormatValue(value, Room(ValueRoom(value)));
    len_ += n;
    return n;
}

// Values joined by "&", wrapped past the wrap column. The cursor lives in a local: through the
// char stores, the compiler would otherwise reload every member after each byte written.
void CommandLayout::PutValues(const QXValue* v, const QXValue* const end, std::size_t& column) {
    if (v == end) return;
    char* d = buf_.get() + len_;
    char* limit = buf_.get() + cap_;
    std::size_t col = column;
    for (;;) {
        // Room for the value and the separator after it.
        const std::size_t need = ValueRoom(*v) + sizeof kWrap + 1;
        if (static_cast<std::size_t>(limit - d) < need) {
            len_ = static_cast<std::size_t>(d - buf_.get());
            Grow(need);
            d = buf_.get() + len_;
            limit = buf_.get() + cap_;
        }
        const std::size_t n = FormatValue(*v, d);
        d += n;
        col += n + 1;
        if (++v == end) break;
        if (col > kWrapColumn) {
            std::memcpy(d, kWrap, 3);
            d += 3;
            col = kWrapIndent;
        }
        *d++ = '&';
    }
    len_ = static_cast<std::size_t>(d - buf_.get());
    column = col;
}

// Object groups are walked with a list of open groups rather than by recursion, so a command
// nested to any depth lays out in constant stack.
void CommandLayout::ParaList(const std::vector<MMLParaStruct>& paras, std::size_t& column) {
    frames_.clear();
    frames_.push_back({paras.data(), paras.data() + paras.size(), nullptr, 0, true});
    while (!frames_.empty()) {
        Frame& frame = frames_.back();
        if (frame.next == frame.end) {
            const MMLParaStruct* const owner = frame.owner;
            const std::size_t group = frame.group + 1;
            frames_.pop_back();
            if (owner == nullptr) continue;
            Put('}');
            if (group < owner->objects.size()) {
                Put("&{", 2);
                const std::vector<MMLParaStruct>& members = owner->objects[group];
                frames_.push_back(
                    {members.data(), members.data() + members.size(), owner, group, true});
            }
            continue;
        }
        const MMLParaStruct& para = *frame.next++;
        const bool emptyName =
            para.name.GetType() == QXValue::kEmpty ||
            (para.name.GetType() == QXValue::kString && para.name.StringRef().empty());
        if (emptyName) {
            qxp::QXTrace(qxp::kTraceError, "%s", style_->emptyNameTrace);
            if (style_->skipEmptyName) continue;
        }
        if (!frame.first) Put(", ", 2);
        frame.first = false;
        column += 2;
        if (column > kWrapColumn) {
            Put(kWrap, 3);
            column = kWrapIndent;
        }
        column += PutName(para.name) + 1;

        if (!para.objects.empty()) {
            Put('{');
            const std::vector<MMLParaStruct>& members = para.objects.front();
            // frame is not used past this point: the push may move it.
            frames_.push_back({members.data(), members.data() + members.size(), &para, 0, true});
            continue;
        }
        if (para.values.empty() && style_->emptyValuesTrace != nullptr) {
            qxp::QXTrace(qxp::kTraceError, "%s", style_->emptyValuesTrace);
        }
        PutValues(para.values.data(), para.values.data() + para.values.size(), column);
    }
}

}  // namespace NSQX_script
