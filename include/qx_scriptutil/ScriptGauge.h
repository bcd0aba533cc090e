#pragma once

#include <atomic>
#include <string>

#include "qx_platform/Lock.h"
#include "qx_platform/Task.h"
#include "qx_platform/Time.h"
#include "qx_scriptutil/Export.h"

namespace NSQX_script {

using qxp::OrinGnlTask;

// Which kind of work a step belongs to.
enum StepFlag { STEP_NE_FILE = 0, STEP_PORT = 1, STEP_NET = 2 };

// Turns the work of an import or export run (NE files, ports, network-level steps) into a whole
// percentage from 0 to 99 and reports it, with a detail text, to the platform's progress
// manager. Each kind of work owns a share of 100 percent. A process-wide singleton; every field
// is guarded by m_mutex (a lock that cannot be taken lets the call run unlocked). The progress
// manager is called outside the lock.
class QX_API QXSCGuageMgr {
  public:
    static QXSCGuageMgr* Instance();
    static void Destroy();

    // Starts a run: no counts, default shares 0.6 / 0.1 / 0.3, nothing accumulated.
    void Init();
    void SetFileCount(unsigned long neFiles, unsigned long ports);
    void SetPercent(double ne, double port, double net);
    // Whether the calling thread's task has been cancelled.
    bool IsCanceled();

    // Converts x units of one kind into a percentage and keeps it; a zero count keeps the old
    // value. Network-level steps are weighed down by a fixed 0.7.
    void SetStepPercent(StepFlag flag, double x);
    double GetStepPercent();
    double GetNetIncGuage();
    // The accumulated percentage (not truncated).
    double GetTotalGuage();

    // Reports the accumulated percentage for the calling thread's task. A detail repeated in
    // the same second is dropped; the report never exceeds 99.
    void SendGuageToC(char const* detail);
    // The same for the given task; a null task does nothing.
    void SendMutiGuageToC(OrinGnlTask* task, char const* detail);

    // Add n finished NE files / ports / x network-level units, then report.
    void SendNeIncGuage(double n, char const* detail);
    void SendPortIncGuage(double n, char const* detail);
    void SendNetIncGuage(double x, char const* detail);
    // Adds a percentage as it is (typically one computed by SetStepPercent), then reports.
    void SendStepPercent(double x, char const* detail);
    void SendMutiNeIncGuage(OrinGnlTask* task, double n, char const* detail);
    void SendMutiPortIncGuage(OrinGnlTask* task, double n, char const* detail);

  private:
    QXSCGuageMgr();

    // Adds n units of the kind whose count and share are given; false when the count is 0.
    bool AddPerUnit(unsigned long QXSCGuageMgr::*count, double QXSCGuageMgr::*share, double n);
    void Send(OrinGnlTask* task, char const* detail);

    unsigned long m_neFileCount = 0;
    unsigned long m_portCount = 0;
    double m_neShare = 0.6;
    double m_portShare = 0.1;
    double m_netShare = 0.3;
    double m_TotalGuage = 0;
    qxp::QXTime m_lastSendTime;
    double m_stepPercent = 0;
    std::string m_lastDetail;
    qxp::Mutex m_mutex;

    static std::atomic<QXSCGuageMgr*> m_pInstance;
};

// The import helpers over the gauge manager.
QX_API void ImportScriptSendProgress(double x, char const* detail);
QX_API unsigned long IsImportCancel();
// step: the manager's step percent; net: its net share times 30.
QX_API void GetImportPercent(double& step, double& net);

// A second, independent gauge of process-wide free functions: a total count is split into
// segments of the percentage range, and whole percents are reported to the calling thread's
// task (or the given one) as items finish. Guarded by two process-wide mutexes, one for the
// counting and one for the sending step; neither is held while the progress manager runs, so a
// reporter may call back into the gauge. Reports reach the progress manager in the order their
// values were decided: a report decided while another is being delivered (by a reporter's call
// back, or by another thread) is delivered right after it, by the thread delivering, and its
// own call returns at once. Functions returning a flag return 1 or 0.

// Opens a segment of span percent for total items, starting at the current percentage (0 again
// once it reached 100). 1 when opened or when the arguments are ignored (zero span or total);
// 0 when the segment would end beyond 100.
QX_API unsigned long ResetTotalCount(unsigned long total, float span);
// n more items finished; reports the new whole percent. Returns the cancelled flag.
QX_API unsigned long SendIncreaseGauge(unsigned long n, char const* detail);
QX_API unsigned long SendMutiIncreaseGauge(OrinGnlTask* task, unsigned long n, char const* detail);
// Reports percent when it reached the next whole percent; 1 once the task is cancelled.
QX_API unsigned long SendGuageAndGetCancelOperation(float percent, char const* detail);
// Reports the last sent percent again with a new detail, and makes it the current percent;
// before anything was sent that is -1. Returns 1.
QX_API unsigned long SendDetail(char const* detail);
// Back to the start: nothing sent, no segment, not cancelled.
QX_API void ResetGaugeData();

}  // namespace NSQX_script
