#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "qx_scriptutil/ScriptDiagnostic.h"

namespace NSQX_script {

// The file bytes behind one gathered command, kept only while a diagnostic sink listens: from
// the start of the line on which gathering began (or from a later command boundary on a very
// long line) to the end of the command.
struct SourceSpan {
    std::string bytes;
    std::size_t commandStart = 0;   // where gathering began
    unsigned long firstLine = 1;    // the file line of bytes[0]
    unsigned long firstColumn = 0;  // characters of that line before bytes[0]
    int state = 0;                  // the gatherer's state at commandStart

    void Clear() {
        bytes.clear();
        commandStart = 0;
        firstLine = 1;
        firstColumn = 0;
        state = 0;
    }
};

// Finds where in the file a byte of a gathered command text came from. The gatherer drops
// comments and carriage returns, reads line feeds as blanks and converts the file's encoding
// to UTF-8; this walks the command's bytes again the same way, once, and only for a command
// that failed or carries a note, so that reading pays nothing for it otherwise.
class CommandLocator {
  public:
    // rest: bytes that follow the span in the file, if known, to finish its last line.
    CommandLocator(const SourceSpan& span, const std::string& encoding, std::string_view rest);

    // A diagnostic at the byte `offset` of the command text (UTF-8, or the gathered bytes as
    // they are when rawText is set); an offset at or past the end points just past the text.
    TScriptDiagnostic AtText(std::size_t offset, std::string_view text, bool rawText) const;
    // A diagnostic at a byte of the span.
    TScriptDiagnostic AtSpan(std::size_t index) const;

    // The opening quote of a quoted text that runs over a line break or to the end; npos when
    // there is none.
    std::size_t OpenQuote() const { return openQuote_; }
    // The "/*" of a block comment still open at the end of the span; npos when there is none.
    std::size_t OpenComment() const { return openComment_; }

  private:
    void Walk();

    const SourceSpan& span_;
    std::string encoding_;
    std::string_view rest_;
    std::vector<std::size_t> source_;  // for each gathered byte, its index in the span
    std::string gathered_;
    std::size_t openQuote_ = std::string::npos;
    std::size_t openComment_ = std::string::npos;
};

// Bytes of the character at p in the encoding, at most left; 1 for a broken sequence.
std::size_t CharBytes(const std::string& encoding, const char* p, std::size_t left);
// Characters in n bytes of the encoding.
std::size_t CharCount(const std::string& encoding, const char* p, std::size_t n);

}  // namespace NSQX_script
