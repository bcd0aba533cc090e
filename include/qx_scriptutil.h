#pragma once

// The whole public API of the script library.

#include "qx_scriptutil/version.h"

#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/ScriptParser.h"
#include "qx_scriptutil/TScriptCmd.h"
#include "qx_scriptutil/Types.h"
