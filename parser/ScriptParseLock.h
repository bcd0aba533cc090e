#pragma once

#include "qx_platform/Lock.h"

namespace NSQX_script {

// Serialises every use of the process-wide scanner and parser state. Not recursive; built when
// the library is loaded. No other lock is taken while it is held.
extern qxp::Mutex ScriptParseLock;

}  // namespace NSQX_script
