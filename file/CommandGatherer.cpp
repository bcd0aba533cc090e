// The command gatherer: turns the characters of a script file into command texts.

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <array>
#include <cstdint>
#include <cstring>

#include "file/CommandLocator.h"
#include "file/ScriptReader.h"
#include "qx_platform/CodeSet.h"
#include "qx_platform/Trace.h"

namespace NSQX_script {
namespace {

// Only the first twelve characters have to match.
constexpr char kBoardInfoMarker[] = "/*NeBoardInfo";
constexpr int kBoardInfoMatch = 12;

// The text is kept up to one byte past the parser's limit, which is enough to know that it is
// refused; the rest of an over-long command is scanned but not stored.
constexpr std::size_t kKeep = GatheredBytes::kCapacity;

// Byte classes of the fast path: bytes that are only appended (after lower-casing outside
// quotes) and bytes that need the full state machine.
enum : unsigned char { kPlain = 0, kSpecial = 1 };

struct ByteClasses {
    std::array<unsigned char, 256> text{};    // outside quotes
    std::array<unsigned char, 256> quoted{};  // inside quotes
};

constexpr ByteClasses MakeByteClasses() {
    ByteClasses t{};
    for (unsigned char c : {'/', '"', ';', '\n', '\r'}) t.text[c] = kSpecial;
    for (unsigned char c : {'/', '"', '\\', '\n', '\r'}) t.quoted[c] = kSpecial;
    return t;
}

constexpr ByteClasses kClasses = MakeByteClasses();

constexpr std::uint64_t kOnes = 0x0101010101010101ull;
constexpr std::uint64_t kHigh = 0x8080808080808080ull;

// The first of p[0, lim) that may need the state machine, sixteen bytes at a time: a slash,
// a quote, a line break, or `third` (";" outside quotes, the backslash inside). Stops early,
// before the last sixteen bytes; the caller looks at the rest one by one.
inline const char* SkipPlain(const char* p, const char* lim, char third) {
#if defined(__SSE2__)
    const __m128i slash = _mm_set1_epi8('/');
    const __m128i quote = _mm_set1_epi8('"');
    const __m128i lf = _mm_set1_epi8('\n');
    const __m128i cr = _mm_set1_epi8('\r');
    const __m128i t = _mm_set1_epi8(third);
    for (; lim - p >= 16; p += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i hit =
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, slash), _mm_cmpeq_epi8(v, quote)),
                         _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, lf), _mm_cmpeq_epi8(v, cr)),
                                      _mm_cmpeq_epi8(v, t)));
        const int mask = _mm_movemask_epi8(hit);
        if (mask != 0) return p + __builtin_ctz(static_cast<unsigned>(mask));
    }
#else
    (void)lim;
    (void)third;
#endif
    return p;
}

// A byte after a backslash in quotes that the state machine would only append.
inline bool IsEscapedPlain(char c) {
    return c != '\r' && c != '\n' && c != '/';
}

// Lower-cases the ASCII letters of s[0, n), sixteen or eight bytes at a time; other bytes stay.
inline void FoldCase(char* s, std::size_t n) {
    auto fold = [](std::uint64_t w) {
        // Each byte's low seven bits plus a bias carries into its top bit exactly when the
        // byte is at least 'A' (or above 'Z'); no byte carries into the next.
        const std::uint64_t low = w & ~kHigh;
        const std::uint64_t atLeastA = low + kOnes * (0x80 - 'A');
        const std::uint64_t aboveZ = low + kOnes * (0x80 - 'Z' - 1);
        const std::uint64_t upper = atLeastA & ~aboveZ & ~w & kHigh;
        return w | (upper >> 2);
    };
    std::size_t i = 0;
#if defined(__SSE2__)
    // Signed compares: the bytes above 0x7F are negative and never in range.
    const __m128i beforeA = _mm_set1_epi8('A' - 1);
    const __m128i afterZ = _mm_set1_epi8('Z' + 1);
    const __m128i bit = _mm_set1_epi8(0x20);
    for (; i + 16 <= n; i += 16) {
        __m128i* const at = reinterpret_cast<__m128i*>(s + i);
        const __m128i v = _mm_loadu_si128(at);
        const __m128i upper = _mm_and_si128(_mm_cmpgt_epi8(v, beforeA), _mm_cmplt_epi8(v, afterZ));
        _mm_storeu_si128(at, _mm_or_si128(v, _mm_and_si128(upper, bit)));
    }
#endif
    for (; i + 8 <= n; i += 8) {
        std::uint64_t w;
        std::memcpy(&w, s + i, 8);
        w = fold(w);
        std::memcpy(s + i, &w, 8);
    }
    if (i < n) {
        std::uint64_t w = 0;
        std::memcpy(&w, s + i, n - i);
        w = fold(w);
        std::memcpy(s + i, &w, n - i);
    }
}

inline void Append(ScriptReadBuffer& r, char c) {
    if (r.gathered.empty() && c == ' ') return;  // leading blanks are trimmed anyway
    if (r.capped) {
        if (c != ' ') r.overlong = true;
        return;
    }
    r.gathered.push_back(c);
    if (r.gathered.size() == kKeep) r.capped = true;
}

}  // namespace

bool ScriptReader::GetNextChar(char& c) {
    ScriptReadBuffer& r = m_buffer.get();
    if (!IsOpen()) return false;
    if (r.pos == r.end && !r.Fill(m_file.get().get())) return false;
    c = r.data[r.pos++];
    return true;
}

bool ScriptReader::Rewind(const std::string& fileName) {
    ScriptReadBuffer& r = m_buffer.get();
    if (!IsOpen()) {
        r.Reset();
        return false;
    }
    if (r.holdsStart) {
        r.pos = 0;
    } else if (m_file.get()->Rewind().ok()) {
        r.pos = r.end = 0;
    } else {
        // A pipe or FIFO that has been read past its first block cannot go back.
        qxp::QXTrace(qxp::kTraceError,
                     "FileToBegin failed, the script cannot be read again from its start: %s\n",
                     fileName.c_str());
        return false;
    }
    m_gatherState = 0;
    m_lineNo = 1;
    r.Restart();
    return true;
}

// Runs one character through the gatherer's states; true when it ended the command.
bool ScriptReader::GatherStep(char c) {
    ScriptReadBuffer& r = m_buffer.get();
    if (c == '\r') return false;
    if (c == '\n') ++m_lineNo;

    // The marker is matched on every character, in comments and quotes too; a mismatch starts
    // over without testing that character against the marker's first one.
    if (c == kBoardInfoMarker[r.marker]) {
        if (++r.marker == kBoardInfoMatch) {
            r.boardInfo = true;
            return false;
        }
    } else {
        r.marker = 0;
    }

    switch (m_gatherState) {
        case 0:
            if (c == '/') {
                m_gatherState = 4;
                return false;
            }
            if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
            Append(r, c == '\n' ? ' ' : c);
            if (c == '"') m_gatherState = 1;
            return c == ';';
        case 1:
            Append(r, c);
            if (c == '\\') {
                m_gatherState = 6;
            } else if (c == '"') {
                m_gatherState = 0;
            }
            return false;
        case 6:
            Append(r, c);
            m_gatherState = 1;
            return false;
        case 4:
            if (c == '/') {
                m_gatherState = 2;
                return false;
            }
            if (c == '*') {
                m_gatherState = 3;
                r.commentLine = static_cast<unsigned long>(m_lineNo);
                return false;
            }
            m_gatherState = 0;
            Append(r, '/');
            Append(r, c == '\n' ? ' ' : c);
            return c == ';';
        case 2:
            if (c == '\n') {
                Append(r, ' ');
                m_gatherState = 0;
            }
            return false;
        case 3:
            if (c == '*') m_gatherState = 5;
            return false;
        case 5:
            if (c == '/') {
                Append(r, ' ');
                m_gatherState = 0;
            } else if (c != '*') {
                m_gatherState = 3;
            }
            return false;
        default:
            m_gatherState = 0;
            return false;
    }
}

// Starts the span of the next command at the start of its line, so that columns and the line's
// text can be told; on a very long line, at the command itself.
void ScriptReader::BeginSpan(const ScriptContext& context) {
    constexpr std::size_t kLongLine = 4096;
    ScriptReadBuffer& r = m_buffer.get();
    SourceSpan& span = r.span;
    const std::size_t newline = span.bytes.rfind('\n');
    if (newline != std::string::npos) {
        span.bytes.erase(0, newline + 1);
        span.firstColumn = 0;
    }
    if (span.bytes.size() > kLongLine) {
        span.firstColumn += CharCount(context.encoding, span.bytes.data(), span.bytes.size());
        span.bytes.clear();
    }
    span.firstLine = static_cast<unsigned long>(m_lineNo);
    span.commandStart = span.bytes.size();
    span.state = m_gatherState;
    r.spanFrom = r.pos;
}

unsigned long ScriptReader::GatherCommandText(const ScriptContext& context) {
    ScriptReadBuffer& r = m_buffer.get();
    r.gathered.clear();
    r.text.clear();
    r.capped = false;
    r.overlong = false;
    if (!IsOpen() || r.boardInfo) return 0;
    qxp::ReadableFile* const file = m_file.get().get();
    const std::string& encoding = context.encoding;

    const bool keep = context.sink != nullptr;
    if (keep) BeginSpan(context);
    bool ended = false;
    for (;;) {
        if (r.pos == r.end) {
            if (keep) r.KeepSpan(r.end);
            if (!r.Fill(file)) break;
            r.spanFrom = 0;
        }
        const char* const base = r.data.get();
        const char* p = base + r.pos;
        const char* const e = base + r.end;

        // Fast path: runs of bytes that are only appended, outside or inside quotes, and the
        // quotes, line breaks and escapes between them.
        if (r.marker == 0 && !r.gathered.empty() && !r.capped &&
            (m_gatherState == 0 || m_gatherState == 1)) {
            const unsigned char* cls =
                m_gatherState == 0 ? kClasses.text.data() : kClasses.quoted.data();
            const std::size_t room = kKeep - r.gathered.size();
            const char* const lim = static_cast<std::size_t>(e - p) > room ? p + room : e;
            const char* q = SkipPlain(p, lim, m_gatherState == 0 ? ';' : '\\');
            while (q < lim && cls[static_cast<unsigned char>(*q)] != kSpecial) ++q;
            if (q != p) {
                const std::size_t old = r.gathered.size();
                r.gathered.append(p, static_cast<std::size_t>(q - p));
                if (m_gatherState == 0)
                    FoldCase(r.gathered.data() + old, static_cast<std::size_t>(q - p));
                r.pos = static_cast<std::size_t>(q - base);
                if (r.gathered.size() == kKeep) {
                    r.capped = true;
                    continue;
                }
            }
            if (q == e) continue;
            // Room is left for one more byte. A slash may start a comment or the marker: the
            // state machine takes it, and the rare bytes after an escape.
            const char c = *q;
            bool taken = true;
            if (c == '"') {
                r.gathered.push_back(c);
                m_gatherState ^= 1;
            } else if (c == '\n') {
                ++m_lineNo;
                r.gathered.push_back(m_gatherState == 0 ? ' ' : '\n');
            } else if (c == ';' && m_gatherState == 0) {
                r.gathered.push_back(c);
                ++r.pos;
                ended = true;
                break;
            } else if (c == '\\' && m_gatherState == 1 && e - q >= 2 &&
                       r.gathered.size() + 2 <= kKeep && IsEscapedPlain(q[1])) {
                r.gathered.append(q, 2);
                ++r.pos;
            } else if (c != '\r') {
                taken = false;
            }
            if (taken) {
                ++r.pos;
                if (r.gathered.size() == kKeep) r.capped = true;
                continue;
            }
            p = q;
        }

        ++r.pos;
        if (GatherStep(*p)) {
            ended = true;
            break;
        }
        if (r.boardInfo) {
            r.gathered.clear();
            return 0;
        }
    }

    if (keep) r.KeepSpan(r.pos);
    if (!ended && (m_gatherState == 3 || m_gatherState == 5)) {
        r.openComment = true;
        if (keep) {
            const CommandLocator locator(r.span, encoding, std::string_view());
            r.comment = locator.AtSpan(locator.OpenComment());
            r.comment.reason = "unterminated comment";
        }
        m_gatherState = 0;
    }
    if (!ended && r.gathered.empty()) return 0;
    if (r.overlong) {
        // Refused by the parser for its length; converting a cut text could only fail.
        r.text.assign(r.gathered.data(), r.gathered.size());
        return static_cast<unsigned long>(m_lineNo);
    }
    r.raw.assign(r.gathered.data(), r.gathered.size());
    // A text that needs no conversion is taken over, not copied.
    if (!qxp::OrinCodeSetConvertTaking(encoding.c_str(), "UTF-8", r.raw, r.text)) {
        qxp::QXTrace(qxp::kTraceError, "Script Import string convert falied! %s, %s.",
                     r.raw.c_str(), encoding.c_str());
        r.text = r.raw;
    }
    const std::size_t last = r.text.find_last_not_of(' ');
    r.text.resize(last == std::string::npos ? 0 : last + 1);
    const std::size_t first = r.text.find_first_not_of(' ');
    if (first != 0 && first != std::string::npos) r.text.erase(0, first);
    return static_cast<unsigned long>(m_lineNo);
}

}  // namespace NSQX_script
