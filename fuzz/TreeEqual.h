#pragma once

// Exact equality of parse trees for the fuzz targets: same types, same values, and no text left
// behind in a number's storage.

#include <vector>

#include "qx_scriptutil/TScriptCmd.h"

namespace tree_equal {

using NSQX_script::MMLCmdStruct;
using NSQX_script::MMLParaStruct;
using NSQX_script::QXValue;

inline bool SameValue(const QXValue& a, const QXValue& b) {
    return a.GetType() == b.GetType() && a == b && a.StringRef() == b.StringRef();
}

// The lists match parameter by parameter, names and values compared by same.
template <class ValueEq>
bool SameList(const std::vector<MMLParaStruct>& a, const std::vector<MMLParaStruct>& b,
              ValueEq same) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (!same(a[i].name, b[i].name) || a[i].values.size() != b[i].values.size() ||
            a[i].objects.size() != b[i].objects.size())
            return false;
        for (std::size_t j = 0; j < a[i].values.size(); ++j)
            if (!same(a[i].values[j], b[i].values[j])) return false;
        for (std::size_t j = 0; j < a[i].objects.size(); ++j)
            if (!SameList(a[i].objects[j], b[i].objects[j], same)) return false;
    }
    return true;
}

inline bool SameList(const std::vector<MMLParaStruct>& a, const std::vector<MMLParaStruct>& b) {
    return SameList(a, b, SameValue);
}

inline bool Same(const MMLCmdStruct& a, const MMLCmdStruct& b) {
    return a.cmdName == b.cmdName && SameList(a.paraList, b.paraList);
}

}  // namespace tree_equal
