#include "ie/ScriptManagerIFImpl.h"

#include <cstdint>

#include "qx_platform/Trace.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "util/SafeString.h"

namespace NSQX_script {

namespace {

ScriptManagerIFImpl g_scriptManager;

}  // namespace

ScriptManagerIF* ScriptManagerIF::Instance() {
    return &g_scriptManager;
}

bool CmdIndex::operator<(const CmdIndex& other) const {
    if (m_scriptType != other.m_scriptType) return m_scriptType < other.m_scriptType;
    if (m_cmdId != other.m_cmdId) return m_cmdId < other.m_cmdId;
    return m_funcId < other.m_funcId;
}

bool CmdIndex::operator==(const CmdIndex& other) const {
    return m_scriptType == other.m_scriptType && m_cmdId == other.m_cmdId &&
           m_funcId == other.m_funcId;
}

void ScriptManagerIFImpl::RegisterInterface(unsigned long cmdId, char const* cmdName,
                                            unsigned long funcId, int scriptType,
                                            ScriptRegeisterIF* plugin, ScriptIEFunc func) {
    const ScriptIERegItem table[2] = {{cmdId, funcId, scriptType, cmdName, func},
                                      {0, 0, 0, nullptr, nullptr}};
    RegisterInterfaces(table, plugin);
}

void ScriptManagerIFImpl::RegisterInterfaces(ScriptIERegItem const* table,
                                             ScriptRegeisterIF* plugin) {
    if (plugin == nullptr || table == nullptr) {
        if (table != nullptr) {
            qxp::QXTrace(qxp::kTraceError,
                         ">> Error:Regeister a NULL Interface!!\nScriptType=%d, FuncID=%d,        "
                         "         CmdID=%d\nWill skip this interface\n",
                         table->scriptType, static_cast<int>(table->funcId),
                         static_cast<int>(table->cmdId));
        }
        return;
    }
    for (const ScriptIERegItem* row = table; row->cmdId != 0; ++row) {
        m_IFMap.insert_or_assign(CmdIndex(row->cmdId, row->funcId, row->scriptType),
                                 ScriptIEInterface(plugin, row->func));
        qxp::QXTrace(qxp::kTraceInfo, ">> Script Item: type=%d,funcid=%d,cmdid=%d,name=%s\n",
                     row->scriptType, static_cast<int>(row->funcId), static_cast<int>(row->cmdId),
                     row->cmdName != nullptr ? row->cmdName : "NULL");
        if (row->cmdName != nullptr) CmdNameConvert::AddCmdNameIDMap(row->cmdName, row->cmdId);
    }
}

void ScriptManagerIFImpl::UnRegisterInterfaces(ScriptIERegItem const* table) {
    if (table == nullptr) return;
    for (const ScriptIERegItem* row = table; row->cmdId != 0; ++row) {
        m_IFMap.erase(CmdIndex(row->cmdId, row->funcId, row->scriptType));
        bool stillUsed = false;
        for (const auto& entry : m_IFMap) {
            if (entry.first.m_cmdId == row->cmdId) {
                stillUsed = true;
                break;
            }
        }
        if (!stillUsed) CmdNameConvert::RemoveCmdNameIDMap(row->cmdId);
    }
}

void ScriptManagerIFImpl::GetRegisterIFs(int scriptType,
                                         std::map<unsigned long, ScriptRegeisterIF*>& out) {
    out.clear();
    const auto type = static_cast<unsigned int>(scriptType);
    for (const auto& entry : m_IFMap) {
        if (entry.first.m_scriptType == type) out[entry.first.m_cmdId] = entry.second.m_pPlugin;
    }
}

int ScriptManagerIFImpl::DumpInterfaces(std::string& out) {
    std::string name;
    char line[256];
    for (const auto& entry : m_IFMap) {
        name.clear();
        CmdNameConvert::GetCorrespondCmdName(name, entry.first.m_cmdId);
        const auto pointer = reinterpret_cast<std::uintptr_t>(entry.second.m_pPlugin);
        if (snprintf_s(
                line, sizeof line, "%d, %d, %d, %s, 0x%X\n", static_cast<int>(entry.first.m_cmdId),
                static_cast<int>(entry.first.m_funcId), static_cast<int>(entry.first.m_scriptType),
                name.c_str(), static_cast<unsigned int>(pointer & 0xFFFFFFFFu)) < 0) {
            qxp::QXTrace(qxp::kTraceError, "snprintf_s failed at line 262\n");
        }
        out += line;
    }
    return 0;
}

const ScriptIEInterface* ScriptManagerIFImpl::Find(const CmdIndex& key) const {
    auto it = m_IFMap.find(key);
    return it == m_IFMap.end() ? nullptr : &it->second;
}

}  // namespace NSQX_script
