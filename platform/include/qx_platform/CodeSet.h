#pragma once

#include <cstddef>
#include <string>

#include "qx_platform/Export.h"

namespace qxp {

// Converts text between "UTF-8", "GBK" and "ISO8859-1" (glibc iconv). Fails, leaving out
// unchanged, on an unknown encoding name, invalid input or a character the target cannot
// hold; never guesses. Text in one encoding converted to the same one is checked and copied.
// Thread-safe; iconv descriptors are cached per thread.
QXP_API bool OrinCodeSetConvert(const char* from, const char* to, const std::string& in,
                                std::string& out);

// As OrinCodeSetConvert, for the bytes [data, data + size) that are not held in a string of
// their own: the text is copied once, straight into out.
QXP_API bool OrinCodeSetConvert(const char* from, const char* to, const char* data,
                                std::size_t size, std::string& out);

// As OrinCodeSetConvert, for bytes the caller knows to hold nothing above 0x7F: the three
// encodings hold ASCII alike, so once both names are known the text is copied unchecked.
QXP_API bool OrinCodeSetConvertAscii(const char* from, const char* to, const char* data,
                                     std::size_t size, std::string& out);

// As OrinCodeSetConvert, for a caller that no longer needs its input: a text that is already
// right in the target encoding is swapped into out instead of copied, leaving in with out's
// old content. On failure both are unchanged.
QXP_API bool OrinCodeSetConvertTaking(const char* from, const char* to, std::string& in,
                                      std::string& out);

}  // namespace qxp
