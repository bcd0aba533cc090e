%{
// The MML command grammar. A pure parser: its stacks are local to each call and everything else
// lives in the ParseContext it is given, so parses on different threads share nothing. The
// semantic actions live in ParseBuilder.
%}

%define api.prefix {qxmml}
%define api.pure full
%define api.value.type {NSQX_script::parser::TokenValue}
%define parse.trace
%parse-param {NSQX_script::parser::ParseContext& ctx}
%lex-param {NSQX_script::parser::ParseContext& ctx}

%code requires {
#include "parser/TokenValue.h"
namespace NSQX_script {
namespace parser {
class ParseContext;
}
}
}

%code {
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <type_traits>

#include "parser/Grammar.h"
#include "parser/ParseContext.h"
#include "parser/Scanner.h"
#include "util/SafeString.h"

void qxmmlerror(NSQX_script::parser::ParseContext& ctx, const char* message);
void QxActionFailed(NSQX_script::parser::ParseContext& ctx);

static int qxmmllex(NSQX_script::parser::TokenValue* value,
                    NSQX_script::parser::ParseContext& ctx) {
    return NSQX_script::parser::ScanToken(*value, ctx);
}

// The trace switch is the context's, set once per parse, so that the generator's test at each
// step of the parse is a load from the context. The generator also declares its switch once at
// file scope as "int yydebug;": there ctx names the context's type, which turns that line into
// a harmless redeclaration of QxTracing.
using ctx = NSQX_script::parser::ParseContext&;
inline int QxTracing(NSQX_script::parser::ParseContext& context) {
    return context.tracing ? 1 : 0;
}
#undef yydebug
#define yydebug QxTracing(ctx)

// The stacks start with 150 entries and then move to the heap, 300 entries first and doubling
// after; the limit is far beyond any command, so only a failed allocation ends a parse.
#define YYINITDEPTH 150
#define YYMAXDEPTH (1L << 40)
#define YY_(message) QxParserMessage(message)
#define YYCOPY(to, from, count) QxStackCopy((to), (from), (count))
// The debug trace: the generator's own trace calls are translated into our trace texts.
// The lookahead is a local of the parse function; trace calls from the generator's helper
// functions, which have none, see this constant instead and never need it.
// Its address is passed, as the parse function traces before it sets the lookahead.
#define YYFPRINTF(...) QxTracePrint(&yychar, __VA_ARGS__)
static constexpr int yychar = -2;

const char* QxParserMessage(const char* message);
void QxTracePrint(const int* lookahead, FILE* stream, const char* format, ...);

template <class T>
void QxStackCopy(T* to, const T* from, long count) {
    const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(T);
    if (NSQX_script::memcpy_s(to, bytes, from, bytes) != 0) {
        const bool values = std::is_same<T, NSQX_script::parser::TokenValue>::value;
        std::printf("memcpy_s failed at line %d\n", values ? 561 : 556);
    }
}

#define B (ctx.builder)
#define QX_ACTION(call)           \
    do {                          \
        if (!(call)) {            \
            QxActionFailed(ctx);  \
            YYABORT;              \
        }                         \
    } while (0)
}

%token UMINUS 264 END 265
%token NUMBER 297 STR 298 MMLFLOAT 299 IDENT 300
%token AND 310 TO 311 EQUAL 312
%token '+' '-' '*' '/'

%start access_cmd

%%

access_cmd : message { B.ClearPending(); }
    ;
message : ':' command ':' parameter_list ';'
    ;
parameter_list : '{' { QX_ACTION(B.OpenGroup()); } parameters '}' { B.CloseGroup(); }
    ;
parameters : %empty
    | parameters ',' parameter
    | parameter
    ;
parameter : para_names EQUAL para_values { QX_ACTION(B.EndParameter()); }
    | para_names EQUAL object_para { B.EndObjectParameter(); }
    ;
object_para : object_para AND { QX_ACTION(B.NextGroup()); } parameter_list
    | parameter_list
    ;
para_names : para_names AND paraname
    | paraname
    ;
paraname : IDENT { QX_ACTION(B.PushName($1, false)); }
    | STR { QX_ACTION(B.PushName($1, false)); }
    | paraname_set
    | NUMBER { QX_ACTION(B.PushName($1, true)); }
    ;
paraname_set : NUMBER TO NUMBER { QX_ACTION(B.NameRange($1, $3)); }
    ;
para_values : para_values AND paravalue
    | paravalue
    ;
paravalue : IDENT { QX_ACTION(B.PushValue($1, NSQX_script::parser::ParseBuilder::kText)); }
    | STR { QX_ACTION(B.PushValue($1, NSQX_script::parser::ParseBuilder::kText)); }
    | set
    | NUMBER { QX_ACTION(B.PushValue($1, NSQX_script::parser::ParseBuilder::kInteger)); }
    | MMLFLOAT { QX_ACTION(B.PushValue($1, NSQX_script::parser::ParseBuilder::kReal)); }
    ;
set : NUMBER TO NUMBER { QX_ACTION(B.ValueRange($1, $3)); }
    ;
command : IDENT { QX_ACTION(B.CommandName($1)); }
    ;

%%

void qxmmlerror(NSQX_script::parser::ParseContext& ctx, const char* message) {
    ctx.syntaxError = std::strcmp(message, "syntax error") == 0;
    if (!ctx.quiet) std::printf("Script parse error : %s \n", message);
}

void QxActionFailed(NSQX_script::parser::ParseContext& ctx) {
    if (!ctx.quiet) std::printf("Script parse error : %s \n", ctx.builder.Failure());
}

const char* QxParserMessage(const char* message) {
    return std::strcmp(message, "memory exhausted") == 0 ? "yacc stack overflow" : message;
}

namespace {

// Rule texts by rule number; the two action points count as rules of their own.
const char* const kRuleTexts[] = {
    "-no such reduction-",
    "access_cmd : message",
    "message : ':' command ':' parameter_list ';'",
    "parameter_list : '{'",
    "parameter_list : '{' parameters '}'",
    "parameters : /* empty */",
    "parameters : parameters ',' parameter",
    "parameters : parameter",
    "parameter : para_names EQUAL para_values",
    "parameter : para_names EQUAL object_para",
    "object_para : object_para AND",
    "object_para : object_para AND parameter_list",
    "object_para : parameter_list",
    "para_names : para_names AND paraname",
    "para_names : paraname",
    "paraname : IDENT",
    "paraname : STR",
    "paraname : paraname_set",
    "paraname : NUMBER",
    "paraname_set : NUMBER TO NUMBER",
    "para_values : para_values AND paravalue",
    "para_values : paravalue",
    "paravalue : IDENT",
    "paravalue : STR",
    "paravalue : set",
    "paravalue : NUMBER",
    "paravalue : MMLFLOAT",
    "set : NUMBER TO NUMBER",
    "command : IDENT",
};

// The lookahead as the trace names it.
void PrintToken(int token) {
    static char quoted[] = "' '";
    const char* name = "-unknown-";
    switch (token) {
        case QXMMLEMPTY: name = "-none-"; break;
        case NUMBER: name = "NUMBER"; break;
        case STR: name = "STR"; break;
        case MMLFLOAT: name = "MMLFLOAT"; break;
        case IDENT: name = "IDENT"; break;
        case AND: name = "AND"; break;
        case TO: name = "TO"; break;
        case EQUAL: name = "EQUAL"; break;
        case UMINUS: name = "UMINUS"; break;
        case END: name = "END"; break;
        default:
            if (token <= QXMMLEOF) {
                name = "end-of-file";
            } else if (token < 256) {
                quoted[1] = static_cast<char>(token);
                name = quoted;
            }
            break;
    }
    std::printf("%s\n", name);
}

// What the translation remembers between the generator's trace calls.
struct TraceState {
    bool reading = false;     // a token has been asked for and not yet reported
    bool inStack = false;     // between "Stack now" and its newline
    bool popping = false;     // a state is being popped; report it once the new top is known
    int top = 0;              // the state on top of the stack as last printed
    int popped = 0;
};
// Used only while the trace is on, when every parse holds ScriptParseLock.
TraceState trace;

void TraceTitle(int lookahead, const char* title) {
    if (std::strcmp(title, "Next token is") == 0) {
        if (trace.reading) {
            trace.reading = false;
            std::printf("Received token ");
            PrintToken(lookahead);
        }
    } else if (std::strcmp(title, "Error: discarding") == 0) {
        std::printf("Error recovery discards token ");
        PrintToken(lookahead);
    } else if (std::strcmp(title, "Error: popping") == 0) {
        trace.popping = true;
        trace.popped = trace.top;
    }
}

}  // namespace

// Every trace call of the generated parser comes here while the debug switch is on; the
// symbol and stack dumps that our trace does not show are dropped.
void QxTracePrint(const int* lookahead, FILE* /*stream*/, const char* format, ...) {
    va_list args;
    va_start(args, format);
    if (std::strcmp(format, "Entering state %d\n") == 0) {
        std::printf("State %d, token ", va_arg(args, int));
        PrintToken(*lookahead);
    } else if (std::strcmp(format, "Reading a token\n") == 0) {
        trace.reading = true;
    } else if (std::strcmp(format, "Now at end of input.\n") == 0) {
        if (trace.reading) {
            trace.reading = false;
            std::printf("Received token ");
            PrintToken(QXMMLEOF);
        }
    } else if (std::strcmp(format, "%s ") == 0) {
        TraceTitle(*lookahead, va_arg(args, const char*));
    } else if (std::strcmp(format, "Reducing stack by rule %d (line %d):\n") == 0) {
        const int rule = va_arg(args, int);
        const bool known = rule > 0 && rule < static_cast<int>(std::size(kRuleTexts));
        std::printf("Reduce by (%d) \"%s\"\n", rule, kRuleTexts[known ? rule : 0]);
    } else if (std::strcmp(format, "Stack now") == 0) {
        trace.inStack = true;
    } else if (std::strcmp(format, " %d") == 0) {
        if (trace.inStack) trace.top = va_arg(args, int);
    } else if (std::strcmp(format, "\n") == 0 && trace.inStack) {
        trace.inStack = false;
        if (trace.popping) {
            trace.popping = false;
            std::printf("Error recovery pops state %d, uncovers state %d\n", trace.popped,
                        trace.top);
        }
    }
    va_end(args);
}

namespace NSQX_script {
namespace parser {

void ResetTrace() {
    trace = TraceState();
}

}  // namespace parser
}  // namespace NSQX_script
