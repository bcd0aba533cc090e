#include "qx_scriptutil/QXConvertDataStorage.h"

#include <new>

#include "qx_platform/Singleton.h"
#include "qx_platform/Task.h"
#include "qx_platform/Trace.h"
#include "qx_platform/Xml.h"
#include "qx_scriptutil/ScriptConfig.h"
#include "slot/CommandSlotConvert.h"
#include "slot/SlotCovertCfgInterpreter.h"
#include "slot/SlotStoreAccess.h"

namespace NSQX_script {

namespace {

constexpr char kInterpreterName[] = "slotcovert_cmd_cfg_xml_interpreter";

}  // namespace

std::atomic<QXConvertDataStorage*> QXConvertDataStorage::m_pInstance{nullptr};
std::unique_ptr<slotcovertcfgfileinterpreter> QXConvertDataStorage::m_pSlotcovertInter;
qxp::RWMutex QXConvertDataStorage::m_RWMutex;
bool QXConvertDataStorage::m_bLoaded = false;
std::atomic<bool> QXConvertDataStorage::m_bCfgLoaded{false};

SeparatorNode::SeparatorNode(const SeparatorNode& other) : m_sign(other.m_sign) {
    m_positions.reserve(other.m_positions.size());
    for (const Position& pos : other.m_positions) {
        m_positions.emplace_back(
            pos.first, pos.second ? std::make_unique<SeparatorNode>(*pos.second) : nullptr);
    }
}

SeparatorNode& SeparatorNode::operator=(const SeparatorNode& other) {
    if (this != &other) *this = SeparatorNode(other);
    return *this;
}

QXConvertDataStorage::QXConvertDataStorage() {
    m_bLoaded = false;
}

QXConvertDataStorage::~QXConvertDataStorage() = default;

QXConvertDataStorage* QXConvertDataStorage::Instance() {
    return qxp::DoubleCheckedInstance(m_pInstance, [] { return new QXConvertDataStorage(); });
}

void QXConvertDataStorage::Destroy() {
    qxp::DoubleCheckedDestroy(m_pInstance);
}

void QXConvertDataStorage::Init() {
    const std::string path = ScriptConfigPath(ScriptConfigFile::kSlotTable);
    {
        // Every task thread calls Init; the path is one string for all of them.
        qxp::WriteGuard guard(m_RWMutex);
        m_cfgPath = path;
    }
    if (m_bCfgLoaded.load(std::memory_order_acquire)) return;
    SlotStoreAccess::LoadFile(path, true);
}

void QXConvertDataStorage::Release() {
    m_slotCmdList.clear();
}

void QXConvertDataStorage::PrepareScriptOper(bool slotFlagIs11, bool slotFlagPresent) {
    const std::int32_t type = SlotTypeForFlag(slotFlagIs11, slotFlagPresent, m_operType);
    // Hosts read the type of the script opened last; script files convert by their own.
    if (GetCvtType() != type) m_cvtType.store(type, std::memory_order_relaxed);
    qxp::QXTrace(qxp::kTraceInfo, "Convert Ttype has been set to: %d", type);
}

void QXConvertDataStorage::SetSupportNEType(std::vector<unsigned long>& types) {
    m_supportNETypes = types;
}

void QXConvertDataStorage::GetSupportNEType(std::vector<unsigned long>& types) const {
    types = m_supportNETypes;
}

void QXConvertDataStorage::AddSlotCmdInfo(QXScriptCfgCmdInfo& info) {
    m_slotCmdList.push_back(info);
}

void QXConvertDataStorage::GetSlotCmdInfo(std::list<QXScriptCfgCmdInfo>& infos) const {
    infos = m_slotCmdList;
}

void QXConvertDataStorage::SetDevMap(std::map<unsigned long, unsigned long>& devMap) {
    qxp::OrinGnlTask* task = qxp::OrinGetCurrentTask();
    if (task == nullptr || task->GetTaskDesc() == nullptr) return;
    const std::uint8_t kind = task->GetTaskDesc()->kind;
    qxp::WriteGuard guard(m_devMapMutex);
    m_devMaps[kind] = devMap;
}

bool QXConvertDataStorage::AddDevMapEntry(unsigned long neId, unsigned long device) {
    qxp::OrinGnlTask* task = qxp::OrinGetCurrentTask();
    if (task == nullptr || task->GetTaskDesc() == nullptr) return false;
    const std::uint8_t kind = task->GetTaskDesc()->kind;
    qxp::WriteGuard guard(m_devMapMutex);
    m_devMaps[kind][neId] = device;
    return true;
}

bool QXConvertDataStorage::IsNEINDEVMap(unsigned long neId) {
    qxp::OrinGnlTask* task = qxp::OrinGetCurrentTask();
    if (task == nullptr || task->GetTaskDesc() == nullptr) return false;
    const std::uint8_t kind = task->GetTaskDesc()->kind;
    qxp::ReadGuard guard(m_devMapMutex);
    auto map = m_devMaps.find(kind);
    return map != m_devMaps.end() && map->second.count(neId) != 0;
}

void SlotStoreAccess::LoadFile(const std::string& path, bool once) {
    using Store = QXConvertDataStorage;
    qxp::WriteGuard guard(Store::m_RWMutex);
    if (once && Store::m_bCfgLoaded.load(std::memory_order_acquire)) return;
    if (!Store::m_pSlotcovertInter) {
        Store::m_pSlotcovertInter.reset(new (std::nothrow) slotcovertcfgfileinterpreter());
        if (!Store::m_pSlotcovertInter) {
            qxp::QXTrace(qxp::kTraceError, "m_pSlotcovertInter is nullptr!");
            Store::m_bCfgLoaded.store(true, std::memory_order_release);
            return;
        }
        qxp::XmlInterpreterRegistry::Instance()->Register(kInterpreterName,
                                                          Store::m_pSlotcovertInter.get());
    }
    Store::Instance();  // the interpreter fills the singleton
    Store::m_bLoaded =
        qxp::XmlInterpreterRegistry::Instance()->ParseFile(path, kInterpreterName) == 0;
    // Set only now: Init tests the marker without the lock, and a task that finds it set goes
    // on to read the records.
    Store::m_bCfgLoaded.store(true, std::memory_order_release);
}

void SlotStoreAccess::ForgetLoaded() {
    qxp::WriteGuard guard(QXConvertDataStorage::m_RWMutex);
    QXConvertDataStorage::m_bCfgLoaded.store(false, std::memory_order_release);
    QXConvertDataStorage::m_bLoaded = false;
}

bool SlotStoreAccess::FindCmdInfo(const std::string& cmdName, QXScriptCfgCmdInfo& info) {
    for (const QXScriptCfgCmdInfo& entry : QXConvertDataStorage::Instance()->m_slotCmdList) {
        if (entry.m_cmdName == cmdName) {
            info = entry;
            return true;
        }
    }
    return false;
}

bool SlotStoreAccess::HasCmdInfo() {
    return !QXConvertDataStorage::Instance()->m_slotCmdList.empty();
}

}  // namespace NSQX_script
