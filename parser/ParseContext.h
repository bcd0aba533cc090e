#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "parser/ParseBuilder.h"

struct yy_buffer_state;

namespace NSQX_script {
namespace parser {

// Everything one parse touches: the scanner, its input buffer, the builder and what a detailed
// parse learns about a failure. Each thread has its own (ThisThreadContext), so parses on
// different threads share nothing and take no lock; a context is confined to its thread.
class ParseContext {
  public:
    ParseContext();
    ~ParseContext();
    ParseContext(const ParseContext&) = delete;
    ParseContext& operator=(const ParseContext&) = delete;

    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    void* scanner = nullptr;  // the generated scanner's state (its yyscan_t)
    yy_buffer_state* scanState = nullptr;
    std::unique_ptr<char[]> buffer;  // the copy of the text being scanned, NUL-terminated
    std::size_t capacity = 0;
    std::size_t length = 0;  // of the text up to its first NUL
    ParseBuilder builder;

    // Where the scan of a string stops depends only on where it starts, and an opening met
    // inside an earlier scan continues exactly as that scan did. So after a double-quoted
    // string fails to close, every later one fails too; and an opening bracket inside
    // (bracketFrom, bracketTo) cannot reach a closing bracket.
    bool quoteFailed = false;
    const char* bracketFrom = nullptr;
    const char* bracketTo = nullptr;

    // Set for a detailed parse: nothing goes to standard output.
    bool quiet = false;
    // The generated parser traces this parse: the debug switch was on when it began.
    bool tracing = false;
    // The last token the scanner returned, and the first byte it skipped before that token
    // since the one before (kNone when none), as offsets in the text.
    int token = 0;
    std::size_t tokenStart = 0;
    std::size_t tokenLength = 0;
    std::size_t skipped = kNone;
    // Offsets of every byte the scanner skipped, kept only while quiet (a detailed parse).
    std::vector<std::size_t> dropped;
    // The grammar ran into a token it does not take (rather than a failed action).
    bool syntaxError = false;
};

// The calling thread's context.
ParseContext& ThisThreadContext();

}  // namespace parser
}  // namespace NSQX_script
