#include "EnumTables.h"

#include <cstdint>

#include "FileChecks.h"
#include "qx_platform/Control.h"
#include "qx_scriptutil/QXScriptEnumMgr.h"
#include "qx_scriptutil/ScriptConfig.h"

namespace qxscript {

using NSQX_script::QXScriptEnumMgr;

EnumTables::~EnumTables() {
    for (; m_loaded > 0; --m_loaded) QXScriptEnumMgr::Instance()->Release();
}

bool EnumTables::Load(const EnumSettings& settings, std::string& error) {
    if (settings.encoding >= 0) {
        qxp::SetUserCfgItem("TRANS", "encoding", std::to_string(settings.encoding));
    }
    if (settings.slotVersion >= 0) {
        qxp::SetUserCfgItem("TRANS", "slotversion", std::to_string(settings.slotVersion));
    }
    QXScriptEnumMgr* tables = QXScriptEnumMgr::Instance();
    NSQX_script::ScriptConfigError why;
    for (const std::string& path : settings.files) {
        if (!CheckReadableFile(path, error)) return false;
        if (tables->InitFile(path, &why) != 0) {
            error = why.Text();
            return false;
        }
        ++m_loaded;
    }
    std::string own = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ScriptEnum>\n";
    own += "  <Cmd name=\"settings\" cmdid=\"0\">\n";
    if (settings.slotSwitch) {
        own +=
            "    <Para type=\"enum\" name=\"cvtswitch\" extendid=\"0\">"
            "<Value num=\"1\" str=\"slotcvtswitch\"/></Para>\n";
    }
    if (settings.logSwitch) {
        own +=
            "    <Para type=\"enum\" name=\"logresult\" extendid=\"0\">"
            "<Value num=\"1\" str=\"logconvertresult\"/></Para>\n";
    }
    if (settings.scriptVersion >= 0) {
        own += "    <Para type=\"enum\" name=\"scriptversion\" extendid=\"0\"><Value num=\"" +
               std::to_string(static_cast<std::int32_t>(settings.scriptVersion)) +
               "\" str=\"currentscriptversion\"/></Para>\n";
    }
    own += "  </Cmd>\n";
    own += "</ScriptEnum>\n";
    if (tables->InitText("qxscript settings", own, &why) != 0) {
        error = why.Text();
        return false;
    }
    ++m_loaded;
    return true;
}

int EncodingSetting(const std::string& name) {
    if (name == "GBK") return 0;
    if (name == "UTF-8") return 1;
    if (name == "ISO8859-1") return 2;
    return -1;
}

}  // namespace qxscript
