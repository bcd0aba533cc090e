#pragma once

#include <string>

#include "qx_scriptutil/Export.h"

namespace NSQX_script {

// One thing a script reader found in a file: a command that cannot be read (an error, also
// recorded among the failed commands) or one that reads differently from how it is written (a
// warning: an integer narrowed to 32 bits, a backward range, an encoding line that is not
// recognised).
struct TScriptDiagnostic {
    enum Severity { kError, kWarning };
    Severity severity = kError;
    unsigned long line = 0;    // 1-based line of the file
    unsigned long column = 0;  // 1-based column, in characters of that line; 0 for the whole line
    std::string reason;        // for example "unterminated quote"
    std::string lineText;      // the line's text in UTF-8, as the file has it
};

// Receives the diagnostics of a script reader as it reads. The reader does not own its sink;
// it calls the sink from the thread that reads.
class QX_API TScriptDiagnosticSink {
  public:
    virtual ~TScriptDiagnosticSink() = default;
    virtual void Report(const TScriptDiagnostic& diagnostic) = 0;
};

}  // namespace NSQX_script
