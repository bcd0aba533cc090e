#pragma once

#include <string>

#include "qx_scriptutil/Export.h"

namespace NSQX_script {

// One thing a script file object found. Reading: a command that cannot be read (kError, also
// recorded among the failed commands: the parser's reason at the byte where parsing stopped,
// "unterminated quote" at a quote that runs over a line break into a failed command or to the
// end of the file, "unterminated comment" at a "/*" never closed, "command rejected after
// parsing" for a command that a post-analyse hook refused), or a value that reads differently
// from how it is written (kWarning at the value: an integer narrowed to 32 bits, a backward
// range). Writing: a command too long for a reader to take back (kError, column 0, nothing of
// it written).
struct TScriptDiagnostic {
    enum Severity { kError, kWarning };
    Severity severity = kError;
    unsigned long line = 0;    // 1-based line of the file
    unsigned long column = 0;  // 1-based column, in characters of that line; 0 for the whole line
    std::string reason;        // for example "unterminated quote"
    // The line's text in UTF-8 without its line break; on a line of several thousand bytes it
    // may start at a later command. Empty for the writer.
    std::string lineText;
};

// Receives the diagnostics of a script file object as it reads or writes, in file order. The
// object does not own its sink; it calls the sink from the thread that uses the object.
class QX_API TScriptDiagnosticSink {
  public:
    virtual ~TScriptDiagnosticSink() = default;
    virtual void Report(const TScriptDiagnostic& diagnostic) = 0;
};

}  // namespace NSQX_script
