#pragma once

#include <string>

#include "qx_platform/Export.h"

namespace qxp {

// Reads an NE ID: "a-b" with two decimal 16-bit numbers (a physical NE ID, a << 16 | b), a
// plain decimal number, or "0x" followed by hexadecimal digits, each fitting 32 bits. False
// for every other text, including surrounding blanks and parts out of range.
QXP_API bool QXStr2NEID(const char* text, unsigned long& neId);

// Whole-text integer readers: optional leading blanks and sign, digits of the base, nothing
// after. False on empty text, other characters or overflow; the output is then unchanged.
QXP_API bool QXStr2Int(const char* text, long& value, int base = 10);
QXP_API bool QXStr2UInt(const char* text, unsigned long& value, int base = 10);
QXP_API std::string QXInt2Str(long value);
QXP_API std::string QXUInt2Str(unsigned long value);

}  // namespace qxp
