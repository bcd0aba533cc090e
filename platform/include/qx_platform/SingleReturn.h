#pragma once

#include <string>

namespace qxp {

// The host's return record of a plug-in call: a code and two texts. A value type.
struct QXSingleReturn {
    unsigned long code = 0;
    std::string text;
    std::string detail;
};

}  // namespace qxp
