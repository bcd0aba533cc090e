#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "qx_scriptutil/Types.h"

namespace NSQX_script {

// Identifies one enumeration: command code, parameter name and extend ID (which tells apart
// two enumerations of one command and parameter; 0 as a rule). A value type. Ordered field by
// field: command ID (unsigned), name (byte-wise, case-sensitive, shorter first on a tie),
// extend ID (signed).
struct QX_API QXEnumMapKey {
    QXEnumMapKey() = default;
    QXEnumMapKey(unsigned long cmdId, std::string const& paraName, long extendId)
        : m_cmdId(cmdId), m_paraName(paraName), m_extendId(extendId) {}

    bool operator<(QXEnumMapKey const& other) const;
    bool operator==(QXEnumMapKey const& other) const;

    std::uint64_t m_cmdId = 0;
    std::string m_paraName;
    std::int64_t m_extendId = 0;
};

// One enumeration value: its code and the name written in scripts. The code is kept 32 bits
// wide although the lookups take and return long. A value type.
struct QX_API QXEnumPair {
    QXEnumPair() = default;
    QXEnumPair(std::int32_t value, std::string const& name) : m_value(value), m_name(name) {}

    std::int32_t m_value = 0;
    std::string m_name;
};

// A key to look up without copying the name; ordered like QXEnumMapKey.
struct QXEnumKeyView {
    std::uint64_t cmdId;
    std::string_view paraName;
    std::int64_t extendId;
};

// QXEnumMapKey::operator<, also between keys and views (so lookups need no allocation).
struct QX_API QXEnumMapKeyLess {
    using is_transparent = void;
    bool operator()(QXEnumMapKey const& a, QXEnumMapKey const& b) const { return a < b; }
    bool operator()(QXEnumMapKey const& a, QXEnumKeyView const& b) const;
    bool operator()(QXEnumKeyView const& a, QXEnumMapKey const& b) const;
};

// The enumeration map. Equal keys may occur; they keep their insertion order and lookups use
// the first of them. Pairs keep file order and the first match wins.
using EnumMap = std::multimap<QXEnumMapKey, std::vector<QXEnumPair>, QXEnumMapKeyLess>;

// The first entry whose key equals key, or map.end().
QX_API EnumMap::const_iterator FindFirstEnum(EnumMap const& map, QXEnumKeyView const& key);
QX_API EnumMap::iterator FindFirstEnum(EnumMap& map, QXEnumKeyView const& key);

// Merges src into dst: entries of src whose command ID equals cmdFilter (every entry when
// cmdFilter is 0) append their pairs to the first equal entry of dst, or become new entries.
// A null src does nothing. Takes no lock: the caller guards dst.
QX_API void MergeEnumMap(EnumMap const* src, EnumMap& dst, unsigned long cmdFilter);

// Conversions on the process-wide table that QXScriptEnumMgr::Init loads (forwarding to
// QXScriptEnumMgr::Instance()). Each returns 1 on success and 0 on failure; failures are
// silent. Names match exactly (case-sensitive); a code outside 32 bits never matches.
// ValueS2C leaves code unchanged on failure; the std::string ValueC2S leaves name unchanged,
// the CStdString ValueC2S empties it.
QX_API int ValueS2C(long& code, std::string const& name, unsigned long cmdId,
                    std::string const& paraName, long extendId);
QX_API int ValueC2S(std::string& name, long code, unsigned long cmdId, std::string const& paraName,
                    long extendId);
QX_API int ValueS2C(long& code, CStdString const& name, unsigned long cmdId,
                    CStdString const& paraName, long extendId);
QX_API int ValueC2S(CStdString& name, long code, unsigned long cmdId, CStdString const& paraName,
                    long extendId);

}  // namespace NSQX_script
