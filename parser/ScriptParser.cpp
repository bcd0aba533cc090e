#include "qx_scriptutil/ScriptParser.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <new>

#include "MmlGrammar.h"
#include "parser/FastParser.h"
#include "parser/Grammar.h"
#include "parser/ParseContext.h"
#include "parser/Scanner.h"
#include "qx_platform/Trace.h"

namespace NSQX_script {

qxp::Mutex ScriptParseLock;

namespace parser {

namespace {

// Written under ScriptParseLock, read without it at the start of each parse.
std::atomic<bool> traceSwitch{false};

}  // namespace

ParseContext::ParseContext() {
    scanner = NewScanner(*this);
}

ParseContext::~ParseContext() {
    FreeScanner(*this);
}

ParseContext& ThisThreadContext() {
    thread_local ParseContext context;
    return context;
}

void SetParseTrace(bool on) {
    traceSwitch.store(on, std::memory_order_relaxed);
}

bool ParseTraceOn() {
    return traceSwitch.load(std::memory_order_relaxed);
}

}  // namespace parser

namespace {

constexpr std::size_t kMaxCommandLength = 131071;  // 0x1FFFF

using parser::ParseBuilder;
using parser::ParseContext;

// The generated parser on text, afresh, tracing when traced; the builder is begun on cmd. May
// throw.
int ParseWithGrammar(ParseContext& ctx, const std::string& text, MMLCmdStruct& cmd, bool traced) {
    ctx.builder.Finish();
    ctx.builder.Begin(cmd);
    ctx.syntaxError = false;
    ctx.tracing = traced;
    // Every parse points the scanner afresh, so a failed one leaves nothing to reset.
    parser::ScanBegin(ctx, text.data(), text.size());
    ctx.builder.SetNoteBase(ctx.buffer.get());
    return qxmmlparse(ctx) == 0 ? 0 : 1;
}

void TraceValueCap(const ParseBuilder& builder) {
    if (builder.Failure() == ParseBuilder::kTooManyValues)
        qxp::QXTrace(qxp::kTraceError, "AnalyseOneCommand failed, %s.\n",
                     ParseBuilder::kTooManyValues);
}

int Parse(const std::string& text, MMLCmdStruct& cmd, bool tryFast, bool traced) {
    int result = 1;
    ParseContext* ctx = nullptr;
    try {
        ctx = &parser::ThisThreadContext();
        ctx->builder.Begin(cmd);
        // The hand-written parser takes the common commands; whatever it declines is parsed
        // afresh by the generated one, messages and partial trees included. With the trace on,
        // every command shows in it.
        if (tryFast && !traced && parser::FastParse(text, ctx->builder))
            result = 0;
        else
            result = ParseWithGrammar(*ctx, text, cmd, traced);
    } catch (...) {
        result = 1;
    }
    if (ctx != nullptr) {
        if (result != 0) TraceValueCap(ctx->builder);
        ctx->builder.Finish();
    }
    return result;
}

int Parse(const std::string& text, MMLCmdStruct& cmd, bool tryFast) {
    if (!parser::ParseTraceOn()) return Parse(text, cmd, tryFast, false);
    // Traced parses take turns, so that their lines never interleave. A lock that cannot be
    // taken does not stop the parse: it runs unlocked.
    qxp::LockGuard<qxp::Mutex> guard(ScriptParseLock);
    return Parse(text, cmd, tryFast, true);
}

// The token the generated parser stopped at in text, as a reason. (The scanner's copy of the
// text holds a NUL behind the token.)
std::string UnexpectedToken(const ParseContext& ctx, const std::string& text) {
    const char* const at = text.c_str() + ctx.tokenStart;
    switch (ctx.token) {
        case 0:
            return "unexpected end of command";
        case '"':
            return "unterminated quote";
        case ':':
        case ';':
        case ',':
        case '{':
        case '}':
            break;
        case '/':
            if (at[1] == '*' && std::strstr(at + 2, "*/") == nullptr) return "unterminated comment";
            return "unexpected character '/'";
        default:
            if (ctx.token < 256) return std::string("unexpected character '") + *at + "'";
            break;
    }
    constexpr std::size_t kShown = 40;
    std::string shown(at, std::min(ctx.tokenLength, kShown));
    if (ctx.tokenLength > kShown) shown += "...";
    return "unexpected '" + shown + "'";
}

// A byte the scanner skipped, as a reason.
std::string SkippedByte(unsigned char c) {
    if (c >= 0x80) return "non-ASCII character outside quotes";
    char reason[32];
    if (c < 0x20 || c == 0x7F)
        std::snprintf(reason, sizeof reason, "unexpected byte 0x%02X", c);
    else
        std::snprintf(reason, sizeof reason, "unexpected character '%c'", c);
    return reason;
}

// Each run of bytes the scanner dropped, as one note that shows them (escaped beyond
// printable ASCII), for example "2 bytes outside quotes fit no token and are dropped: \xC3\xA9".
void NoteDropped(const ParseContext& ctx, const std::string& text, std::vector<TParseNote>& notes) {
    const std::vector<std::size_t>& at = ctx.dropped;
    for (std::size_t i = 0; i < at.size();) {
        std::size_t j = i + 1;
        while (j < at.size() && at[j] == at[j - 1] + 1) ++j;
        TParseNote note;
        note.kind = TParseNote::kDroppedBytes;
        note.offset = at[i];
        note.length = j - i;
        std::string shown;
        for (std::size_t k = i; k < j; ++k) {
            const unsigned char c = static_cast<unsigned char>(text[at[k]]);
            if (c >= 0x20 && c < 0x7F) {
                shown += static_cast<char>(c);
            } else {
                char hex[8];
                std::snprintf(hex, sizeof hex, "\\x%02X", c);
                shown += hex;
            }
        }
        note.message = note.length == 1
                           ? "1 byte outside quotes fits no token and is dropped: " + shown
                           : std::to_string(note.length) +
                                 " bytes outside quotes fit no token and are dropped: " + shown;
        notes.push_back(std::move(note));
        i = j;
    }
}

// Where and why the generated parser stopped in text.
void Explain(const ParseContext& ctx, const std::string& text, TParseResult& result) {
    const char* const base = ctx.buffer.get();
    if (!ctx.syntaxError && *ctx.builder.Failure() != '\0') {
        result.reason = ctx.builder.Failure();
        const char* const place = ctx.builder.FailurePlace();
        result.offset = place != nullptr ? static_cast<std::size_t>(place - base) : ctx.tokenStart;
    } else if (!ctx.syntaxError) {
        result.reason = "memory exhausted";
        result.offset = ctx.tokenStart;
    } else if (ctx.skipped != ParseContext::kNone) {
        // A byte no token takes stood before the token the grammar refused: it is the cause.
        result.offset = ctx.skipped;
        result.reason = SkippedByte(static_cast<unsigned char>(text[ctx.skipped]));
    } else {
        result.offset = ctx.tokenStart;
        result.reason = UnexpectedToken(ctx, text);
    }
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
    TParseResult result;
    if (text.size() > kMaxCommandLength) {
        qxp::QXTrace(qxp::kTraceError, "AnalyseOneCommandEx failed, input string is too long.\n");
        result.status = kParseTooLong;
        result.offset = kMaxCommandLength;
        result.reason = "command longer than 131071 bytes";
        return result;
    }
    ParseContext* ctx = nullptr;
    try {
        ctx = &parser::ThisThreadContext();
        ParseBuilder& builder = ctx->builder;
        builder.Begin(cmd);
        builder.CollectNotes(&result.notes, text.c_str());
        if (!parser::FastParse(text, builder)) {
            result.notes.clear();
            ctx->quiet = true;
            result.status = ParseWithGrammar(*ctx, text, cmd, false);
            ctx->quiet = false;
            NoteDropped(*ctx, text, result.notes);
            if (result.status != 0) Explain(*ctx, text, result);
        }
    } catch (...) {
        result.status = 1;
        result.reason = "memory exhausted";
        if (ctx != nullptr) result.offset = ctx->tokenStart;
    }
    if (ctx != nullptr) {
        ctx->quiet = false;
        if (result.status != 0) TraceValueCap(ctx->builder);
        ctx->builder.CollectNotes(nullptr, nullptr);
        ctx->builder.Finish();
    }
    if (result.status != 0) {
        // Only what was taken before the failure was read as values.
        const std::size_t end = result.offset;
        result.notes.erase(std::remove_if(result.notes.begin(), result.notes.end(),
                                          [end](const TParseNote& n) { return n.offset >= end; }),
                           result.notes.end());
    }
    // A backward range is noted when it is complete, after the numbers in it.
    std::stable_sort(result.notes.begin(), result.notes.end(),
                     [](const TParseNote& a, const TParseNote& b) { return a.offset < b.offset; });
    return result;
}

void SetParserDebug(bool on) {
    qxp::LockGuard<qxp::Mutex> guard(ScriptParseLock);
    parser::SetParseTrace(on);
    parser::ResetTrace();
}

namespace parser {

int ParseWithGrammar(const std::string& text, MMLCmdStruct& cmd) {
    return Parse(text, cmd, false);
}

bool FastParseCommand(const std::string& text, MMLCmdStruct& cmd) {
    bool parsed = false;
    ParseContext* ctx = nullptr;
    try {
        ctx = &ThisThreadContext();
        ctx->builder.Begin(cmd);
        parsed = FastParse(text, ctx->builder);
    } catch (...) {
        parsed = false;
    }
    if (ctx != nullptr) ctx->builder.Finish();
    return parsed;
}

}  // namespace parser
}  // namespace NSQX_script
