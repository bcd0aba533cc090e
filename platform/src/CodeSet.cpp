#include "qx_platform/CodeSet.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#include <iconv.h>
#include <strings.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace qxp {

namespace {

enum Encoding : int { kUtf8, kGbk, kLatin1, kEncodingCount, kUnknown = -1 };

const char* const kIconvNames[kEncodingCount] = {"UTF-8", "GBK", "ISO-8859-1"};

Encoding Lookup(const char* name) {
    if (name == nullptr) return kUnknown;
    // The host's exact spellings first (the hot path), then the aliases in any case.
    if (std::strcmp(name, "UTF-8") == 0) return kUtf8;
    if (std::strcmp(name, "GBK") == 0) return kGbk;
    if (std::strcmp(name, "ISO8859-1") == 0) return kLatin1;
    if (strcasecmp(name, "UTF-8") == 0 || strcasecmp(name, "UTF8") == 0) return kUtf8;
    if (strcasecmp(name, "GBK") == 0 || strcasecmp(name, "CP936") == 0) return kGbk;
    if (strcasecmp(name, "ISO8859-1") == 0 || strcasecmp(name, "ISO-8859-1") == 0 ||
        strcasecmp(name, "LATIN1") == 0) {
        return kLatin1;
    }
    return kUnknown;
}

// The first byte of [p, end) above 0x7F, or end.
inline const unsigned char* SkipAscii(const unsigned char* p, const unsigned char* end) {
#if defined(__SSE2__)
    // A byte's top bit is all that tells it from ASCII: one movemask per sixteen bytes, and
    // for four blocks of ASCII at once, as most are. The first block is looked at alone: the
    // next character of a non-ASCII text is often near.
    const auto block = [](const unsigned char* at) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    };
    if (end - p >= 16) {
        const int mask = _mm_movemask_epi8(block(p));
        if (mask != 0) return p + __builtin_ctz(static_cast<unsigned>(mask));
        p += 16;
    }
    for (; end - p >= 64; p += 64) {
        const __m128i any = _mm_or_si128(_mm_or_si128(block(p), block(p + 16)),
                                         _mm_or_si128(block(p + 32), block(p + 48)));
        if (_mm_movemask_epi8(any) != 0) break;
    }
    for (; end - p >= 16; p += 16) {
        const int mask = _mm_movemask_epi8(block(p));
        if (mask != 0) return p + __builtin_ctz(static_cast<unsigned>(mask));
    }
#else
    for (std::uint64_t word; end - p >= 8; p += 8) {
        std::memcpy(&word, p, 8);
        if ((word & 0x8080808080808080ULL) != 0) break;
    }
#endif
    while (p < end && *p < 0x80) ++p;
    return p;
}

bool IsAscii(const char* s, std::size_t n) {
    const auto* p = reinterpret_cast<const unsigned char*>(s);
    return SkipAscii(p, p + n) == p + n;
}

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF. From p, which starts
// a character, to end.
bool IsValidUtf8From(const unsigned char* p, const unsigned char* const end) {
    for (;;) {
        p = SkipAscii(p, end);
        if (p == end) return true;
        const unsigned char c = *p;
        int len = 0;
        unsigned char lo = 0x80, hi = 0xBF;
        if (c >= 0xC2 && c <= 0xDF) {
            len = 2;
        } else if (c >= 0xE0 && c <= 0xEF) {
            len = 3;
            if (c == 0xE0) lo = 0xA0;
            if (c == 0xED) hi = 0x9F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            len = 4;
            if (c == 0xF0) lo = 0x90;
            if (c == 0xF4) hi = 0x8F;
        } else {
            return false;
        }
        if (end - p < len || p[1] < lo || p[1] > hi) return false;
        for (int i = 2; i < len; ++i) {
            if (p[i] < 0x80 || p[i] > 0xBF) return false;
        }
        p += len;
    }
}

#if defined(__SSE2__)
// What a lead byte (0x80 to 0xFF) calls for: the character's length (0: no lead byte), the
// range of its second byte and, over the four bytes read from it as a little-endian word, the
// top bits of its third and fourth bytes, which must be 10.
struct Lead {
    std::uint8_t length;
    std::uint8_t low;
    std::uint8_t high;
    std::uint32_t follow;
};

constexpr std::array<Lead, 128> MakeLeads() {
    std::array<Lead, 128> t{};
    for (int c = 0xC2; c <= 0xF4; ++c) {
        Lead& l = t[c - 0x80];
        l.length = c <= 0xDF ? 2 : c <= 0xEF ? 3 : 4;
        l.low = c == 0xE0 ? 0xA0 : c == 0xF0 ? 0x90 : 0x80;
        l.high = c == 0xED ? 0x9F : c == 0xF4 ? 0x8F : 0xBF;
        l.follow = l.length == 3 ? 0x00C00000 : l.length == 4 ? 0xC0C00000 : 0;
    }
    return t;
}
constexpr std::array<Lead, 128> kLeads = MakeLeads();

// The length of the valid character at p, a byte above 0x7F with four bytes readable from it;
// 0 when it is not one. Tests without branches: in a text that mixes lengths they mispredict.
inline int CharLength(const unsigned char* p) {
    const Lead& l = kLeads[*p - 0x80];
    std::uint32_t word;
    std::memcpy(&word, p, 4);
    const bool bad = (l.length == 0) | (p[1] < l.low) | (p[1] > l.high) |
                     ((word & l.follow) != (l.follow & 0x80808080));
    return bad ? 0 : l.length;
}
#endif

bool IsValidUtf8(const char* s, std::size_t n) {
    const auto* p = reinterpret_cast<const unsigned char*>(s);
    const auto* const end = p + n;
#if defined(__SSE2__)
    // Sixty-four bytes at a time: ASCII is passed at once, as most is; else the characters that
    // start there are taken one by one from the mask of bytes above 0x7F. Three bytes more
    // than the window stay readable for the last character's word.
    const auto block = [](const unsigned char* at) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    };
    const auto bits = [](__m128i v, int shift) {
        return static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(v))) << shift;
    };
    while (end - p >= 64 + 3) {
        const __m128i v0 = block(p), v1 = block(p + 16), v2 = block(p + 32), v3 = block(p + 48);
        if (_mm_movemask_epi8(_mm_or_si128(_mm_or_si128(v0, v1), _mm_or_si128(v2, v3))) == 0) {
            p += 64;
            continue;
        }
        std::uint64_t high = bits(v0, 0) | bits(v1, 16) | bits(v2, 32) | bits(v3, 48);
        int next = 64;  // where the window's last character ends, from p
        while (high != 0) {
            const int at = __builtin_ctzll(high);
            const int length = CharLength(p + at);
            if (length == 0) return false;  // a stray continuation byte too
            next = at + length;
            if (next >= 64) break;
            high &= ~std::uint64_t{0} << next;
        }
        p += next > 64 ? next : 64;
    }
#endif
    return IsValidUtf8From(p, end);
}

// The calling thread's descriptors, opened on first use of a pair and closed at thread exit.
class IconvCache {
  public:
    IconvCache() {
        for (auto& row : cd_) {
            for (auto& cd : row) cd = Invalid();
        }
    }
    ~IconvCache() {
        for (auto& row : cd_) {
            for (auto& cd : row) {
                if (cd != Invalid()) iconv_close(cd);
            }
        }
    }
    IconvCache(const IconvCache&) = delete;
    IconvCache& operator=(const IconvCache&) = delete;

    iconv_t Get(Encoding from, Encoding to) {
        iconv_t& cd = cd_[from][to];
        if (cd == Invalid()) cd = iconv_open(kIconvNames[to], kIconvNames[from]);
        return cd;
    }
    std::string& Scratch() { return scratch_; }

  private:
    static iconv_t Invalid() { return reinterpret_cast<iconv_t>(-1); }
    iconv_t cd_[kEncodingCount][kEncodingCount];
    std::string scratch_;  // reused between calls
};

IconvCache& Cache() {
    thread_local IconvCache cache;
    return cache;
}

// Converts the whole input into the thread's scratch buffer; false on any bad byte.
bool IconvAll(Encoding from, Encoding to, const char* in, std::size_t size, std::size_t& length) {
    IconvCache& cache = Cache();
    const iconv_t cd = cache.Get(from, to);
    if (cd == reinterpret_cast<iconv_t>(-1)) return false;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);  // back to the initial state

    std::string& out = cache.Scratch();
    if (out.size() < size * 2 + 16) out.resize(size * 2 + 16);
    char* inPtr = const_cast<char*>(in);  // iconv does not write through it
    std::size_t inLeft = size;
    std::size_t done = 0;
    for (;;) {
        char* outPtr = &out[done];
        std::size_t outLeft = out.size() - done;
        const std::size_t rc = iconv(cd, &inPtr, &inLeft, &outPtr, &outLeft);
        done = out.size() - outLeft;
        if (rc != static_cast<std::size_t>(-1)) {
            if (inLeft != 0) return false;
            break;
        }
        if (errno != E2BIG) return false;  // EILSEQ or a truncated sequence (EINVAL)
        out.resize(out.size() * 2);
    }
    // Flushes any pending shift state (none for these encodings, but cheap).
    for (;;) {
        char* outPtr = &out[done];
        std::size_t outLeft = out.size() - done;
        if (iconv(cd, nullptr, nullptr, &outPtr, &outLeft) != static_cast<std::size_t>(-1)) {
            done = out.size() - outLeft;
            break;
        }
        if (errno != E2BIG) return false;
        out.resize(out.size() * 2);
    }
    // The scratch keeps its size for the next call; the result is its first `done` bytes.
    length = done;
    return true;
}

}  // namespace

namespace {

enum class Outcome { kFailed, kUnchanged, kConverted };

// kUnchanged: the text is already right in the target encoding; kConverted: the result is the
// first `length` bytes of the thread's scratch buffer.
Outcome Convert(const char* from, const char* to, const char* in, std::size_t size,
                std::size_t& length) {
    const Encoding source = Lookup(from);
    const Encoding target = Lookup(to);
    if (source == kUnknown || target == kUnknown) return Outcome::kFailed;
    // The check of UTF-8 passes ASCII on its own.
    if (source == kUtf8 && target == kUtf8) {
        return IsValidUtf8(in, size) ? Outcome::kUnchanged : Outcome::kFailed;
    }
    // All three encodings agree on ASCII: the common case of a plain command.
    if (IsAscii(in, size)) return Outcome::kUnchanged;
    if (source == target) {
        if (source == kGbk && !IconvAll(kGbk, kUtf8, in, size, length)) return Outcome::kFailed;
        return Outcome::kUnchanged;
    }
    return IconvAll(source, target, in, size, length) ? Outcome::kConverted : Outcome::kFailed;
}

}  // namespace

bool OrinCodeSetConvert(const char* from, const char* to, const std::string& in, std::string& out) {
    std::size_t length = 0;
    const Outcome outcome = Convert(from, to, in.data(), in.size(), length);
    if (outcome == Outcome::kUnchanged) out = in;
    if (outcome == Outcome::kConverted) out.assign(Cache().Scratch().data(), length);
    return outcome != Outcome::kFailed;
}

bool OrinCodeSetConvert(const char* from, const char* to, const char* data, std::size_t size,
                        std::string& out) {
    std::size_t length = 0;
    const Outcome outcome = Convert(from, to, data, size, length);
    if (outcome == Outcome::kUnchanged) out.assign(data, size);
    if (outcome == Outcome::kConverted) out.assign(Cache().Scratch().data(), length);
    return outcome != Outcome::kFailed;
}

bool OrinCodeSetConvertAscii(const char* from, const char* to, const char* data, std::size_t size,
                             std::string& out) {
    if (Lookup(from) == kUnknown || Lookup(to) == kUnknown) return false;
    out.assign(data, size);
    return true;
}

bool OrinCodeSetConvertTaking(const char* from, const char* to, std::string& in, std::string& out) {
    std::size_t length = 0;
    const Outcome outcome = Convert(from, to, in.data(), in.size(), length);
    if (outcome == Outcome::kUnchanged) out.swap(in);
    if (outcome == Outcome::kConverted) out.assign(Cache().Scratch().data(), length);
    return outcome != Outcome::kFailed;
}

}  // namespace qxp
