#pragma once

#include <memory>
#include <string>
#include <vector>

#include "qx_platform/Export.h"

namespace qxp {

// Trace levels of the host's debug interface. Failures are traced at level 1.
enum TraceLevel : int { kTraceError = 1, kTraceWarning = 2, kTraceInfo = 3, kTraceDebug = 4 };

// The process-wide trace sink. Silent by default; the environment variable QX_TRACE_LEVEL=N
// sends every line of level N or lower to standard error. Thread-safe.
QXP_API void QXTrace(int level, const char* fmt, ...) __attribute__((format(printf, 2, 3)));

// A line as the sink received it (the formatted message, without a trailing newline added).
struct TraceLine {
    int level;
    std::string text;
};

// Collects every trace line of every level while it lives (for tests and tools). Captures
// nest: the innermost one receives the lines. Thread-safe.
class QXP_API TraceCapture {
  public:
    TraceCapture();
    ~TraceCapture();
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    std::vector<TraceLine> Lines() const;
    // True when some captured line contains the text.
    bool Contains(const std::string& text) const;
    void Clear();

    struct State;

  private:
    std::unique_ptr<State> state_;  // the sink refers to it while the capture lives
};

}  // namespace qxp
