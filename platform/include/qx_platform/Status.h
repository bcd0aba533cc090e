#pragma once

#include <string>

#include "qx_platform/Export.h"

namespace qxp {

// The outcome of a platform operation: success, or the system error number with a message
// that names the file and the cause ("out.txt: No space left on device"). A plain value.
class QXP_API Status {
  public:
    Status() = default;
    static Status OK() { return Status(); }
    // code is a system error number (errno); 0 is taken as EIO, since a failure needs one.
    static Status Error(int code, std::string message);
    // "context: strerror(code)".
    static Status FromErrno(int code, const std::string& context);

    bool ok() const { return code_ == 0; }
    int code() const { return code_; }
    const std::string& message() const { return message_; }
    // "OK" or the message.
    std::string ToString() const { return ok() ? std::string("OK") : message_; }

  private:
    int code_ = 0;
    std::string message_;
};

}  // namespace qxp
