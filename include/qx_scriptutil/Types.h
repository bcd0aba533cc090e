#pragma once

#include "qx_platform/CStdString.h"
#include "qx_platform/QXValue.h"
#include "qx_scriptutil/Export.h"

namespace NSQX_script {

// The host's string and variant value types, used throughout the interface.
using qxp::CStdString;
using qxp::QXValue;

}  // namespace NSQX_script
