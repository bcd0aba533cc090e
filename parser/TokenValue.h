#pragma once

#include <cstddef>
#include <cstdint>

namespace NSQX_script {
namespace parser {

// The semantic value of one token. Trivially copyable so that the parser may move its value
// stack with memcpy. The text points into the scanner's input buffer and stays valid until the
// parse ends; numbers carry their text too, so that a range knows where it stands.
struct TokenValue {
    std::int64_t num;
    const char* str;
    std::size_t len;
    double real;
};

}  // namespace parser
}  // namespace NSQX_script
