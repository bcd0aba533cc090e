#pragma once

#include <cstddef>

namespace NSQX_script {
namespace parser {

// The scanner's token buffer: a token of this many bytes or more ends the process.
constexpr std::size_t kTokenLimit = 131072;

// Points the process-wide scanner at a copy of text, which ends at its first NUL. The copy
// lives in a buffer kept from one parse to the next. Call only under ScriptParseLock.
void ScanBegin(const char* text, std::size_t length);

}  // namespace parser
}  // namespace NSQX_script

// The generated scanner's entry point.
int qxmmllex();
