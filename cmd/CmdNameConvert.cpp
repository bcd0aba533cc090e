#include "qx_scriptutil/CmdNameConvert.h"

#include <cstring>
#include <new>

#include "qx_platform/Trace.h"
#include "util/SafeString.h"

namespace NSQX_script {

namespace {

// Made on first use, so plug-ins may register from their own static initialisers; never
// destroyed, so it stays usable from static destructors and its names stay reachable.
std::map<unsigned long, char*>& Map() {
    static auto* map = new std::map<unsigned long, char*>;
    return *map;
}

}  // namespace

std::map<unsigned long, char*>& CmdNameConvert::m_CmdNameMap = Map();

void CmdNameConvert::AddCmdNameIDMap(const char* name, unsigned long cmdId) {
    if (name == nullptr) return;
    const std::size_t size = std::strlen(name) + 1;
    char* copy = new (std::nothrow) char[size];
    if (copy == nullptr) return;
    if (strcpy_s(copy, size, name) != 0) qxp::QXTrace(qxp::kTraceError, "strcpy_s failed.");
    if (!Map().emplace(cmdId, copy).second) delete[] copy;
}

bool CmdNameConvert::GetCorrespondCmdID(const char* name, unsigned long& cmdId) {
    if (name == nullptr) return false;
    // Keyed by code only, so a name is found by a scan in code order: the lowest code wins.
    for (const auto& entry : Map()) {
        if (std::strcmp(entry.second, name) == 0) {
            cmdId = entry.first;
            return true;
        }
    }
    return false;
}

bool CmdNameConvert::GetCorrespondCmdName(std::string& name, unsigned long cmdId) {
    const auto it = Map().find(cmdId);
    if (it == Map().end()) return false;
    name = it->second;
    return true;
}

void CmdNameConvert::RemoveCmdNameIDMap(unsigned long cmdId) {
    const auto it = Map().find(cmdId);
    if (it == Map().end()) return;
    delete[] it->second;
    Map().erase(it);
}

}  // namespace NSQX_script
