#pragma once

#include <string>

#include "qx_scriptutil/TScriptCmd.h"

namespace NSQX_script {

// Result of a parse that refused an over-long text (also the code of every failed command
// that the script reader records).
constexpr int kParseTooLong = 1090614023;  // 0x41017307

// Parses the text of one MML command into cmd. Returns 0 on success and 1 on a syntax error;
// cmd keeps what was built before an error. Parses from all threads are serialised by one
// process-wide lock.
QX_API int AnalyseOneCommand(const std::string& text, MMLCmdStruct& cmd);
// As AnalyseOneCommand, but refuses texts longer than 131071 bytes with kParseTooLong.
QX_API int AnalyseOneCommandEx(const std::string& text, MMLCmdStruct& cmd);

// Process-wide switch for the parser's trace of its states and reductions on standard output.
QX_API void SetParserDebug(bool on);

}  // namespace NSQX_script
