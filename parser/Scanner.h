#pragma once

#include <cstddef>

#include "parser/TokenValue.h"

namespace NSQX_script {
namespace parser {

class ParseContext;

// The scanner's token buffer: a token of this many bytes or more ends the process.
constexpr std::size_t kTokenLimit = 131072;

// Makes and frees the generated scanner of a context.
void* NewScanner(ParseContext& ctx);
void FreeScanner(ParseContext& ctx) noexcept;

// Points the context's scanner at a copy of text, which ends at its first NUL. The copy lives
// in a buffer the context keeps from one parse to the next.
void ScanBegin(ParseContext& ctx, const char* text, std::size_t length);

// The next token and its value; records where it stood in ctx.
int ScanToken(TokenValue& value, ParseContext& ctx);

}  // namespace parser
}  // namespace NSQX_script
