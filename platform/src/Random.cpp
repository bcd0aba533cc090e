#include <openssl/rand.h>

#include <climits>

#include "qx_platform/Random.h"

namespace qxp {

bool RandomBytes(unsigned char* buf, std::size_t n) {
    if (n > static_cast<std::size_t>(INT_MAX)) return false;
    return RAND_status() == 1 && RAND_bytes(buf, static_cast<int>(n)) == 1;
}

}  // namespace qxp
