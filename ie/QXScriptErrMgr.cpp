#include "qx_scriptutil/QXScriptErrMgr.h"

#include <pthread.h>

namespace NSQX_script {

// Both are built when the library is loaded, before any task thread can ask for a manager.
std::map<unsigned long, QXScriptErrMgr*> QXScriptErrMgr::m_instanceMap;
qxp::Mutex QXScriptErrMgr::m_mutex;

namespace {

unsigned long CurrentThreadKey() {
    return static_cast<unsigned long>(pthread_self());
}

}  // namespace

QXScriptErrMgr* QXScriptErrMgr::Instance() {
    const unsigned long key = CurrentThreadKey();
    qxp::LockGuard<qxp::Mutex> guard(m_mutex);
    QXScriptErrMgr*& slot = m_instanceMap[key];
    if (slot == nullptr) slot = new QXScriptErrMgr();
    return slot;
}

void QXScriptErrMgr::Destroy() {
    const unsigned long key = CurrentThreadKey();
    qxp::LockGuard<qxp::Mutex> guard(m_mutex);
    auto it = m_instanceMap.find(key);
    if (it == m_instanceMap.end()) return;
    delete it->second;
    m_instanceMap.erase(it);
}

}  // namespace NSQX_script
