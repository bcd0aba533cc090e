#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "qx_scriptutil/TScriptCmd.h"

namespace qxscript {

// One command of a compared script. A comparison holds every command of both scripts at once,
// so the parameters are kept packed (PackParameters: about the size of their text) and unpacked
// only for the commands whose differences are looked at. A value type.
struct DiffEntry {
    unsigned long code = 0;
    unsigned long line = 0;
    std::size_t hash = 0;  // equal commands hash alike
    std::string identity;  // commands that may pair have the same identity
    std::string packed;    // the parameters, in order
};

// The parameter tree as bytes, and back. Recursion follows the groups, so callers bound the
// nesting first (ScriptDiff's kMaxDiffDepth).
std::string PackParameters(const std::vector<NSQX_script::MMLParaStruct>& paras);
std::vector<NSQX_script::MMLParaStruct> UnpackParameters(const std::string& packed);

}  // namespace qxscript
