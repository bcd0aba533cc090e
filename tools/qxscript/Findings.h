#pragma once

#include <string>
#include <vector>

#include "qx_scriptutil/ScriptDiagnostic.h"

namespace qxscript {

// One thing found in a script, as the tool reports it.
struct Finding {
    enum Kind {
        kError,          // a command or text that cannot be read
        kValueWarning,   // a value that reads other than it is written (--accept-changed-values)
        kHeaderWarning,  // the encoding is a guess (--input-encoding)
    };
    Kind kind = kError;
    unsigned long line = 0;    // 0: the file as a whole
    unsigned long column = 0;  // 1-based, in characters; 0: the whole line
    std::string reason;
    std::string lineText;  // UTF-8, or raw bytes where it is not; perhaps a window of the line
    std::size_t textOffset = 0;  // characters of the line before lineText
    bool cutAfter = false;       // lineText ends before the line's end
};

// Collects what a script reader reports, keeping of each line only the window that is shown,
// so that memory stays bounded by the number of findings. Owned by the caller, which hands it
// to the reader (which does not own it); confined to the reading thread.
class FindingLog : public NSQX_script::TScriptDiagnosticSink {
  public:
    void Report(const NSQX_script::TScriptDiagnostic& diagnostic) override;
    const std::vector<Finding>& Items() const { return m_items; }
    std::vector<Finding> Take() { return std::move(m_items); }

  private:
    std::vector<Finding> m_items;
};

// "FILE:LINE:COL: error: REASON" (without ":COL" for column 0, without ":LINE" for line 0),
// then the line's text, control and invalid bytes escaped and long lines cut around the
// column, and a caret under the column. Ends with a newline.
std::string FormatFinding(const std::string& file, const Finding& finding);

// Text that is safe on a terminal: control characters, DEL, C1 controls and bytes that are
// not UTF-8 become \xHH (and a backslash stays a backslash). Tabs too, unless keepTabs.
std::string EscapeForTerminal(const std::string& text, bool keepTabs = false);

}  // namespace qxscript
