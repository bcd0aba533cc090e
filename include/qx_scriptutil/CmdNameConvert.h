#pragma once

#include <map>
#include <string>

#include "qx_scriptutil/Export.h"

namespace NSQX_script {

// The process-wide map between command codes and command names. Static members only; the map
// owns its name copies. It has no lock: callers that register or remove names while other
// threads look up serialise these calls themselves.
class QX_API CmdNameConvert {
  public:
    // Registers a name for a code; the first name registered for a code stays.
    static void AddCmdNameIDMap(const char* name, unsigned long cmdId);
    // Name to code: the lowest code carrying exactly that name (case-sensitive).
    static bool GetCorrespondCmdID(const char* name, unsigned long& cmdId);
    static bool GetCorrespondCmdName(std::string& name, unsigned long cmdId);
    static void RemoveCmdNameIDMap(unsigned long cmdId);

    // Lives until the process ends; the names still registered then are not freed one by one.
    static std::map<unsigned long, char*>& m_CmdNameMap;
};

}  // namespace NSQX_script
