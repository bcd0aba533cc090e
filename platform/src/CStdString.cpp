#include "qx_platform/CStdString.h"

#include <cstdio>

namespace qxp {

int CStdString::FormatV(const char* fmt, va_list args) {
    va_list copy;
    va_copy(copy, args);
    char small[256];
    const int n = std::vsnprintf(small, sizeof small, fmt, copy);
    va_end(copy);
    if (n < 0) {
        clear();
        return 0;
    }
    if (static_cast<std::size_t>(n) < sizeof small) {
        assign(small, static_cast<std::size_t>(n));
    } else {
        resize(static_cast<std::size_t>(n));
        std::vsnprintf(&(*this)[0], static_cast<std::size_t>(n) + 1, fmt, args);
    }
    return n;
}

int CStdString::Format(const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    const int n = FormatV(fmt, args);
    va_end(args);
    return n;
}

void CStdString::AppendFormat(const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    CStdString tail;
    tail.FormatV(fmt, args);
    va_end(args);
    append(tail);
}

}  // namespace qxp
