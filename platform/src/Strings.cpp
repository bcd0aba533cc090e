#include "qx_platform/Strings.h"

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>

namespace qxp {

namespace {

// Reads [first, last) as a whole unsigned number of the base, at most `limit`.
bool ReadDigits(const char* first, const char* last, int base, unsigned long limit,
                unsigned long& value) {
    if (first == last) return false;
    unsigned long v = 0;
    const auto r = std::from_chars(first, last, v, base);
    if (r.ec != std::errc() || r.ptr != last || v > limit) return false;
    value = v;
    return true;
}

}  // namespace

bool QXStr2NEID(const char* text, unsigned long& neId) {
    if (text == nullptr) return false;
    const char* end = text + std::strlen(text);
    // from_chars takes no sign, no blanks and no prefix, so anything else fails below.
    if (end - text > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        return ReadDigits(text + 2, end, 16, 0xFFFFFFFFUL, neId);
    }
    if (const char* dash = std::strchr(text, '-')) {
        unsigned long ne = 0, sub = 0;
        if (!ReadDigits(text, dash, 10, 0xFFFF, ne) ||
            !ReadDigits(dash + 1, end, 10, 0xFFFF, sub)) {
            return false;
        }
        neId = ne << 16 | sub;
        return true;
    }
    return ReadDigits(text, end, 10, 0xFFFFFFFFUL, neId);
}

bool QXStr2Int(const char* text, long& value, int base) {
    if (text == nullptr) return false;
    char* end = nullptr;
    errno = 0;
    const long v = std::strtol(text, &end, base);
    if (end == text || *end != '\0' || errno != 0) return false;
    value = v;
    return true;
}

bool QXStr2UInt(const char* text, unsigned long& value, int base) {
    if (text == nullptr) return false;
    const char* p = text;
    while (std::isspace(static_cast<unsigned char>(*p))) ++p;
    // strtoul would accept "-1" as the largest value.
    if (*p == '-') return false;
    char* end = nullptr;
    errno = 0;
    const unsigned long v = std::strtoul(text, &end, base);
    if (end == text || *end != '\0' || errno != 0) return false;
    value = v;
    return true;
}

std::string QXInt2Str(long value) {
    char buf[24];
    const auto r = std::to_chars(buf, buf + sizeof buf, value);
    return std::string(buf, r.ptr);
}

std::string QXUInt2Str(unsigned long value) {
    char buf[24];
    const auto r = std::to_chars(buf, buf + sizeof buf, value);
    return std::string(buf, r.ptr);
}

}  // namespace qxp
