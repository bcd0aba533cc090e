#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "qx_platform/Singleton.h"
#include "qx_platform/StaticData.h"
#include "qx_scriptutil/EnumMap.h"

namespace NSQX_script {

// One enumeration table filled by the host's static-data loading. Owns its map. Not locked:
// it is filled by one loading thread and read only after it has been installed.
class QX_API ScriptEnumCfgImpl {
  public:
    virtual ~ScriptEnumCfgImpl() = default;
    EnumMap* GetEnumMap() { return &m_enumMap; }
    // Inserts copies; an equal key already present is kept beside the new entry.
    void AddEnumMap(QXEnumMapKey& key, std::vector<QXEnumPair>& pairs);

  private:
    EnumMap m_enumMap;
};

// The enumeration configuration that the host's static-data framework loads through the
// interpreter "script_enum_interpreter" (registered with the module "qx_scriptutil" at library
// load). Ownership: the working copy is shared with readers through reference counts (read and
// replaced atomically); the temporary copy is owned here and touched only by the host's
// data-loading thread until SwapInst installs it. Instance()/Destroy() run under the host's
// static-object lock.
class QX_API ScriptEnumCfg : public qxp::StaticDataMgrIF {
  public:
    static ScriptEnumCfg* Instance();
    static void Destroy();

    // The map to read: the temporary copy on the loading thread while a load runs, otherwise
    // the working copy; null when there is none. Valid until the next SwapInst.
    EnumMap* GetEnumMap();
    // The temporary copy, made empty when there is none.
    ScriptEnumCfgImpl* GetTmpImpl();
    std::shared_ptr<ScriptEnumCfgImpl> GetDataImplRef() const;
    // Adds to the temporary copy.
    void AddEnumMap(QXEnumMapKey& key, std::vector<QXEnumPair>& pairs);
    // Installs the temporary copy: 0, or 0xFFFFFFFF when there was none (an empty working copy
    // is then made if there was no working copy either).
    unsigned int SwapInst() override;

    ScriptEnumCfg(ScriptEnumCfg const&) = delete;
    ScriptEnumCfg& operator=(ScriptEnumCfg const&) = delete;

  private:
    ScriptEnumCfg() = default;
    ~ScriptEnumCfg() override = default;
    friend void qxp::DoubleCheckedDestroy<ScriptEnumCfg>(std::atomic<ScriptEnumCfg*>&);

    static std::atomic<ScriptEnumCfg*> m_pInstance;

    std::shared_ptr<ScriptEnumCfgImpl> m_dataImpl;  // working copy; atomic_load/atomic_store
    std::unique_ptr<ScriptEnumCfgImpl> m_pTmpImpl;  // temporary copy
};

}  // namespace NSQX_script
