#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace NSQX_script {

// Bounded string and memory functions. Each returns 0 on success and non-zero when the
// destination is null or too small or an argument is invalid; callers trace the failure and
// go on, so on failure the destination holds a terminated (possibly empty) text where it can.

inline int strcpy_s(char* dest, std::size_t destSize, const char* src) {
    if (dest == nullptr || destSize == 0) return 1;
    if (src == nullptr) {
        dest[0] = '\0';
        return 1;
    }
    const std::size_t n = std::strlen(src);
    if (n >= destSize) {
        dest[0] = '\0';
        return 1;
    }
    std::memcpy(dest, src, n + 1);
    return 0;
}

inline int strncpy_s(char* dest, std::size_t destSize, const char* src, std::size_t count) {
    if (dest == nullptr || destSize == 0) return 1;
    if (src == nullptr) {
        dest[0] = '\0';
        return 1;
    }
    const std::size_t n = strnlen(src, count);
    if (n >= destSize) {
        dest[0] = '\0';
        return 1;
    }
    std::memcpy(dest, src, n);
    dest[n] = '\0';
    return 0;
}

inline int memcpy_s(void* dest, std::size_t destSize, const void* src, std::size_t count) {
    if (dest == nullptr || (src == nullptr && count != 0) || count > destSize) return 1;
    if (count != 0) std::memcpy(dest, src, count);
    return 0;
}

inline int memset_s(void* dest, std::size_t destSize, int c, std::size_t count) {
    if (dest == nullptr || count > destSize) return 1;
    std::memset(dest, c, count);
    return 0;
}

// Returns the number of characters written, or -1 when the text did not fit (the buffer then
// holds the truncated text) or the arguments are invalid.
inline int snprintf_s(char* dest, std::size_t destSize, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
inline int snprintf_s(char* dest, std::size_t destSize, const char* fmt, ...) {
    if (dest == nullptr || destSize == 0 || fmt == nullptr) return -1;
    va_list args;
    va_start(args, fmt);
    const int n = std::vsnprintf(dest, destSize, fmt, args);
    va_end(args);
    if (n < 0 || static_cast<std::size_t>(n) >= destSize) return -1;
    return n;
}

}  // namespace NSQX_script
