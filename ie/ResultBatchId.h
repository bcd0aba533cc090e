#pragma once

#include "qx_scriptutil/QXScriptErrMgr.h"

namespace NSQX_script {

// Whether the last NewResultBatchId() on this thread used the crypto generator (false: the
// fallback of clock, counter and thread).
bool LastResultBatchIdWasStrong();

}  // namespace NSQX_script
