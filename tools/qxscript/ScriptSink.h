#pragma once

#include <memory>
#include <string>

#include "SafeOutput.h"
#include "qx_scriptutil/TScriptFileImpl.h"

namespace qxscript {

// A script written through the library's writer: a fresh header for the script type in the
// encoding the configuration names, then the commands. The file replaces its target only when
// Finish() succeeds. Confined to the main thread.
class ScriptSink {
  public:
    bool Open(const std::string& target, unsigned int scriptType, std::string& error);
    // Writes a command read from a script (its texts are quoted again where needed).
    bool Write(NSQX_script::TScriptCmd& cmd, std::string& error);
    bool Finish(std::string& error);

  private:
    SafeOutput m_output;
    CloseWatch m_watch;
    std::unique_ptr<NSQX_script::TScriptFileImpl> m_file;
};

}  // namespace qxscript
