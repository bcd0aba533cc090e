#pragma once

#include <map>

#include "qx_platform/Lock.h"
#include "qx_scriptutil/ScriptResult.h"

namespace NSQX_script {

// The error code the script writer leaves in the calling thread's manager when writing a
// command or an annotation line fails (the host's code for a failed write).
constexpr unsigned long kScriptErrWriteFailed = 1107329332UL;  // 0x42008134

// One result collector per thread, so that code deep in the script writer can record errors
// without a result object being handed down. The map owns the managers; it is guarded by
// m_mutex (a lock that cannot be taken lets the call run unlocked). Each manager is used only
// by its own thread, so its lists are not locked.
class QX_API QXScriptErrMgr : public TScriptManagementResult {
  public:
    // The calling thread's manager, created on first use; never null.
    static QXScriptErrMgr* Instance();
    // Deletes the calling thread's manager; a thread without one changes nothing.
    static void Destroy();

    // Keyed by pthread_self(). A thread id that the system reuses after a thread ended without
    // Destroy() finds that thread's results.
    static std::map<unsigned long, QXScriptErrMgr*> m_instanceMap;
    static qxp::Mutex m_mutex;
};

// A 16-bit random number with which a task tags the results of one run that it collects in its
// thread's error manager (for example as the value of its TScriptResult records), so that the
// reports of overlapping runs can be told apart. The library draws none itself: the manager has
// no run boundary, only its tasks know where a run starts. Not a secret and not unique: two runs
// may draw the same number. Drawn from the crypto library's generator when it reports itself
// seeded; otherwise from the clock, a counter and the calling thread. Thread-safe.
QX_API unsigned short NewResultBatchId();

}  // namespace NSQX_script
