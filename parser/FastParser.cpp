#include "parser/FastParser.h"

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "parser/Literals.h"
#include "parser/Scanner.h"
#include "util/EscapedBytes.h"

namespace NSQX_script {
namespace parser {

namespace {

// Deeper groups go to the generated parser, whose stacks live on the heap; recursion here
// stays within a few kilobytes of the caller's stack.
constexpr int kMaxDepth = 64;

#if defined(__clang__) || defined(__GNUC__)
#define QX_NO_ADDRESS_CHECK __attribute__((no_sanitize("address", "thread")))
#define QX_ALWAYS_INLINE inline __attribute__((always_inline))
#else
#define QX_NO_ADDRESS_CHECK
#define QX_ALWAYS_INLINE inline
#endif

enum CharClass : std::uint8_t {
    kWordChar = 1,
    kDigitChar = 2,
    kHexChar = 4,
    kBlankChar = 8,
    kLetterChar = 16,  // a word's first byte that makes it an identifier, whatever follows
};

struct CharTable {
    std::uint8_t cls[256] = {};
    constexpr CharTable() {
        for (int c = '0'; c <= '9'; ++c) cls[c] = kWordChar | kDigitChar | kHexChar;
        for (int c = 'a'; c <= 'z'; ++c) cls[c] = kWordChar | kLetterChar;
        for (int c = 'A'; c <= 'Z'; ++c) cls[c] = kWordChar | kLetterChar;
        for (int c = 'a'; c <= 'f'; ++c) cls[c] |= kHexChar;
        for (int c = 'A'; c <= 'F'; ++c) cls[c] |= kHexChar;
        cls[static_cast<unsigned char>('_')] = kWordChar | kLetterChar;
        cls[static_cast<unsigned char>('-')] = kWordChar;
        cls[static_cast<unsigned char>(' ')] = kBlankChar;
        cls[static_cast<unsigned char>('\t')] = kBlankChar;
        cls[static_cast<unsigned char>('\n')] = kBlankChar;
    }
};
constexpr CharTable kChars;

// The value of each hexadecimal digit; 16 for every other byte.
struct HexDigitTable {
    std::uint8_t value[256] = {};
    constexpr HexDigitTable() {
        for (int c = 0; c < 256; ++c) value[c] = 16;
        for (int c = '0'; c <= '9'; ++c) value[c] = static_cast<std::uint8_t>(c - '0');
        for (int c = 'a'; c <= 'f'; ++c) value[c] = static_cast<std::uint8_t>(c - 'a' + 10);
        for (int c = 'A'; c <= 'F'; ++c) value[c] = static_cast<std::uint8_t>(c - 'A' + 10);
    }
};
constexpr HexDigitTable kHexDigits;

inline bool Is(char c, CharClass k) {
    return (kChars.cls[static_cast<unsigned char>(c)] & k) != 0;
}

// The digits of a hexadecimal number one at a time, as ShortHex without blocks.
bool SlowShortHex(const char* h, std::size_t n, std::uint32_t& v) {
    std::uint64_t value = 0;
    for (const char* const e = h + n; h != e; ++h) {
        const unsigned digit = kHexDigits.value[static_cast<unsigned char>(*h)];
        if (digit == 16) return false;
        value = value << 4 | digit;
    }
    v = static_cast<std::uint32_t>(value);
    return true;
}

// Scans over the text in 16-byte blocks. No load crosses into another page: the first block is
// read where the scan starts unless that would cross, the others on 16-byte boundaries; and the
// text ends in a NUL that stops every scan. Bytes of a block beyond that NUL or before the start
// are read but ignored, which is why the address checker is kept out.
#if defined(__SSE2__)

// Whether 16 bytes from p lie in one page. Nearly always, so the branch predicts well, and most
// tokens end within the first block, where a scan from the alignment boundary would often need
// a second one.
inline bool BlockFits(const char* p) {
    return (reinterpret_cast<std::uintptr_t>(p) & 4095) <= 4096 - 16;
}

QX_NO_ADDRESS_CHECK inline __m128i LoadAt(const char* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// The kInlineText + 1 bytes at p, when they lie in one page.
QX_NO_ADDRESS_CHECK inline bool LoadInline(const char* p, char (&out)[QXValue::kInlineText + 1]) {
    if (!BlockFits(p)) return false;
    char block[16];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(block), LoadAt(p));
    std::memcpy(out, block, sizeof out);
    return true;
}

// Bits set in a 16-bit mask; the baseline instruction set has no popcount instruction.
inline unsigned CountBits(unsigned x) {
    x = x - ((x >> 1) & 0x5555u);
    x = (x & 0x3333u) + ((x >> 2) & 0x3333u);
    x = (x + (x >> 4)) & 0x0F0Fu;
    return (x + (x >> 8)) & 0x1Fu;
}

inline unsigned Matches(__m128i block, char c) {
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_set1_epi8(c))));
}

// The end of a double-quoted string whose text starts at p, as QuoteEnd finds it. The escaped
// bytes of each block come from its backslash mask by arithmetic, so that a text costs the same
// few operations per block however many escapes it holds, and no branch depends on them.
QX_NO_ADDRESS_CHECK const char* QuoteClose(const char* p) {
    unsigned carry = 0;  // the next block's first byte is escaped
    for (;;) {
        const unsigned skew =
            BlockFits(p) ? 0 : static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(p) & 15);
        const char* const base = p - skew;
        const unsigned keep = (0xFFFFu << skew) & 0xFFFFu;
        const __m128i block = LoadAt(base);
        carry <<= skew;
        const unsigned escaped = EscapedBytes<unsigned, 16>(Matches(block, '\\') & keep, carry);
        const unsigned quotes = Matches(block, '"') & ~escaped & keep;
        // An escaped NUL still ends the text: a backslash never takes the end with it.
        const unsigned stops = quotes | (Matches(block, 0) & keep);
        if (stops != 0) {
            const unsigned first = stops & (0u - stops);
            return (quotes & first) != 0 ? base + __builtin_ctz(stops) : nullptr;
        }
        p = base + 16;
    }
}

// The count of '&' from p up to the first ',', '}' or NUL.
QX_NO_ADDRESS_CHECK std::size_t AmpersandsBeforeEnd(const char* p) {
    const std::uintptr_t skew = reinterpret_cast<std::uintptr_t>(p) & 15;
    const char* base = p - skew;
    unsigned keep = (0xFFFFu << skew) & 0xFFFFu;
    std::size_t n = 0;
    for (;; base += 16, keep = 0xFFFFu) {
        const __m128i block = _mm_load_si128(reinterpret_cast<const __m128i*>(base));
        const unsigned ands = Matches(block, '&') & keep;
        const unsigned ends =
            (Matches(block, ',') | Matches(block, '}') | Matches(block, 0)) & keep;
        if (ends != 0) return n + CountBits(ands & ((ends & -ends) - 1));
        n += CountBits(ands);
    }
}

inline unsigned Below(__m128i shifted, int limit) {
    return static_cast<unsigned>(
        _mm_movemask_epi8(_mm_cmplt_epi8(shifted, _mm_set1_epi8(static_cast<char>(limit)))));
}

// Bytes of a block that are digits: shifted so that '0'..'9' become the ten lowest signed
// bytes.
inline unsigned Digits(__m128i block) {
    return Below(_mm_add_epi8(block, _mm_set1_epi8(static_cast<char>(0x80 - '0'))), -128 + 10);
}

// Bytes of a block that are [A-Za-z0-9_-].
inline unsigned WordBytes(__m128i block) {
    const __m128i lower = _mm_or_si128(block, _mm_set1_epi8(0x20));
    const unsigned letters =
        Below(_mm_add_epi8(lower, _mm_set1_epi8(static_cast<char>(0x80 - 'a'))), -128 + 26);
    return letters | Digits(block) | Matches(block, '_') | Matches(block, '-');
}

// The first byte at or after p that the class does not hold (the NUL at the latest).
template <unsigned (*Class)(__m128i)>
QX_NO_ADDRESS_CHECK const char* SkipRun(const char* p) {
    if (BlockFits(p)) {
        const unsigned others = ~Class(LoadAt(p)) & 0xFFFFu;
        if (others != 0) return p + __builtin_ctz(others);
        p += 16;
    }
    const std::uintptr_t skew = reinterpret_cast<std::uintptr_t>(p) & 15;
    const char* base = p - skew;
    unsigned keep = (0xFFFFu << skew) & 0xFFFFu;
    for (;; base += 16, keep = 0xFFFFu) {
        const __m128i block = _mm_load_si128(reinterpret_cast<const __m128i*>(base));
        const unsigned others = ~Class(block) & keep;
        if (others != 0) return base + __builtin_ctz(others);
    }
}

const char* SkipDigits(const char* p) {
    return SkipRun<Digits>(p);
}

// The run of decimal digits at p appended to value (times ten, plus the digit, for each one,
// wrapping), and the end of the run. Up to eight digits are converted at once, without a branch
// per digit, which the mixed lengths of a value list would mispredict.
QX_NO_ADDRESS_CHECK inline const char* ReadDigits(const char* p, std::uint64_t& value) {
    static constexpr std::uint64_t kPowers[] = {1,      10,      100,      1000,     10000,
                                                100000, 1000000, 10000000, 100000000};
    if (BlockFits(p)) {
        const __m128i block = LoadAt(p);
        const unsigned n = static_cast<unsigned>(__builtin_ctz(~Digits(block)));
        if (n <= 8) {
            if (n != 0) {
                // The digits as the high bytes of a little-endian word, the first digit lowest;
                // leading zero bytes stand for leading zeros. Pairs, then quads, then all eight
                // are combined by multiplication.
                std::uint64_t chunk = static_cast<std::uint64_t>(_mm_cvtsi128_si64(block));
                chunk = (chunk & 0x0F0F0F0F0F0F0F0Full) << (8 * (8 - n));
                chunk = (chunk * 10 + (chunk >> 8)) & 0x00FF00FF00FF00FFull;
                chunk = (chunk * 100 + (chunk >> 16)) & 0x0000FFFF0000FFFFull;
                chunk = (chunk * 10000 + (chunk >> 32)) & 0xFFFFFFFFull;
                value = value * kPowers[n] + chunk;
            }
            return p + n;
        }
    }
    while (static_cast<unsigned>(*p - '0') < 10u)
        value = value * 10 + static_cast<unsigned>(*p++ - '0');
    return p;
}
const char* SkipWord(const char* p) {
    return SkipRun<WordBytes>(p);
}

// SkipWord with its first block inline: nearly every word ends there, and in the value loop the
// call cost as much as the scan.
QX_NO_ADDRESS_CHECK inline const char* SkipShortWord(const char* p) {
    if (BlockFits(p)) {
        const unsigned others = ~WordBytes(LoadAt(p)) & 0xFFFFu;
        if (others != 0) return p + __builtin_ctz(others);
    }
    return SkipWord(p);
}

// Bytes of a block that are hexadecimal digits.
inline unsigned HexBytes(__m128i block) {
    const __m128i lower = _mm_or_si128(block, _mm_set1_epi8(0x20));
    return Below(_mm_add_epi8(lower, _mm_set1_epi8(static_cast<char>(0x80 - 'a'))), -128 + 6) |
           Digits(block);
}

// Whether the n bytes at h (1 <= n <= 16, the rest of a word) are all hexadecimal digits, and
// then the low 32 bits of their value in v, which is all that fewer than 17 digits keep. The
// last eight digits are converted at once, without the loop whose varying length a list of
// mixed values mispredicts.
QX_NO_ADDRESS_CHECK inline bool ShortHex(const char* h, std::size_t n, std::uint32_t& v) {
    if (!BlockFits(h)) return SlowShortHex(h, n, v);
    const unsigned all = (1u << n) - 1;
    if ((HexBytes(LoadAt(h)) & all) != all) return false;
    // The last min(n, 8) digits, the first of them lowest, moved to the top of the word so that
    // the zero bytes below them read as leading zeros. Both loads stay in the checked block.
    const std::size_t skip = n > 8 ? n - 8 : 0;
    const unsigned shift = static_cast<unsigned>(8 * (8 - (n - skip)));
    std::uint64_t chunk = static_cast<std::uint64_t>(
        _mm_cvtsi128_si64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(h + skip))));
    chunk = (chunk << (shift / 2)) << (shift / 2);  // a shift by 64 would be undefined
    // '0'..'9' give their low four bits; letters, whose bit 6 is set, those plus nine.
    chunk = (chunk & 0x0F0F0F0F0F0F0F0Full) + 9 * ((chunk >> 6) & 0x0101010101010101ull);
    chunk = (chunk * 16 + (chunk >> 8)) & 0x00FF00FF00FF00FFull;
    chunk = (chunk * 256 + (chunk >> 16)) & 0x0000FFFF0000FFFFull;
    chunk = (chunk * 65536 + (chunk >> 32)) & 0xFFFFFFFFull;
    v = static_cast<std::uint32_t>(chunk);
    return true;
}

#else

const char* SkipDigits(const char* p) {
    while (*p >= '0' && *p <= '9') ++p;
    return p;
}

const char* ReadDigits(const char* p, std::uint64_t& value) {
    while (static_cast<unsigned>(*p - '0') < 10u)
        value = value * 10 + static_cast<unsigned>(*p++ - '0');
    return p;
}

const char* SkipWord(const char* p) {
    while (Is(*p, kWordChar)) ++p;
    return p;
}

const char* SkipShortWord(const char* p) {
    return SkipWord(p);
}

const char* QuoteClose(const char* p) {
    return QuoteEnd(p);
}

bool ShortHex(const char* h, std::size_t n, std::uint32_t& v) {
    return SlowShortHex(h, n, v);
}

bool LoadInline(const char*, char (&)[QXValue::kInlineText + 1]) {
    return false;
}

std::size_t AmpersandsBeforeEnd(const char* p) {
    std::size_t n = 0;
    for (;; ++p) {
        if (*p == '&') ++n;
        if (*p == ',' || *p == '}' || *p == '\0') return n;
    }
}

#endif

enum Token {
    kEnd,
    kNumber,
    kString,
    kReal,
    kIdent,
    kAnd,
    kTo,
    kEqual,
    kColon,
    kSemicolon,
    kComma,
    kOpen,
    kClose,
    kUnsure,  // anything the generated parser must see: it never parses here
};

class Parser {
  public:
    Parser(const char* text, ParseBuilder& builder) : p_(text), b_(builder) {}

    bool Command() {
        Next();
        if (tok_ != kColon) return false;
        Next();
        if (tok_ != kIdent || !b_.CommandName(val_)) return false;
        Next();
        if (tok_ != kColon) return false;
        Next();
        if (!List()) return false;
        if (tok_ != kSemicolon) return false;
        Next();
        if (tok_ != kEnd) return false;
        b_.ClearPending();
        return true;
    }

  private:
    // The text ends at its first NUL, as for the generated scanner. Inlined at every call so
    // that each place in the grammar gets branches of its own, which predict far better.
    QX_ALWAYS_INLINE void Next() {
        while (Is(*p_, kBlankChar)) ++p_;
        const char* const s = p_;
        switch (*s) {
            case '\0':
                tok_ = kEnd;
                return;
            case ':':
                ++p_;
                tok_ = kColon;
                return;
            case ';':
                ++p_;
                tok_ = kSemicolon;
                return;
            case ',':
                ++p_;
                tok_ = kComma;
                return;
            case '{':
                ++p_;
                tok_ = kOpen;
                return;
            case '}':
                ++p_;
                tok_ = kClose;
                return;
            case '=':
                ++p_;
                tok_ = kEqual;
                return;
            case '&':
                if (s[1] == '&') {
                    p_ += 2;
                    tok_ = kTo;
                } else {
                    ++p_;
                    tok_ = kAnd;
                }
                return;
            case '"': {
                const char* const close = QuoteClose(s + 1);
                if (close == nullptr) {
                    tok_ = kUnsure;
                    return;
                }
                val_.str = s + 1;
                val_.len = static_cast<std::size_t>(close - s - 1);
                p_ = close + 1;
                tok_ = kString;
                return;
            }
            default:
                if (Is(*s, kWordChar)) {
                    Word(s);
                } else {
                    tok_ = kUnsure;
                }
                return;
        }
    }

    // A maximal run of [A-Za-z0-9_-]: a fraction when it is -?[0-9]+ and a full stop follows,
    // else a decimal number when it is -?[0-9]+, else a hexadecimal number when it is
    // 0x[0-9a-fA-F]+, else an identifier.
    void Word(const char* s) {
        // Names mostly start with a letter: no block scan for digits there.
        const char* const digits = s + (*s == '-' ? 1 : 0);
        Word(s, Is(*digits, kDigitChar) ? SkipDigits(digits) : digits);
    }

    // The same, with e the end of the digits that follow the optional minus sign.
    void Word(const char* s, const char* e) { WordBody(s, e); }
    // Inlined into the value loop, where a call's saved registers cost as much as the hexadecimal
    // conversion.
    QX_ALWAYS_INLINE void WordBody(const char* s, const char* e) {
        const char* const digits = s + (*s == '-' ? 1 : 0);
        if (e != digits && !Is(*e, kWordChar)) {
            if (*e != '.') {
                Number(s, e, DecimalValue(s, static_cast<std::size_t>(e - s)));
                return;
            }
            e = SkipDigits(e + 1);
            // Out of range the generated scanner's value would depend on what follows.
            tok_ = ExactRealValue(s, static_cast<std::size_t>(e - s), val_.real) ? kReal : kUnsure;
            p_ = e;
            return;
        }
        e = SkipWord(e);
        p_ = e;
        if (s[0] == '0' && s[1] == 'x' && e - s > 2) {
            // Up to 16 digits the value cannot saturate: checked and converted at once.
            if (e - s <= 18) {
                std::uint32_t v = 0;
                if (ShortHex(s + 2, static_cast<std::size_t>(e - s - 2), v)) {
                    Number(s, e, v);
                    return;
                }
            } else {
                const char* h = s + 2;
                while (h != e && Is(*h, kHexChar)) ++h;
                if (h == e) {
                    Number(s, e, HexValue(s, static_cast<std::size_t>(e - s)));
                    return;
                }
            }
        }
        val_.str = s;
        val_.len = static_cast<std::size_t>(e - s);
        tok_ = kIdent;
    }

    // A number token from s to e, read as value. Texts of more than nine bytes may not fit 32
    // bits: only those are looked at, and only when notes are collected.
    void Number(const char* s, const char* e, std::int64_t value) {
        const std::size_t n = static_cast<std::size_t>(e - s);
        if (n > 9) b_.CheckNarrowed(s, n, value);
        val_.num = value;
        val_.str = s;
        val_.len = n;
        tok_ = kNumber;
        p_ = e;
    }

    // '{' parameters '}', where parameters are empty, or one parameter, or a list of them that
    // may start with a comma but never ends with one.
    bool List() {
        if (tok_ != kOpen || depth_ == kMaxDepth || !b_.OpenGroup()) return false;
        ++depth_;
        Next();
        if (tok_ != kClose) {
            if (tok_ != kComma && !Parameter()) return false;
            while (tok_ == kComma) {
                Next();
                if (!Parameter()) return false;
            }
            if (tok_ != kClose) return false;
        }
        b_.CloseGroup();
        --depth_;
        Next();
        return true;
    }

    bool Parameter() {
        for (;;) {
            if (tok_ == kIdent || tok_ == kString) {
                if (!b_.PushName(val_, false)) return false;
                Next();
            } else if (tok_ == kNumber) {
                const TokenValue first = val_;
                Next();
                if (tok_ == kTo) {
                    Next();
                    if (tok_ != kNumber || !b_.NameRange(first, val_)) return false;
                    Next();
                } else if (!b_.PushName(first, true)) {
                    return false;
                }
            } else {
                return false;
            }
            if (tok_ != kAnd) break;
            Next();
        }
        if (tok_ != kEqual) return false;
        // Values read straight from the text unless they start with something unusual.
        if (*p_ == '"' || Is(*p_, kWordChar)) return Values(false);
        Next();
        if (tok_ == kOpen) {
            if (!List()) return false;
            while (tok_ == kAnd) {
                if (!b_.NextGroup()) return false;
                Next();
                if (!List()) return false;
            }
            b_.EndObjectParameter();
            return true;
        }
        return Values(true);
    }

    // A value list, its first value in tok_ when loaded is set, else at p_.
    bool Values(bool loaded) {
        b_.BeginValues();
        // A list without storage yet, as in a fresh record, is sized once from a count of the
        // "&" before the end of the parameter (a guess: the scan knows nothing of strings and
        // ranges) instead of growing by doubling; a reused list grows only where it must.
        if (b_.FreshList()) b_.ReserveValues(1 + AmpersandsBeforeEnd(p_));
        if (loaded) {
            if (!OneValue()) return false;
            if (tok_ != kAnd) return b_.EndValues();
        }
        for (;;) {
            const Step step = FastValue();
            if (step == Step::kMore) continue;
            if (step == Step::kFail) return false;
            Next();
            if (step == Step::kDecline && !OneValue()) return false;
            if (tok_ != kAnd) break;
        }
        return b_.EndValues();
    }

    enum class Step {
        kMore,     // a value and the '&' after it are taken; p_ is at the next value
        kEnd,      // a value is taken; p_ is behind it and the next token is not read yet
        kDecline,  // nothing is taken: the value goes through the token loop
        kFail,     // the text is no command this parser will claim
    };

    // The value at p_ and a plain '&' after it, read straight from the text for the shapes
    // that make up nearly every value list; the token loop sees only what is left. A number
    // directly followed by a blank declines, since a range operator may come after the blank.
    QX_ALWAYS_INLINE Step FastValue() {
        while (Is(*p_, kBlankChar)) ++p_;
        const char* const s = p_;
        const char c = *s;
        if (c == '"') {
            const char* const close = QuoteClose(s + 1);
            if (close == nullptr) return Step::kFail;
            Text(s + 1, static_cast<std::size_t>(close - s - 1));
            p_ = close + 1;
        } else if (Is(c, kLetterChar)) {
            // Neither a number nor a hexadecimal number starts so: an identifier.
            const char* const e = SkipShortWord(s);
            Text(s, static_cast<std::size_t>(e - s));
            p_ = e;
        } else if (Is(c, kWordChar)) {
            // A plain decimal is converted in the same pass that finds its end.
            const bool negative = c == '-';
            const char* const digits = s + (negative ? 1 : 0);
            std::uint64_t magnitude = 0;
            const char* e = ReadDigits(digits, magnitude);
            if (e != digits && e - digits <= kShortDecimalDigits && !Is(*e, kWordChar)) {
                if (*e == '.') {
                    // A fraction of up to kExactDigits digits, converted as ExactRealValue does.
                    const char* const f = ReadDigits(e + 1, magnitude);
                    const std::size_t scale = static_cast<std::size_t>(f - e - 1);
                    double real = 0;
                    if (static_cast<std::size_t>(f - digits) - 1 <= kExactDigits) {
                        real = ExactFraction(magnitude, scale, negative);
                    } else if (!ExactRealValue(s, static_cast<std::size_t>(f - s), real)) {
                        return Step::kFail;
                    }
                    b_.ValueReal(real);
                    p_ = f;
                } else {
                    if (Is(*e, kBlankChar)) return Step::kDecline;
                    const std::int64_t value = NarrowDecimal(magnitude, negative);
                    if (e - s > 9) b_.CheckNarrowed(s, static_cast<std::size_t>(e - s), value);
                    p_ = e;
                    if (e[0] != '&' || e[1] != '&') {
                        b_.ValueInteger(value);
                        if (e[0] == '&') {
                            ++p_;
                            return Step::kMore;
                        }
                        return Step::kEnd;
                    }
                    if (!Range(s, value)) return Step::kFail;
                }
            } else {
                WordBody(s, e);
                switch (tok_) {
                    case kIdent:
                        Text(val_.str, val_.len);
                        break;
                    case kReal:
                        b_.ValueReal(val_.real);
                        break;
                    case kNumber:
                        if (Is(*p_, kBlankChar)) {
                            p_ = s;
                            return Step::kDecline;
                        }
                        if (!Integer(s, val_.num)) return Step::kFail;
                        break;
                    default:
                        return Step::kFail;
                }
            }
        } else {
            return Step::kDecline;
        }
        if (p_[0] == '&' && p_[1] != '&') {
            ++p_;
            return Step::kMore;
        }
        return Step::kEnd;
    }

    // A text value: most are short enough to be copied as one block.
    QX_ALWAYS_INLINE void Text(const char* s, std::size_t n) {
        char block[QXValue::kInlineText + 1];
        if (n <= QXValue::kInlineText && LoadInline(s, block))
            b_.ValueInlineText(block, n);
        else
            b_.ValueText(s, n);
    }

    // A number from s, whose end p_ is, unless a blank follows: a value, or the first bound of
    // a range.
    bool Integer(const char* s, std::int64_t first) {
        if (p_[0] != '&' || p_[1] != '&') {
            b_.ValueInteger(first);
            return true;
        }
        return Range(s, first);
    }

    // A range from the number at s, whose end p_ is at the "&&" after it. A plain decimal
    // bound is read as FastValue reads one; any other goes through the token loop.
    bool Range(const char* s, std::int64_t first) {
        p_ += 2;
        while (Is(*p_, kBlankChar)) ++p_;
        const char* const t = p_;
        const bool negative = *t == '-';
        const char* const digits = t + (negative ? 1 : 0);
        std::uint64_t magnitude = 0;
        const char* const e = ReadDigits(digits, magnitude);
        if (e != digits && e - digits <= kShortDecimalDigits && !Is(*e, kWordChar) && *e != '.') {
            const std::int64_t last = NarrowDecimal(magnitude, negative);
            if (e - t > 9) b_.CheckNarrowed(t, static_cast<std::size_t>(e - t), last);
            p_ = e;
            return b_.ValueRangeDirect(first, last, s, e);
        }
        Next();
        return tok_ == kNumber && b_.ValueRangeDirect(first, val_.num, s, val_.str + val_.len);
    }

    // The value in tok_, then the token after it.
    bool OneValue() {
        if (tok_ == kIdent || tok_ == kString) {
            b_.ValueText(val_.str, val_.len);
            Next();
        } else if (tok_ == kNumber) {
            const TokenValue first = val_;
            Next();
            if (tok_ == kTo) {
                Next();
                if (tok_ != kNumber ||
                    !b_.ValueRangeDirect(first.num, val_.num, first.str, val_.str + val_.len))
                    return false;
                Next();
            } else {
                b_.ValueInteger(first.num);
            }
        } else if (tok_ == kReal) {
            b_.ValueReal(val_.real);
            Next();
        } else {
            return false;
        }
        return true;
    }

    const char* p_;
    ParseBuilder& b_;
    Token tok_ = kEnd;
    TokenValue val_{};
    int depth_ = 0;
};

}  // namespace

bool FastParse(const std::string& text, ParseBuilder& builder) {
    // No token can reach the generated scanner's limit in a shorter text.
    if (text.size() >= kTokenLimit) return false;
    try {
        return Parser(text.c_str(), builder).Command();
    } catch (...) {
        return false;  // out of memory: the generated parser reports it its own way
    }
}

}  // namespace parser
}  // namespace NSQX_script
