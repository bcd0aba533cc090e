#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "qx_platform/Lock.h"
#include "qx_scriptutil/TScriptCmd.h"

namespace NSQX_script {

// Result of a parse that refused an over-long text (also the code of every failed command
// that the script reader records).
constexpr int kParseTooLong = 1090614023;  // 0x41017307

// Parses the text of one MML command (up to its first NUL) into cmd. Returns 0 on success and 1
// on a syntax error, with the message on standard output; cmd keeps what was built before the
// error. A command that would hold more than 4194304 values in all (values, and names made by
// ranges) fails the same way, with the message "command expands to more than 4194304 values"
// and a trace line at level 1, so that a few bytes of ranges cannot exhaust memory; a range of
// four million integers still parses. cmd's earlier
// parameters are overwritten in place so that their storage is reused. Characters that fit no
// token are echoed to standard output; a single token of 131072 bytes or more ends the process
// with status 1. Each thread parses with its own scanner, parser and builder: parses on
// different threads run at once and take no lock (but see SetParserDebug). cmd belongs to the
// caller; the result is complete when the call returns.
QX_API int AnalyseOneCommand(const std::string& text, MMLCmdStruct& cmd);
// As AnalyseOneCommand, but refuses texts longer than 131071 bytes with kParseTooLong.
QX_API int AnalyseOneCommandEx(const std::string& text, MMLCmdStruct& cmd);

// Text that the parser read differently from how it is written, so that a caller can tell the
// user: an integer narrowed to 32 bits, a backward range that reads as no values, or bytes
// outside quotes that fit no token and are dropped ("caf" is read for caf\xC3\xA9).
struct TParseNote {
    enum Kind { kNarrowedInteger, kBackwardRange, kDroppedBytes };
    Kind kind = kNarrowedInteger;
    std::size_t offset = 0;  // byte offset of the value's text in the command text
    std::size_t length = 0;  // bytes of the value's text
    std::string message;     // for example "4294967296 does not fit 32 bits and reads as 0"
};

// What a detailed parse found: the status AnalyseOneCommandEx would return and, when it is not
// 0, where and why the text stopped parsing.
struct TParseResult {
    int status = 0;          // 0, 1 (syntax error) or kParseTooLong
    std::size_t offset = 0;  // on failure: byte offset of the first byte that could not be taken
    std::string reason;      // on failure: for example "unexpected character '#'"
    std::vector<TParseNote> notes;  // in text order, also after a failure
    explicit operator bool() const { return status == 0; }
};

// As AnalyseOneCommandEx, with the same tree in cmd, but prints nothing to standard output and
// says where and why a text does not parse. cmd belongs to the caller.
QX_API TParseResult AnalyseOneCommandDetailed(const std::string& text, MMLCmdStruct& cmd);

// Process-wide switch, off by default, for the parser's trace of its states and reductions on
// standard output. Public because a host or the tool's verbose mode has no other way to see
// why a command does not parse. While it is on, parses take ScriptParseLock in turn, so that
// their lines never interleave, and skip the hand-written parser so that every command shows.
QX_API void SetParserDebug(bool on);

// Held by traced parses (above). Parses without the trace no longer need it; it stays for
// hosts that serialise their own work on it. Not recursive; built when the library is loaded.
// No other lock is taken while the parser holds it.
QX_API extern qxp::Mutex ScriptParseLock;

}  // namespace NSQX_script
