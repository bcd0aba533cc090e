#pragma once

#include <string>

#include "qx_scriptutil/QXConvertDataStorage.h"

namespace NSQX_script {

// The library's own ways into the store beyond its public interface.
class SlotStoreAccess {
  public:
    // Reads the file into the store singleton under the class-wide lock. With once set (Init)
    // nothing happens when the process has taken up the configuration before; without it
    // the file is read regardless, which is how tests load their fixtures.
    static void LoadFile(const std::string& path, bool once = false);
    // Forgets that the configuration was loaded, so that the next Init reads the file again.
    // For tests only.
    static void ForgetLoaded();
    // Copies the first record with that command name; false when there is none. Spares the
    // per-command pass a copy of the whole list.
    static bool FindCmdInfo(const std::string& cmdName, QXScriptCfgCmdInfo& info);
    static bool HasCmdInfo();
};

}  // namespace NSQX_script
