#include "qx_scriptutil/CmdNameConvert.h"

#include <cstring>
#include <new>

#include "qx_platform/Trace.h"
#include "util/SafeString.h"

namespace NSQX_script {

// Never destroyed, so the map stays usable from other static destructors and its names stay
// reachable to the end.
std::map<unsigned long, char*>& CmdNameConvert::m_CmdNameMap = *new std::map<unsigned long, char*>;

void CmdNameConvert::AddCmdNameIDMap(const char* name, unsigned long cmdId) {
    if (name == nullptr) return;
    const std::size_t size = std::strlen(name) + 1;
    char* copy = new (std::nothrow) char[size];
    if (copy == nullptr) return;
    if (strcpy_s(copy, size, name) != 0) qxp::QXTrace(qxp::kTraceError, "strcpy_s failed.");
    if (!m_CmdNameMap.emplace(cmdId, copy).second) delete[] copy;
}

bool CmdNameConvert::GetCorrespondCmdID(const char* name, unsigned long& cmdId) {
    if (name == nullptr) return false;
    // Keyed by code only, so a name is found by a scan in code order: the lowest code wins.
    for (const auto& entry : m_CmdNameMap) {
        if (std::strcmp(entry.second, name) == 0) {
            cmdId = entry.first;
            return true;
        }
    }
    return false;
}

bool CmdNameConvert::GetCorrespondCmdName(std::string& name, unsigned long cmdId) {
    const auto it = m_CmdNameMap.find(cmdId);
    if (it == m_CmdNameMap.end()) return false;
    name = it->second;
    return true;
}

void CmdNameConvert::RemoveCmdNameIDMap(unsigned long cmdId) {
    const auto it = m_CmdNameMap.find(cmdId);
    if (it == m_CmdNameMap.end()) return;
    delete[] it->second;
    m_CmdNameMap.erase(it);
}

}  // namespace NSQX_script
