// The command gatherer: turns the characters of a script file into command texts.

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <array>

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

// The fast path keeps this much room below the cap: a block store never leaves the buffer, and
// the state machine takes the last bytes of a text that reaches the cap.
constexpr std::size_t kFastRoom = 32;

// A byte after a backslash in quotes that the state machine would only append.
inline bool IsEscapedPlain(char c) {
    return c != '\r' && c != '\n' && c != '/';
}

#if !defined(__SSE2__)
constexpr std::array<bool, 256> MakeStops() {
    std::array<bool, 256> t{};
    for (unsigned char c : {'/', '"', ';', '\\', '\n', '\r'}) t[c] = true;
    return t;
}
constexpr std::array<bool, 256> kStops = MakeStops();
#endif

// Copies the sixteen bytes at p to out, lower-casing ASCII letters when fold is set, and returns
// the bytes that may need attention as a mask (bit i for p[i]): a slash, a quote, a ";", a
// backslash or a line break. The copy stands up to the first of them that changes it.
inline unsigned CopyBlock(const char* p, char* out, bool fold) {
#if defined(__SSE2__)
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const auto is = [&v](char c) { return _mm_cmpeq_epi8(v, _mm_set1_epi8(c)); };
    const __m128i hit = _mm_or_si128(_mm_or_si128(_mm_or_si128(is('/'), is('"')), is(';')),
                                     _mm_or_si128(_mm_or_si128(is('\\'), is('\n')), is('\r')));
    __m128i w = v;
    if (fold) {
        // Signed compares: the bytes above 0x7F are negative and never in range.
        const __m128i upper = _mm_and_si128(_mm_cmpgt_epi8(v, _mm_set1_epi8('A' - 1)),
                                            _mm_cmplt_epi8(v, _mm_set1_epi8('Z' + 1)));
        w = _mm_or_si128(v, _mm_and_si128(upper, _mm_set1_epi8(0x20)));
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), w);
    return static_cast<unsigned>(_mm_movemask_epi8(hit));
#else
    unsigned mask = 0;
    for (int i = 0; i < 16; ++i) {
        const char c = p[i];
        out[i] = fold && c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
        if (kStops[static_cast<unsigned char>(c)]) mask |= 1u << i;
    }
    return mask;
#endif
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

// The fast path through plain text and quotes (state 0 or 1, the marker at its start, the text
// begun): copies sixteen bytes at a time, lower-cased outside quotes, and takes the quotes, line
// feeds, carriage returns, escapes in quotes and the ";" that ends the command between the
// runs. Stops where the state machine must look (a slash, which may start a comment or the
// marker, and the rare bytes after an escape), near the end of the input or of the room for
// the text. Returns where it stopped.
const char* GatherRuns(GatheredBytes& text, int& state, int& line, const char* p,
                       const char* const e, bool& ended) {
    char* o = text.data() + text.size();
    char* const oLim = text.data() + kKeep - kFastRoom;
    while (e - p >= 16 && o <= oLim) {
        // The stops that leave the stored block right as it is, but for a line feed that becomes
        // a blank, are taken in place: a line feed, a backslash outside quotes, an escape pair
        // or a ";" inside them. The rest end the block's run.
        unsigned stops = CopyBlock(p, o, state == 0);
        int run = 16;
        while (stops != 0) {
            const int at = __builtin_ctz(stops);
            const char c = p[at];
            if (c == '\n') {
                ++line;
                if (state == 0) o[at] = ' ';
            } else if (c == '\\' && state == 1) {
                // The byte after it is kept as it is; the state machine takes the few it must see.
                if (at == 15 || !IsEscapedPlain(p[at + 1])) {
                    run = at;
                    break;
                }
                stops &= ~(2u << at);
            } else if (c != '\\' && (c != ';' || state == 0)) {
                run = at;
                break;
            }
            stops &= stops - 1;
        }
        p += run;
        o += run;
        if (run == 16) continue;
        const char c = *p;
        if (c == '"') {
            *o++ = c;
            state ^= 1;  // the rest of the block is copied again, lower-cased or not
        } else if (c == ';') {
            *o++ = c;
            ++p;
            ended = true;
            break;
        } else if (c == '\\') {
            // An escape pair across the block's end.
            if (e - p < 2 || !IsEscapedPlain(p[1])) break;
            *o++ = c;
            *o++ = *++p;
        } else if (c != '\r') {  // a carriage return is dropped, unseen even by the marker
            break;
        }
        ++p;
    }
    text.resize(static_cast<std::size_t>(o - text.data()));
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

        // The fast paths run while the marker is at its start: they take no slash, so it stays
        // there. Runs of text wait for the first byte kept, which the state machine takes (it
        // drops leading blanks).
        if (r.marker == 0) {
            if ((m_gatherState == 0 || m_gatherState == 1) && !r.gathered.empty()) {
                p = GatherRuns(r.gathered, m_gatherState, m_lineNo, p, e, ended);
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
    if (!qxp::OrinCodeSetConvert(encoding.c_str(), "UTF-8", bytes + first, last - first, r.text)) {
        qxp::QXTrace(qxp::kTraceError, "Script Import string convert falied! %s, %s.",
                     std::string(bytes, size).c_str(), encoding.c_str());
        r.text.assign(bytes + first, last - first);
    }
    return static_cast<unsigned long>(m_lineNo);
}

}  // namespace NSQX_script
