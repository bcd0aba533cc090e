#pragma once

#include <string>

#include "qx_scriptutil/TScriptCmd.h"

namespace NSQX_script {

// Result of a parse that refused an over-long text (also the code of every failed command
// that the script reader records).
constexpr int kParseTooLong = 1090614023;  // 0x41017307

// Parses the text of one MML command (up to its first NUL) into cmd. Returns 0 on success and 1
// on a syntax error, with the message on standard output; cmd keeps what was built before the
// error. A command whose ranges and name lists would hold more than about a million values in
// all fails the same way ("too many values"). cmd's earlier parameters are overwritten in place
// so that their storage is reused. Characters that fit no token are echoed to standard output;
// a single token of 131072 bytes or more ends the process with status 1. Parses from all
// threads are serialised by one process-wide lock; cmd belongs to the caller.
QX_API int AnalyseOneCommand(const std::string& text, MMLCmdStruct& cmd);
// As AnalyseOneCommand, but refuses texts longer than 131071 bytes with kParseTooLong.
QX_API int AnalyseOneCommandEx(const std::string& text, MMLCmdStruct& cmd);

// Process-wide switch for the parser's trace of its states and reductions on standard output.
QX_API void SetParserDebug(bool on);

}  // namespace NSQX_script
