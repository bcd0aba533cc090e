#pragma once

#include <cstddef>

#include "qx_platform/Export.h"

namespace qxp {

// Fills buf with n bytes from the system's cryptographic random source (OpenSSL's); false when
// the source is not seeded or fails (buf is then unspecified). Thread-safe.
QXP_API bool RandomBytes(unsigned char* buf, std::size_t n);

}  // namespace qxp
