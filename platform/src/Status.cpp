#include "qx_platform/Status.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace qxp {

Status Status::Error(int code, std::string message) {
    Status s;
    s.code_ = code != 0 ? code : EIO;
    s.message_ = std::move(message);
    return s;
}

Status Status::FromErrno(int code, const std::string& context) {
    if (code == 0) code = EIO;
    char buf[256];
    // The GNU strerror_r may return a static text instead of filling buf.
    const char* text = strerror_r(code, buf, sizeof buf);
    return Error(code, context + ": " + text);
}

}  // namespace qxp
