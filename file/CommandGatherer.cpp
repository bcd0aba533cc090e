// The command gatherer: turns the characters of a script file into command texts.

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <cstdint>

#include "file/CommandLocator.h"
#include "file/ScriptReader.h"
#include "qx_platform/CodeSet.h"
#include "qx_platform/Trace.h"
#include "util/EscapedBytes.h"

namespace NSQX_script {
namespace {

// Only the first twelve characters have to match.
constexpr char kBoardInfoMarker[] = "/*NeBoardInfo";
constexpr int kBoardInfoMatch = 12;

// The text is kept up to one byte past the parser's limit, which is enough to know that it is
// refused; the rest of an over-long command is scanned but not stored.
constexpr std::size_t kKeep = GatheredBytes::kCapacity;

// The fast path takes the text sixty-four bytes at a time, as bit masks (bit i for p[i]).
constexpr std::ptrdiff_t kChunk = 64;

struct ChunkMasks {
    std::uint64_t quote = 0;
    std::uint64_t backslash = 0;
    std::uint64_t stop = 0;  // a ";", a slash or a carriage return
};

#if defined(__SSE2__)
inline __m128i Load(const char* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

inline std::uint64_t Bits(__m128i hit) {
    return static_cast<unsigned>(_mm_movemask_epi8(hit));
}

inline ChunkMasks Classify(const char* p) {
    ChunkMasks m;
    const auto block = [&m, p](int k) {
        const __m128i v = Load(p + 16 * k);
        const auto is = [&v](char c) { return _mm_cmpeq_epi8(v, _mm_set1_epi8(c)); };
        const int shift = 16 * k;
        m.quote |= Bits(is('"')) << shift;
        m.backslash |= Bits(is('\\')) << shift;
        m.stop |= Bits(_mm_or_si128(is(';'), _mm_or_si128(is('/'), is('\r')))) << shift;
    };
    block(0);
    block(1);
    block(2);
    block(3);
    return m;
}

// The slashes and carriage returns of the chunk at p.
inline std::uint64_t RareBits(const char* p) {
    const auto rare = [p](int k) {
        const __m128i v = Load(p + 16 * k);
        return Bits(_mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('/')),
                                 _mm_cmpeq_epi8(v, _mm_set1_epi8('\r'))))
               << (16 * k);
    };
    return rare(0) | rare(1) | rare(2) | rare(3);
}

inline int CountBits(std::uint64_t x) {
#if defined(__POPCNT__)
    return __builtin_popcountll(x);
#else
    // Without the instruction the builtin is a library call.
    x -= (x >> 1) & 0x5555555555555555;
    x = (x & 0x3333333333333333) + ((x >> 2) & 0x3333333333333333);
    x = (x + (x >> 4)) & 0x0F0F0F0F0F0F0F0F;
    return static_cast<int>((x * 0x0101010101010101) >> 56);
#endif
}

// Line feeds of the sixteen bytes at p, bit i for p[i].
inline std::uint64_t FeedBits(const char* p) {
    return Bits(_mm_cmpeq_epi8(Load(p), _mm_set1_epi8('\n')));
}

// The line feeds among the bytes at p up to p + n (at most a chunk).
inline int CountFeeds(const char* p, int n) {
    const std::uint64_t feeds =
        FeedBits(p) | FeedBits(p + 16) << 16 | FeedBits(p + 32) << 32 | FeedBits(p + 48) << 48;
    return CountBits(n == kChunk ? feeds : feeds & ((std::uint64_t{1} << n) - 1));
}

// The bytes stored, or-ed together: their top bits tell whether any is above 0x7F.
using Seen = __m128i;
inline Seen NothingSeen() {
    return _mm_setzero_si128();
}
inline bool SeenHigh(Seen seen) {
    return _mm_movemask_epi8(seen) != 0;
}

// Stores the sixteen bytes at p to out, lower-casing letters and making line feeds blanks
// where fold is set; counts the line feeds down in feeds, per byte.
inline void StoreBlock(const char* p, char* out, __m128i fold, __m128i& feeds, Seen& seen) {
    const __m128i v = Load(p);
    seen = _mm_or_si128(seen, v);
    // 'A' to 'Z' moved to the bottom of the signed range: one compare tells a capital.
    const __m128i shifted = _mm_add_epi8(v, _mm_set1_epi8(0x80 - 'A'));
    const __m128i upper = _mm_cmpgt_epi8(_mm_set1_epi8(-128 + 26), shifted);
    const __m128i feed = _mm_cmpeq_epi8(v, _mm_set1_epi8('\n'));
    feeds = _mm_add_epi8(feeds, feed);
    // A capital gains 0x20; a line feed (0x0A) xor 0x2A is a blank (0x20).
    const __m128i flip = _mm_or_si128(_mm_and_si128(upper, _mm_set1_epi8(0x20)),
                                      _mm_and_si128(feed, _mm_set1_epi8(0x2A)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_xor_si128(v, _mm_and_si128(flip, fold)));
}

// The line feeds counted down in feeds: at most four per byte, summed in each half.
inline int FeedTotal(__m128i feeds) {
    const __m128i sums =
        _mm_sad_epu8(_mm_sub_epi8(_mm_setzero_si128(), feeds), _mm_setzero_si128());
    return _mm_cvtsi128_si32(sums) + _mm_extract_epi16(sums, 4);
}

// Stores the chunk at p to out, lower-cased with line feeds made blanks or else as it is;
// returns how many line feeds it holds.
inline int StoreUniform(const char* p, char* out, bool fold, Seen& seen) {
    const __m128i all = _mm_set1_epi8(fold ? -1 : 0);
    __m128i feeds = _mm_setzero_si128();
    StoreBlock(p, out, all, feeds, seen);
    StoreBlock(p + 16, out + 16, all, feeds, seen);
    StoreBlock(p + 32, out + 32, all, feeds, seen);
    StoreBlock(p + 48, out + 48, all, feeds, seen);
    return FeedTotal(feeds);
}

// As StoreUniform, folding the bytes whose bit of outside is set.
inline int StoreMixed(const char* p, char* out, std::uint64_t outside, Seen& seen) {
    // Byte i of a block selects bit i % 8 of the byte of the mask that covers it.
    const __m128i select = _mm_set1_epi64x(0x8040201008040201);
    const auto spread = [&select](std::uint64_t bits) {
        __m128i x = _mm_cvtsi32_si128(static_cast<int>(bits & 0xFFFF));
        x = _mm_unpacklo_epi8(x, x);
        x = _mm_unpacklo_epi16(x, x);
        x = _mm_unpacklo_epi32(x, x);
        return _mm_cmpeq_epi8(_mm_and_si128(x, select), select);
    };
    __m128i feeds = _mm_setzero_si128();
    StoreBlock(p, out, spread(outside), feeds, seen);
    StoreBlock(p + 16, out + 16, spread(outside >> 16), feeds, seen);
    StoreBlock(p + 32, out + 32, spread(outside >> 32), feeds, seen);
    StoreBlock(p + 48, out + 48, spread(outside >> 48), feeds, seen);
    return FeedTotal(feeds);
}
#else
inline ChunkMasks Classify(const char* p) {
    ChunkMasks m;
    for (int i = 0; i < kChunk; ++i) {
        const std::uint64_t bit = std::uint64_t{1} << i;
        switch (p[i]) {
            case '"':
                m.quote |= bit;
                break;
            case '\\':
                m.backslash |= bit;
                break;
            case ';':
            case '/':
            case '\r':
                m.stop |= bit;
                break;
            default:
                break;
        }
    }
    return m;
}

inline std::uint64_t RareBits(const char* p) {
    std::uint64_t bits = 0;
    for (int i = 0; i < kChunk; ++i) {
        if (p[i] == '/' || p[i] == '\r') bits |= std::uint64_t{1} << i;
    }
    return bits;
}

inline int CountFeeds(const char* p, int n) {
    int feeds = 0;
    for (int i = 0; i < n; ++i) feeds += p[i] == '\n';
    return feeds;
}

using Seen = unsigned;
inline Seen NothingSeen() {
    return 0;
}
inline bool SeenHigh(Seen seen) {
    return (seen & 0x80) != 0;
}

inline int StoreMixed(const char* p, char* out, std::uint64_t outside, Seen& seen) {
    int feeds = 0;
    for (int i = 0; i < kChunk; ++i) {
        char c = p[i];
        seen |= static_cast<unsigned char>(c);
        feeds += c == '\n';
        if ((outside >> i) & 1) {
            if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
            if (c == '\n') c = ' ';
        }
        out[i] = c;
    }
    return feeds;
}

inline int StoreUniform(const char* p, char* out, bool fold, Seen& seen) {
    return StoreMixed(p, out, fold ? ~std::uint64_t{0} : 0, seen);
}
#endif

// Bit i: an odd number of the bits 0 to i are set.
inline std::uint64_t PrefixXor(std::uint64_t x) {
    x ^= x << 1;
    x ^= x << 2;
    x ^= x << 4;
    x ^= x << 8;
    x ^= x << 16;
    return x ^ (x << 32);
}

// The fast path through plain text and quotes (state 0 or 1, the marker at its start, the text
// begun). A chunk's quotes, escapes in quotes, line feeds and ";" inside quotes are all taken
// from its masks: escape pairs first, then which bytes lie in quotes (everything past an odd
// number of unescaped quotes), so that letters are lower-cased and line feeds made blanks only
// outside them. A backslash outside quotes is kept as it is, but the escapes the masks assumed
// after it are not, so the chunk restarts past it, as it does past a carriage return, which
// is dropped. Stops at the ";" that ends the command, at a slash (which may start a comment or
// the marker), near the end of the input or of the room for the text, leaving state as the
// state machine would have it there (6 for a byte escaped), and high set when a byte above 0x7F
// may have been stored. Returns where it stopped.
const char* GatherRuns(GatheredBytes& text, int& state, int& lineNo, bool& high, const char* p,
                       const char* const e, bool& ended) {
    Seen seen = NothingSeen();
    int line = lineNo;
    char* o = text.data() + text.size();
    // More room than a chunk: a chunk's store never leaves the buffer, and the state machine
    // that takes over at the cap always finds room for its byte.
    const char* const oEnd = text.data() + kKeep;
    std::uint64_t quoted = state == 1 ? ~std::uint64_t{0} : 0;  // all bits: in quotes
    std::uint64_t carry = 0;
    while (e - p >= kChunk && oEnd - o > kChunk) {
        const ChunkMasks m = Classify(p);
        if ((m.quote | m.backslash | m.stop) == 0) {  // all text: the state holds
            line += StoreUniform(p, o, quoted == 0, seen);
            carry = 0;
            p += kChunk;
            o += kChunk;
            continue;
        }
        const std::uint64_t escaped = EscapedBytes(m.backslash, carry);
        const std::uint64_t inQuotes = PrefixXor(m.quote & ~escaped) ^ quoted;
        // The masks hold up to the first backslash outside quotes: before it, every backslash
        // is in quotes and so is an escape indeed.
        std::uint64_t stops = (m.backslash | m.stop) & ~inQuotes;
        // In quotes a ";" is text, a slash or a carriage return is not; the three share a mask,
        // as the latter two are rare there.
        const std::uint64_t quotedStops = m.stop & inQuotes;
        if (quotedStops != 0) stops |= quotedStops & RareBits(p);
        const int feeds = StoreMixed(p, o, ~inQuotes, seen);
        if (stops == 0) {
            line += feeds;
            quoted = static_cast<std::uint64_t>(static_cast<std::int64_t>(inQuotes) >> 63);
            p += kChunk;
            o += kChunk;
            continue;
        }
        const int at = __builtin_ctzll(stops);
        const std::uint64_t bit = std::uint64_t{1} << at;
        line += CountFeeds(p, at);
        // None of the stops is a quote: its bit tells the state before it.
        quoted = (inQuotes & bit) != 0 ? ~std::uint64_t{0} : 0;
        carry = (escaped & bit) != 0 ? 1 : 0;
        const char c = p[at];
        if (c == '\r') {  // dropped, unseen even by the marker: an escape goes on past it
            p += at + 1;
            o += at;
            continue;
        }
        p += at;
        o += at;
        if (c == '/') break;
        *o++ = c;
        ++p;
        if (c == ';') {
            ended = true;
            break;
        }
    }
    state = carry != 0 ? 6 : quoted != 0 ? 1 : 0;
    lineNo = line;
    high = high || SeenHigh(seen);
    text.resize(static_cast<std::size_t>(o - text.data()));
    return p;
}

// The first of p[0, e) that is a, b or c; e when there is none.
inline const char* FindAny(const char* p, const char* e, char a, char b, char c) {
#if defined(__SSE2__)
    const __m128i va = _mm_set1_epi8(a);
    const __m128i vb = _mm_set1_epi8(b);
    const __m128i vc = _mm_set1_epi8(c);
    for (; e - p >= 16; p += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i hit = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, va), _mm_cmpeq_epi8(v, vb)),
                                         _mm_cmpeq_epi8(v, vc));
        const int mask = _mm_movemask_epi8(hit);
        if (mask != 0) return p + __builtin_ctz(static_cast<unsigned>(mask));
    }
#endif
    while (p < e && *p != a && *p != b && *p != c) ++p;
    return p;
}

// Inside a comment: skips to the next byte the state machine must see (the "*" that may close
// a block comment, the line feed that ends a line comment, a slash that may start the marker),
// counting a block comment's line feeds on the way. The state machine drops every byte skipped
// and leaves the marker at its start for them.
const char* SkipComment(int state, int& line, const char* p, const char* const e) {
    if (state == 2) return FindAny(p, e, '\n', '/', '\n');
    for (;;) {
        p = FindAny(p, e, '*', '/', '\n');
        if (p == e || *p != '\n') return p;
        ++line;
        ++p;
    }
}

inline void Append(ScriptReadBuffer& r, char c) {
    if (r.gathered.empty() && c == ' ') return;  // leading blanks are trimmed anyway
    if (r.capped) {
        if (c != ' ') r.overlong = true;
        return;
    }
    r.gathered.push_back(c);
    r.high = r.high || (c & 0x80) != 0;
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
    r.high = false;
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

        // The fast paths run while the marker is at its start: they take no slash, so it stays
        // there. Runs of text wait for the first byte kept, which the state machine takes (it
        // drops leading blanks).
        if (r.marker == 0) {
            if ((m_gatherState == 0 || m_gatherState == 1) && !r.gathered.empty()) {
                p = GatherRuns(r.gathered, m_gatherState, m_lineNo, r.high, p, e, ended);
            } else if (m_gatherState == 2 || m_gatherState == 3) {
                p = SkipComment(m_gatherState, m_lineNo, p, e);
            }
            r.pos = static_cast<std::size_t>(p - base);
            if (ended) break;
            if (p == e) continue;
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
    const char* const bytes = r.gathered.data();
    const std::size_t size = r.gathered.size();
    if (r.overlong) {
        // Refused by the parser for its length; converting a cut text could only fail.
        r.text.assign(bytes, size);
        return static_cast<unsigned long>(m_lineNo);
    }
    // Trimmed before it is converted, which is the same as after: no character of the three
    // encodings holds a blank byte but the blank itself.
    std::size_t first = 0;
    std::size_t last = size;
    while (last > first && bytes[last - 1] == ' ') --last;
    while (first < last && bytes[first] == ' ') ++first;
    const bool converted = r.high
                               ? qxp::OrinCodeSetConvert(encoding.c_str(), "UTF-8", bytes + first,
                                                         last - first, r.text)
                               : qxp::OrinCodeSetConvertAscii(encoding.c_str(), "UTF-8",
                                                              bytes + first, last - first, r.text);
    if (!converted) {
        qxp::QXTrace(qxp::kTraceError, "Script Import string convert falied! %s, %s.",
                     std::string(bytes, size).c_str(), encoding.c_str());
        r.text.assign(bytes + first, last - first);
    }
    return static_cast<unsigned long>(m_lineNo);
}

}  // namespace NSQX_script
