#include "qx_platform/Progress.h"

#include <memory>
#include <mutex>
#include <set>

namespace qxp {

struct OrinProgressMgr::State {
    std::mutex mutex;
    // Keyed by task id, not address: a new task may reuse a cancelled one's memory.
    std::set<std::uint64_t> canceled;
    std::shared_ptr<const ProgressReporter> reporter;
};

namespace {

OrinProgressMgr::State& TheState() {
    static auto* state = new OrinProgressMgr::State;  // lives for the process
    return *state;
}

}  // namespace

OrinProgressMgr* OrinProgressMgr::Instance() {
    static OrinProgressMgr* mgr = new OrinProgressMgr;
    return mgr;
}

bool OrinProgressMgr::IsTaskCanceled(OrinGnlTask* task) {
    if (task == nullptr) return false;
    State& s = TheState();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.canceled.count(task->GetId()) != 0;
}

void OrinProgressMgr::ReportProgress(OrinGnlTask* reporter, OrinGnlTask* task, int percent,
                                     const OrinProgressInfo& info) {
    (void)reporter;
    if (task == nullptr) return;
    std::shared_ptr<const ProgressReporter> sink;
    {
        State& s = TheState();
        std::lock_guard<std::mutex> lock(s.mutex);
        sink = s.reporter;
    }
    // Called outside the lock so that a reporter may query the manager.
    if (sink && *sink) (*sink)(task, percent, info);
}

void OrinProgressMgr::CancelTask(OrinGnlTask* task) {
    if (task == nullptr) return;
    State& s = TheState();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.canceled.insert(task->GetId());
}

void OrinProgressMgr::SetReporter(ProgressReporter reporter) {
    auto sink = reporter ? std::make_shared<const ProgressReporter>(std::move(reporter)) : nullptr;
    State& s = TheState();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.reporter = std::move(sink);
}

void OrinProgressMgr::Reset() {
    State& s = TheState();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.canceled.clear();
}

}  // namespace qxp
