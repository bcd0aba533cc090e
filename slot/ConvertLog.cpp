#include <cstdio>
#include <string>

#include "cmd/CommandLayout.h"
#include "qx_platform/Files.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/EnumMap.h"
#include "qx_scriptutil/ScriptConfig.h"
#include "slot/CommandSlotConvert.h"

namespace NSQX_script {

void LogConvertedCmd(const TScriptCmdRef& cmd) {
    static const std::string kLogName("logconvertresult");
    static const std::string kLogItem("logresult");
    long on = 0;
    ValueS2C(on, kLogName, 0, kLogItem, 0);
    if (on == 0) return;

    const std::string path = ScriptConfigPath(ScriptConfigFile::kSlotLog);
    FILE* log = qxp::OrinFileOpen(path.c_str(), "a", "UTF-8");
    if (log == nullptr) {
        qxp::QXTrace(qxp::kTraceError, "Open file Log Converted Cmd Error! %d",
                     qxp::OrinGetLastError());
        return;
    }
    // One buffer per thread, reused from command to command.
    thread_local CommandLayout layout(kConvertLogLayout);
    layout.Render(cmd);
    const std::string& text = layout.Text();
    if (!text.empty() && std::fwrite(text.data(), 1, text.size(), log) != text.size()) {
        qxp::QXTrace(qxp::kTraceError, "Write cmd failed. cmdList size %d",
                     static_cast<int>(cmd.GetSize()));
    }
    if (qxp::OrinFileClose(log) != 0) {
        qxp::QXTrace(qxp::kTraceError, "Write cmd failed. cmdList size %d",
                     static_cast<int>(cmd.GetSize()));
    }
}

}  // namespace NSQX_script
