#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace qxscript {

// A progress bar on standard error for one script file, fed by the library's counting gauge
// (ResetTotalCount / SendIncreaseGauge) through the host's progress reporter, which calls back
// for the current task. Active only for files of kMinBytes and more, when standard error is a
// terminal and -q is not given; otherwise every call is a no-op. The caller runs the work
// under a qxp::ScopedCurrentTask. Confined to the main thread; with workers, turned off.
class ProgressBar {
  public:
    static constexpr std::uint64_t kMinBytes = 4u << 20;

    explicit ProgressBar(const std::string& path);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    // The reader has reached this line of the file.
    void At(unsigned long line);
    // No bar from now on while out is a terminal: what is written there while reading would
    // be drawn over.
    static void AvoidTerminal(FILE* out);
    // No bar from now on: workers read several files at once, and the gauge is the process's.
    // Call before they start.
    static void TurnOff();

  private:
    bool m_active = false;
    unsigned long m_reported = 0;  // line last handed to the gauge
    unsigned long m_step = 1;      // lines between two calls into the gauge
};

}  // namespace qxscript
