#pragma once

#include <string>

#include "qx_scriptutil/TScriptCmd.h"

namespace NSQX_script {
namespace parser {

class ParseContext;

// Forgets where the trace stood; under ScriptParseLock, when the switch is turned on.
void ResetTrace();

// The debug switch: process-wide, read once at the start of each parse.
void SetParseTrace(bool on);
bool ParseTraceOn();

// AnalyseOneCommand through the generated parser alone, as the reference that the hand-written
// one is measured and checked against.
int ParseWithGrammar(const std::string& text, MMLCmdStruct& cmd);

}  // namespace parser
}  // namespace NSQX_script

// The generated parser's entry point: 0 on success, 1 on a syntax error or a failed action,
// 2 when its stacks could not grow.
int qxmmlparse(NSQX_script::parser::ParseContext& ctx);
