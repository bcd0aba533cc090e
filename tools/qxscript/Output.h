#pragma once

#include <cstdio>
#include <string>

namespace qxscript {

// The tool's own standard output. The library and its parser print diagnostics straight to
// the process's standard output; Capture() moves file descriptor 1 elsewhere (standard error
// when verbose, else /dev/null) and keeps the original for the tool, so that `dump --format
// json` stays clean enough for jq. Process-wide; used from the main thread only.
class Output {
  public:
    // Call once, after the command line has been parsed (help texts print normally).
    static void Capture(bool verbose);
    // The tool's output stream (standard output before Capture()).
    static FILE* Stream();
    // Writes text followed by a newline.
    static void Line(const std::string& text);
    // Writes text to out (the tool's stream or standard error), remembering why it failed.
    static bool Write(FILE* out, const std::string& text);
    // Flushes the tool's stream; false when writing failed (a closed pipe, a full disk).
    static bool Flush();
    // Flush(), and on failure a message naming the cause; false then.
    static bool FlushOrSay();
    // The system error of the failed write that Flush() found (EIO when none is known).
    static int LastError();
};

// A message for the user on standard error, prefixed with "qxscript: ".
void Error(const std::string& text);
// A summary line on standard error, silent with -q.
void Note(const std::string& text);
void SetQuiet(bool quiet);
bool Quiet();

}  // namespace qxscript
