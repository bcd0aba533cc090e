#pragma once

#include "qx_scriptutil/TScriptCmd.h"

namespace NSQX_script {

// A hook that sees every parsed command before the script reader hands it out; it may change
// the command, and returning false rejects it (the reader then records it as failed).
using PostAnalyseFunc = bool (*)(MMLCmdStruct& cmd);

// Registers a hook for the life of the process: a module defines a static registrar object.
// Hooks run in registration order and are never removed. Registration is expected during
// static initialisation; the hook list has no lock of its own beyond its creation.
class QX_API AutoRegisterPostAnalyseFunc {
  public:
    explicit AutoRegisterPostAnalyseFunc(PostAnalyseFunc func);
};

// Runs the hooks in order on the command; false at the first that rejects it. True when no
// hook is registered.
QX_API bool PostAnalyseOneCommand(MMLCmdStruct& cmd);

}  // namespace NSQX_script
