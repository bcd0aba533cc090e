#include "qx_scriptutil/ScriptParser.h"

#include <cstdio>

#include "parser/Grammar.h"
#include "parser/ParseBuilder.h"
#include "parser/Scanner.h"
#include "parser/ScriptParseLock.h"
#include "qx_platform/Trace.h"

namespace NSQX_script {

qxp::Mutex ScriptParseLock;

namespace {

constexpr std::size_t kMaxCommandLength = 131071;  // 0x1FFFF

}  // namespace

int AnalyseOneCommand(const std::string& text, MMLCmdStruct& cmd) {
    // A lock that cannot be taken does not stop the parse: it runs unlocked.
    qxp::LockGuard<qxp::Mutex> guard(ScriptParseLock);
    parser::ParseBuilder& builder = parser::TheParseBuilder();
    int result = 1;
    try {
        builder.Begin(cmd);
        // Every parse points the scanner afresh, so a failed one leaves nothing to reset.
        parser::ScanBegin(text.data(), text.size());
        result = qxmmlparse() == 0 ? 0 : 1;
    } catch (...) {
        result = 1;
    }
    builder.Finish();
    return result;
}

int AnalyseOneCommandEx(const std::string& text, MMLCmdStruct& cmd) {
    if (text.size() > kMaxCommandLength) {
        qxp::QXTrace(qxp::kTraceError, "AnalyseOneCommandEx failed, input string is too long.\n");
        return kParseTooLong;
    }
    return AnalyseOneCommand(text, cmd);
}

void SetParserDebug(bool on) {
    qxp::LockGuard<qxp::Mutex> guard(ScriptParseLock);
    parser::SetParseTrace(on);
}

}  // namespace NSQX_script
