#include <atomic>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>

#include "qx_platform/Lock.h"
#include "qx_platform/Progress.h"
#include "qx_scriptutil/ScriptGauge.h"

namespace NSQX_script {

namespace {

// The counting state is guarded by g_countMutex, the last sent percent and the reports waiting
// to be delivered by g_sendMutex. The sending step takes g_sendMutex and then g_countMutex (to
// store the sent value as current); the counting functions release g_countMutex before
// sending, so the order never inverts. No lock is held while the progress manager runs: a
// reporter may call back into the gauge, from its own thread or another.
struct CountState {
    float segStart = 0;
    float current = 0;
    float segEnd = 100.0f;
    unsigned long done = 0;
    unsigned long total = 0;  // 0: no segment open
};

qxp::Mutex g_countMutex;
qxp::Mutex g_sendMutex;
CountState g_count;
std::int8_t g_lastSent = -1;
std::atomic<bool> g_cancelled{false};

struct PendingReport {
    OrinGnlTask* task;
    int percent;
    std::string detail;
};
// Reports decided but not yet delivered, in the order their values were decided; guarded by
// g_sendMutex like g_delivering, which is set while some thread delivers them.
std::deque<PendingReport> g_pending;
bool g_delivering = false;

// Holds g_sendMutex, and can let it go around a call; a lock that fails is skipped.
class QXP_SCOPED_CAPABILITY SendLock {
  public:
    SendLock() QXP_ACQUIRE(g_sendMutex) QXP_NO_THREAD_SAFETY_ANALYSIS
        : locked_(g_sendMutex.acquire() == 0) {}
    ~SendLock() QXP_RELEASE() QXP_NO_THREAD_SAFETY_ANALYSIS {
        if (locked_) g_sendMutex.release();
    }
    SendLock(const SendLock&) = delete;
    SendLock& operator=(const SendLock&) = delete;
    void Release() QXP_RELEASE() QXP_NO_THREAD_SAFETY_ANALYSIS {
        if (locked_) g_sendMutex.release();
        locked_ = false;
    }
    void Acquire() QXP_ACQUIRE() QXP_NO_THREAD_SAFETY_ANALYSIS {
        locked_ = g_sendMutex.acquire() == 0;
    }

  private:
    bool locked_;
};

std::int8_t TruncateToByte(float percent) {
    if (!(std::fabs(percent) < 2.0e9f)) return 0;
    return static_cast<std::int8_t>(static_cast<int>(percent));
}

void Report(const PendingReport& report) noexcept {
    try {
        qxp::OrinProgressInfo info;
        info.detail = report.detail;
        qxp::OrinProgressMgr::Instance()->ReportProgress(report.task, report.task, report.percent,
                                                         info);
    } catch (...) {
        // A reporter that throws loses its report; the gauge goes on.
    }
}

// Queues a report under the held send lock and delivers the queue unless another call is
// already doing so; that one (on this thread when a reporter calls back into the gauge) passes
// this report on after its own, so reports keep the order of their values.
// Called with lock held; the analysis cannot follow a held guard passed by reference.
void Deliver(SendLock& lock, OrinGnlTask* task, int percent,
             char const* detail) QXP_NO_THREAD_SAFETY_ANALYSIS {
    try {
        g_pending.push_back(PendingReport{task, percent, detail != nullptr ? detail : ""});
    } catch (...) {
        return;  // out of memory: this report is lost, the gauge goes on
    }
    if (g_delivering) return;
    g_delivering = true;
    while (!g_pending.empty()) {
        const PendingReport next = std::move(g_pending.front());
        g_pending.pop_front();
        lock.Release();
        Report(next);
        lock.Acquire();
    }
    g_delivering = false;
}

bool TaskCanceled(OrinGnlTask* task) {
    return qxp::OrinProgressMgr::Instance()->IsTaskCanceled(task);
}

// Advances the open segment by n items; false when none is open.
bool Count(unsigned long n, float& current) {
    qxp::LockGuard<qxp::Mutex> guard(g_countMutex);
    CountState& s = g_count;
    if (s.total == 0) return false;
    if (s.current >= s.segEnd || s.segStart > s.current) s.done = 0;
    s.done += n;
    s.current = static_cast<float>(s.done) * (s.segEnd - s.segStart) / static_cast<float>(s.total) +
                s.segStart;
    current = s.current;
    return true;
}

unsigned long CancelledFlag() {
    return g_cancelled.load() ? 1 : 0;
}

}  // namespace

unsigned long ResetTotalCount(unsigned long total, float span) {
    if (!(std::fabs(span) > FLT_MIN) || total == 0) return 1;
    qxp::LockGuard<qxp::Mutex> guard(g_countMutex);
    CountState& s = g_count;
    s.total = total;
    if (s.current >= 100.0f) s.current = 0;
    const float end = s.current + span;
    if (end > 100.0f) return 0;
    s.done = 0;
    s.segStart = s.current;
    s.segEnd = end;
    return 1;
}

unsigned long SendIncreaseGauge(unsigned long n, char const* detail) {
    float current = 0;
    if (!Count(n, current)) return CancelledFlag();
    return SendGuageAndGetCancelOperation(current, detail);
}

unsigned long SendGuageAndGetCancelOperation(float percent, char const* detail) {
    OrinGnlTask* task = qxp::OrinGetCurrentTask();
    if (TaskCanceled(task)) {
        g_cancelled = true;
        return 1;
    }
    SendLock send;
    if (percent >= g_lastSent + 1) {
        g_lastSent = TruncateToByte(percent);
        {
            qxp::LockGuard<qxp::Mutex> count(g_countMutex);
            g_count.current = g_lastSent;
        }
        Deliver(send, task, g_lastSent, detail);
    }
    return CancelledFlag();
}

unsigned long SendMutiIncreaseGauge(OrinGnlTask* task, unsigned long n, char const* detail) {
    if (task == nullptr) return 0;
    float current = 0;
    if (!Count(n, current)) return CancelledFlag();
    if (TaskCanceled(task)) {
        g_cancelled = true;
        return 1;
    }
    SendLock send;
    if (current >= g_lastSent + 1) {
        g_lastSent = TruncateToByte(current);
        Deliver(send, task, g_lastSent, detail);
    }
    return CancelledFlag();
}

unsigned long SendDetail(char const* detail) {
    SendLock send;
    const int percent = g_lastSent;  // -1 while nothing was sent
    {
        qxp::LockGuard<qxp::Mutex> count(g_countMutex);
        g_count.current = static_cast<float>(percent);
    }
    Deliver(send, qxp::OrinGetCurrentTask(), percent, detail);
    return 1;
}

void ResetGaugeData() {
    qxp::LockGuard<qxp::Mutex> send(g_sendMutex);
    qxp::LockGuard<qxp::Mutex> count(g_countMutex);
    g_count = CountState();
    g_lastSent = -1;
    g_cancelled = false;
}

}  // namespace NSQX_script
