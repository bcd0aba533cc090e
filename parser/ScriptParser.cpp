#include "qx_scriptutil/ScriptParser.h"

#include <cstdio>

#include "parser/FastParser.h"
#include "parser/Grammar.h"
#include "parser/ParseBuilder.h"
#include "parser/Scanner.h"
#include "parser/ScriptParseLock.h"
#include "qx_platform/Trace.h"

namespace NSQX_script {

qxp::Mutex ScriptParseLock;

namespace {

constexpr std::size_t kMaxCommandLength = 131071;  // 0x1FFFF

// Runs under ScriptParseLock, with the builder begun on cmd; may throw.
int ParseLocked(const std::string& text, parser::ParseBuilder& builder, MMLCmdStruct& cmd,
                bool tryFast) {
    // The hand-written parser takes the common commands; whatever it declines is parsed afresh
    // by the generated one, messages and partial trees included. With the trace on, every
    // command shows in it.
    if (tryFast && !parser::ParseTraceOn() && parser::FastParse(text, builder)) return 0;
    builder.Finish();
    builder.Begin(cmd);
    // Every parse points the scanner afresh, so a failed one leaves nothing to reset.
    parser::ScanBegin(text.data(), text.size());
    return qxmmlparse() == 0 ? 0 : 1;
}

int Parse(const std::string& text, MMLCmdStruct& cmd, bool tryFast) {
    // A lock that cannot be taken does not stop the parse: it runs unlocked.
    qxp::LockGuard<qxp::Mutex> guard(ScriptParseLock);
    parser::ParseBuilder& builder = parser::TheParseBuilder();
    int result = 1;
    try {
        builder.Begin(cmd);
        result = ParseLocked(text, builder, cmd, tryFast);
    } catch (...) {
        result = 1;
    }
    builder.Finish();
    return result;
}

}  // namespace

int AnalyseOneCommand(const std::string& text, MMLCmdStruct& cmd) {
    return Parse(text, cmd, true);
}

int AnalyseOneCommandEx(const std::string& text, MMLCmdStruct& cmd) {
    if (text.size() > kMaxCommandLength) {
        qxp::QXTrace(qxp::kTraceError, "AnalyseOneCommandEx failed, input string is too long.\n");
        return kParseTooLong;
    }
    return AnalyseOneCommand(text, cmd);
}

TParseResult AnalyseOneCommandDetailed(const std::string& text, MMLCmdStruct& cmd) {
    // Placeholder until the parser reports positions: the status alone.
    TParseResult result;
    result.status = AnalyseOneCommandEx(text, cmd);
    if (result.status != 0) result.reason = "syntax error";
    return result;
}

void SetParserDebug(bool on) {
    qxp::LockGuard<qxp::Mutex> guard(ScriptParseLock);
    parser::SetParseTrace(on);
}

namespace parser {

int ParseWithGrammar(const std::string& text, MMLCmdStruct& cmd) {
    return Parse(text, cmd, false);
}

bool FastParseCommand(const std::string& text, MMLCmdStruct& cmd) {
    qxp::LockGuard<qxp::Mutex> guard(ScriptParseLock);
    ParseBuilder& builder = TheParseBuilder();
    bool parsed = false;
    try {
        builder.Begin(cmd);
        parsed = FastParse(text, builder);
    } catch (...) {
        parsed = false;
    }
    builder.Finish();
    return parsed;
}

}  // namespace parser
}  // namespace NSQX_script
