#pragma once

namespace NSQX_script {
namespace parser {

// Turns the generated parser's trace on or off (process-wide; call under ScriptParseLock).
void SetParseTrace(bool on);

}  // namespace parser
}  // namespace NSQX_script

// The generated parser's entry point: 0 on success, 1 on a syntax error or a failed action,
// 2 when its stacks could not grow.
int qxmmlparse();
