#include "qx_scriptutil/ScriptResult.h"

#include <cstring>

namespace NSQX_script {

bool TScriptOperationResult::operator<(const TScriptOperationResult& other) const {
    if (m_key1 != other.m_key1) return m_key1 < other.m_key1;
    return m_key2 < other.m_key2;
}

bool TScriptPortOperationResult::operator<(const TScriptPortOperationResult& other) const {
    if (m_key1 != other.m_key1) return m_key1 < other.m_key1;
    if (m_key2 != other.m_key2) return m_key2 < other.m_key2;
    if (m_key3 != other.m_key3) return m_key3 < other.m_key3;
    if (m_key4 != other.m_key4) return m_key4 < other.m_key4;
    if (m_key5 != other.m_key5) return m_key5 < other.m_key5;
    return m_key6 < other.m_key6;
}

bool TScriptResult::operator<(const TScriptResult& other) const {
    const int cmp = std::strcmp(m_text.c_str(), other.m_text.c_str());
    if (cmp != 0) return cmp < 0;
    return m_kind < other.m_kind;
}

namespace {

// Copies into a temporary list first, so that a failure while copying leaves the target as it
// was; the splice itself cannot fail.
template <class Target, class Source>
void AppendCopies(Target& target, const Source& source) {
    if (source.empty()) return;
    Target copies(source.begin(), source.end());
    target.splice(target.end(), copies);
}

}  // namespace

void TScriptManagementResult::AppendOperationResult(unsigned long key1, unsigned long key2,
                                                    unsigned long value) {
    m_operationResults.emplace_back(key1, key2, value);
}

void TScriptManagementResult::AppendOperationResult(
    const std::list<TScriptOperationResult>& results) {
    AppendCopies(m_operationResults, results);
}

void TScriptManagementResult::AppendPortOperRslt(unsigned long key1, unsigned long key2,
                                                 unsigned int key3, unsigned short key4,
                                                 unsigned long key5, unsigned long key6,
                                                 unsigned long value) {
    m_portOperationResults.emplace_back(key1, key2, key3, key4, key5, key6, value);
}

void TScriptManagementResult::AppendPortOperRslt(
    const std::list<TScriptPortOperationResult>& results) {
    AppendCopies(m_portOperationResults, results);
}

void TScriptManagementResult::AppendScriptResult(const CStdString& text, int kind,
                                                 unsigned long value, const CStdString& detail) {
    m_scriptResults.emplace_back(text, kind, detail, value);
}

void TScriptManagementResult::AppendScriptResult(const std::vector<TScriptResult>& results) {
    AppendCopies(m_scriptResults, results);
}

void TScriptManagementResult::AppendScriptResult(const std::list<TScriptResult>& results) {
    AppendCopies(m_scriptResults, results);
}

}  // namespace NSQX_script
