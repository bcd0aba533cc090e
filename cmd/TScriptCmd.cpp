#include "qx_scriptutil/TScriptCmd.h"

namespace NSQX_script {

void TScriptCmdRef::DeleteAllPara() {
    if (m_pParaList != nullptr) m_pParaList->clear();
}

TScriptCmd& TScriptCmd::operator=(const TScriptCmd& other) {
    if (this == &other) return *this;
    // Vector assignment reuses the elements (and their storage) that this list already has.
    m_paraList = other.m_paraList;
    m_cmdCode = other.m_cmdCode;
    m_lineNo = other.m_lineNo;
    return *this;
}

TScriptCmd& TScriptCmd::operator=(TScriptCmd&& other) noexcept {
    if (this == &other) return *this;
    m_paraList = std::move(other.m_paraList);
    m_cmdCode = other.m_cmdCode;
    m_lineNo = other.m_lineNo;
    return *this;
}

}  // namespace NSQX_script
