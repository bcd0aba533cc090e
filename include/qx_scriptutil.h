#pragma once

// The whole public API of the script library.

#include "qx_scriptutil/version.h"

#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/EnumMap.h"
#include "qx_scriptutil/Escaping.h"
#include "qx_scriptutil/PostAnalyse.h"
#include "qx_scriptutil/QXConvertDataStorage.h"
#include "qx_scriptutil/QXScriptEnumMgr.h"
#include "qx_scriptutil/QXScriptErrMgr.h"
#include "qx_scriptutil/ScriptEnumCfg.h"
#include "qx_scriptutil/ScriptFile.h"
#include "qx_scriptutil/ScriptFileName.h"
#include "qx_scriptutil/ScriptGauge.h"
#include "qx_scriptutil/ScriptHeader.h"
#include "qx_scriptutil/ScriptDiagnostic.h"
#include "qx_scriptutil/ScriptParser.h"
#include "qx_scriptutil/ScriptRegeisterIF.h"
#include "qx_scriptutil/ScriptRegistry.h"
#include "qx_scriptutil/ScriptResult.h"
#include "qx_scriptutil/ScriptSlotConvert.h"
#include "qx_scriptutil/ScriptStaticData.h"
#include "qx_scriptutil/SubNetInfo.h"
#include "qx_scriptutil/TScriptCmd.h"
#include "qx_scriptutil/TScriptFileImpl.h"
#include "qx_scriptutil/Types.h"
