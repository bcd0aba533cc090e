#include "qx_scriptutil/EnumMap.h"

#include "qx_scriptutil/QXScriptEnumMgr.h"

namespace NSQX_script {

namespace {

// Three-way comparison in key order; string_view compares bytes as unsigned, shorter first.
int CompareKeys(std::uint64_t aCmd, std::string_view aName, std::int64_t aExt, std::uint64_t bCmd,
                std::string_view bName, std::int64_t bExt) {
    if (aCmd != bCmd) return aCmd < bCmd ? -1 : 1;
    const int byName = aName.compare(bName);
    if (byName != 0) return byName;
    if (aExt != bExt) return aExt < bExt ? -1 : 1;
    return 0;
}

bool Equal(QXEnumMapKey const& key, QXEnumKeyView const& view) {
    return key.m_cmdId == view.cmdId && key.m_paraName.size() == view.paraName.size() &&
           key.m_paraName == view.paraName && key.m_extendId == view.extendId;
}

template <class Map, class It>
It FindFirst(Map& map, QXEnumKeyView const& key) {
    It it = map.lower_bound(key);
    if (it != map.end() && Equal(it->first, key)) return it;
    return map.end();
}

}  // namespace

bool QXEnumMapKey::operator<(QXEnumMapKey const& other) const {
    return CompareKeys(m_cmdId, m_paraName, m_extendId, other.m_cmdId, other.m_paraName,
                       other.m_extendId) < 0;
}

bool QXEnumMapKey::operator==(QXEnumMapKey const& other) const {
    return m_cmdId == other.m_cmdId && m_paraName.size() == other.m_paraName.size() &&
           m_paraName == other.m_paraName && m_extendId == other.m_extendId;
}

bool QXEnumMapKeyLess::operator()(QXEnumMapKey const& a, QXEnumKeyView const& b) const {
    return CompareKeys(a.m_cmdId, a.m_paraName, a.m_extendId, b.cmdId, b.paraName, b.extendId) < 0;
}

bool QXEnumMapKeyLess::operator()(QXEnumKeyView const& a, QXEnumMapKey const& b) const {
    return CompareKeys(a.cmdId, a.paraName, a.extendId, b.m_cmdId, b.m_paraName, b.m_extendId) < 0;
}

EnumMap::const_iterator FindFirstEnum(EnumMap const& map, QXEnumKeyView const& key) {
    return FindFirst<EnumMap const, EnumMap::const_iterator>(map, key);
}

EnumMap::iterator FindFirstEnum(EnumMap& map, QXEnumKeyView const& key) {
    return FindFirst<EnumMap, EnumMap::iterator>(map, key);
}

void MergeEnumMap(EnumMap const* src, EnumMap& dst, unsigned long cmdFilter) {
    if (src == nullptr) return;
    for (auto const& [key, pairs] : *src) {
        if (cmdFilter != 0 && key.m_cmdId != cmdFilter) continue;
        auto found = FindFirstEnum(dst, QXEnumKeyView{key.m_cmdId, key.m_paraName, key.m_extendId});
        if (found != dst.end()) {
            found->second.insert(found->second.end(), pairs.begin(), pairs.end());
        } else {
            dst.emplace(key, pairs);
        }
    }
}

int ValueS2C(long& code, std::string const& name, unsigned long cmdId, std::string const& paraName,
             long extendId) {
    return QXScriptEnumMgr::Instance()->ValueS2C(code, name, cmdId, paraName, extendId);
}

int ValueC2S(std::string& name, long code, unsigned long cmdId, std::string const& paraName,
             long extendId) {
    return QXScriptEnumMgr::Instance()->ValueC2S(name, code, cmdId, paraName, extendId);
}

int ValueS2C(long& code, CStdString const& name, unsigned long cmdId, CStdString const& paraName,
             long extendId) {
    return QXScriptEnumMgr::Instance()->ValueS2C(code, name, cmdId, paraName, extendId);
}

int ValueC2S(CStdString& name, long code, unsigned long cmdId, CStdString const& paraName,
             long extendId) {
    return QXScriptEnumMgr::Instance()->ValueC2S(name, code, cmdId, paraName, extendId);
}

}  // namespace NSQX_script
