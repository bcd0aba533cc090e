#include <atomic>
#include <cfloat>
#include <cmath>
#include <cstdint>

#include "qx_platform/Lock.h"
#include "qx_platform/Progress.h"
#include "qx_scriptutil/ScriptGauge.h"

namespace NSQX_script {

namespace {

// The counting state is guarded by g_countMutex, the last sent percent by g_sendMutex. The
// sending step takes g_sendMutex and then g_countMutex (to store the sent value as current);
// the counting functions release g_countMutex before sending, so the order never inverts.
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

std::int8_t TruncateToByte(float percent) {
    if (!(std::fabs(percent) < 2.0e9f)) return 0;
    return static_cast<std::int8_t>(static_cast<int>(percent));
}

void Report(OrinGnlTask* task, int percent, char const* detail) {
    qxp::OrinProgressInfo info;
    if (detail != nullptr) info.detail = detail;
    qxp::OrinProgressMgr::Instance()->ReportProgress(task, task, percent, info);
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
    qxp::LockGuard<qxp::Mutex> send(g_sendMutex);
    if (percent >= g_lastSent + 1) {
        g_lastSent = TruncateToByte(percent);
        {
            qxp::LockGuard<qxp::Mutex> count(g_countMutex);
            g_count.current = g_lastSent;
        }
        Report(task, g_lastSent, detail);
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
    qxp::LockGuard<qxp::Mutex> send(g_sendMutex);
    if (current >= g_lastSent + 1) {
        g_lastSent = TruncateToByte(current);
        Report(task, g_lastSent, detail);
    }
    return CancelledFlag();
}

unsigned long SendDetail(char const* detail) {
    qxp::LockGuard<qxp::Mutex> send(g_sendMutex);
    // Before anything was sent there is no last value; 0 stands for it.
    const int percent = g_lastSent < 0 ? 0 : g_lastSent;
    {
        qxp::LockGuard<qxp::Mutex> count(g_countMutex);
        g_count.current = static_cast<float>(percent);
    }
    Report(qxp::OrinGetCurrentTask(), percent, detail);
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
