#include "qx_scriptutil/ScriptEnumCfg.h"

#include <optional>

#include "qx_platform/Lock.h"

namespace NSQX_script {

void ScriptEnumCfgImpl::AddEnumMap(QXEnumMapKey& key, std::vector<QXEnumPair>& pairs) {
    m_enumMap.emplace(key, pairs);
}

std::atomic<ScriptEnumCfg*> ScriptEnumCfg::m_pInstance{nullptr};

ScriptEnumCfg* ScriptEnumCfg::Instance() {
    return qxp::DoubleCheckedInstance(m_pInstance, [] { return new ScriptEnumCfg(); });
}

void ScriptEnumCfg::Destroy() {
    qxp::DoubleCheckedDestroy(m_pInstance);
}

EnumMap* ScriptEnumCfg::GetEnumMap() {
    auto* framework = qxp::StaticDataFramework::Instance();
    std::optional<qxp::ReadGuard> startGuard;
    if (framework->IsGuardedByStartMutex()) startGuard.emplace(framework->ProcessStartMutex());
    // The loading thread is asked first: the temporary copy is that thread's alone.
    if (framework->IsDataLoadingThread() && m_pTmpImpl) return m_pTmpImpl->GetEnumMap();
    std::shared_ptr<ScriptEnumCfgImpl> ref = GetDataImplRef();
    return ref ? ref->GetEnumMap() : nullptr;
}

ScriptEnumCfgImpl* ScriptEnumCfg::GetTmpImpl() {
    if (!m_pTmpImpl) {
        qxp::LockGuard<qxp::RecursiveMutex> guard(qxp::StaticObjectLock());
        if (!m_pTmpImpl) m_pTmpImpl = std::make_unique<ScriptEnumCfgImpl>();
    }
    return m_pTmpImpl.get();
}

std::shared_ptr<ScriptEnumCfgImpl> ScriptEnumCfg::GetDataImplRef() const {
    return std::atomic_load(&m_dataImpl);
}

void ScriptEnumCfg::AddEnumMap(QXEnumMapKey& key, std::vector<QXEnumPair>& pairs) {
    GetTmpImpl()->AddEnumMap(key, pairs);
}

unsigned int ScriptEnumCfg::SwapInst() {
    if (m_pTmpImpl) {
        std::shared_ptr<ScriptEnumCfgImpl> installed(m_pTmpImpl.release());
        std::atomic_store(&m_dataImpl, std::move(installed));
        return 0;
    }
    if (!std::atomic_load(&m_dataImpl)) {
        std::atomic_store(&m_dataImpl, std::make_shared<ScriptEnumCfgImpl>());
    }
    return 0xFFFFFFFFu;
}

}  // namespace NSQX_script
