#pragma once

#include <cstdarg>
#include <string>

#include "qx_platform/Export.h"

namespace qxp {

// The host's string class: a std::string that also formats printf-style. Holds bytes; the
// script library keeps UTF-8 in it. A value type with no shared state.
class QXP_API CStdString : public std::string {
  public:
    using std::string::string;
    CStdString() = default;
    CStdString(const std::string& s) : std::string(s) {}
    CStdString(std::string&& s) noexcept : std::string(std::move(s)) {}

    // Replaces the contents with the formatted text; returns the new length.
    int Format(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
    int FormatV(const char* fmt, va_list args);
    // Appends the formatted text.
    void AppendFormat(const char* fmt, ...) __attribute__((format(printf, 2, 3)));

    const char* GetString() const { return c_str(); }
    int GetLength() const { return static_cast<int>(size()); }
    bool IsEmpty() const { return empty(); }
};

}  // namespace qxp
