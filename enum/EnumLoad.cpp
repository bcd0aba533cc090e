// Objects made at library load, in the order the enumeration table relies on: the setting
// names, the manager's lock, then the registrations with the host.
#include <memory>
#include <new>

#include "enum/EnumSettings.h"
#include "enum/ScriptEnumInterpreter.h"
#include "qx_platform/StaticData.h"
#include "qx_platform/Trace.h"
#include "qx_platform/Xml.h"
#include "qx_scriptutil/QXScriptEnumMgr.h"
#include "qx_scriptutil/ScriptEnumCfg.h"

namespace NSQX_script {

const std::string kExportRestoreSetting = "bExportScriptToRestoreNEdata";
const std::string kExportRestoreValueName = "curbExportScriptToRestoreNEdata";

qxp::RWMutex QXScriptEnumMgr::m_RWMutex;

namespace {

constexpr char kModuleName[] = "qx_scriptutil";
constexpr char kInterpreterName[] = "script_enum_interpreter";

struct StaticDataRegistrar {
    StaticDataRegistrar() {
        try {
            qxp::StaticDataFramework::Instance()->Register(kModuleName, ScriptEnumCfg::Instance());
        } catch (...) {
            // Without the registration only the host-loaded route is missing.
        }
    }
    ~StaticDataRegistrar() {
        try {
            qxp::StaticDataFramework::Instance()->Unregister(kModuleName);
        } catch (...) {
        }
    }
};

struct InterpreterRegistrar {
    InterpreterRegistrar() : interpreter(new (std::nothrow) ScriptEnumInterpreter()) {
        if (!interpreter) {
            qxp::QXTrace(qxp::kTraceError, "Creare iterpreter failed");
            return;
        }
        try {
            qxp::XmlInterpreterRegistry::Instance()->Register(kInterpreterName, interpreter.get());
        } catch (...) {
        }
    }
    ~InterpreterRegistrar() {
        if (!interpreter) return;
        try {
            qxp::XmlInterpreterRegistry::Instance()->Unregister(kInterpreterName);
        } catch (...) {
        }
    }
    std::unique_ptr<ScriptEnumInterpreter> interpreter;
};

const StaticDataRegistrar staticDataRegistrar;
const InterpreterRegistrar interpreterRegistrar;

}  // namespace

}  // namespace NSQX_script
