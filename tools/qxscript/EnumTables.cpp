#include "EnumTables.h"

#include <cstdint>

#include "qx_platform/Control.h"
#include "qx_platform/Trace.h"
#include "qx_platform/Xml.h"
#include "qx_scriptutil/QXScriptEnumMgr.h"

namespace qxscript {

using NSQX_script::QXScriptEnumMgr;

EnumTables::~EnumTables() {
    for (; m_loaded > 0; --m_loaded) QXScriptEnumMgr::Instance()->Release();
}

bool EnumTables::LoadOne(const std::string& relPath, const std::string& shownPath,
                         std::string& error) {
    if (QXScriptEnumMgr::Instance()->Init(relPath.c_str()) != 0) {
        error = shownPath + ": cannot be loaded as an enumeration table";
        return false;
    }
    ++m_loaded;
    return true;
}

bool EnumTables::Load(const EnumSettings& settings, std::string& error) {
    if (settings.encoding >= 0) {
        qxp::SetUserCfgItem("TRANS", "encoding", std::to_string(settings.encoding));
    }
    if (settings.slotVersion >= 0) {
        qxp::SetUserCfgItem("TRANS", "slotversion", std::to_string(settings.slotVersion));
    }
    for (std::size_t i = 0; i < settings.files.size(); ++i) {
        const std::string& path = settings.files[i];
        if (!CheckReadableFile(path, error)) return false;
        // Parsed once here for a message that names the user's file and line.
        qxp::XmlNode root;
        qxp::TraceCapture capture;
        if (!qxp::XmlParseFile(path, root)) {
            const auto lines = capture.Lines();
            error = lines.empty() ? path + ": cannot be parsed" : lines.back().text;
            return false;
        }
        const std::string rel = "enum/" + std::to_string(i) + ".xml";
        if (!m_root.Link(path, rel, error) || !LoadOne(rel, path, error)) return false;
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
    return m_root.Write("enum/tool.xml", own, error) &&
           LoadOne("enum/tool.xml", m_root.Path() + "enum/tool.xml", error);
}

int EncodingSetting(const std::string& name) {
    if (name == "GBK") return 0;
    if (name == "UTF-8") return 1;
    if (name == "ISO8859-1") return 2;
    return -1;
}

}  // namespace qxscript
