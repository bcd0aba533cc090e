#pragma once

#include <functional>
#include <string>

#include "qx_platform/Export.h"
#include "qx_platform/Task.h"

namespace qxp {

// What a progress report carries besides the percentage.
struct OrinProgressInfo {
    std::string detail;
};

// Receives every progress report (the tool draws a bar from it).
using ProgressReporter =
    std::function<void(OrinGnlTask* task, int percent, const OrinProgressInfo& info)>;

// The host's progress manager. Thread-safe singleton that lives for the process; one mutex
// guards the cancelled tasks and the reporter, which is called outside it.
class QXP_API OrinProgressMgr {
  public:
    static OrinProgressMgr* Instance();

    bool IsTaskCanceled(OrinGnlTask* task);
    // Reports progress of a task; the host passes the task twice (the reporting task and the
    // task the progress belongs to). A null task is ignored.
    void ReportProgress(OrinGnlTask* reporter, OrinGnlTask* task, int percent,
                        const OrinProgressInfo& info);

    // Control: cancels a task (seen by IsTaskCanceled from then on), installs a reporter
    // (an empty function removes it), and forgets every cancellation.
    void CancelTask(OrinGnlTask* task);
    void SetReporter(ProgressReporter reporter);
    void Reset();

    struct State;

  private:
    OrinProgressMgr() = default;
};

}  // namespace qxp
