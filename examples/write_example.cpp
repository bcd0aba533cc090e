// Writes a new script with a header and two commands.
//
//   qx_write_example OUTPUT
#include <cstdio>

#include "qx_platform/Control.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/QXScriptErrMgr.h"
#include "qx_scriptutil/TScriptFileImpl.h"

using namespace NSQX_script;

int main(int argc, char** argv) {
    if (argc != 2) return std::fprintf(stderr, "usage: %s OUTPUT\n", argv[0]), 2;
    qxp::SetUserName(0, "operator");  // the header's "Created by"
    CmdNameConvert::AddCmdNameIDMap("cfg-set-port", 1003);

    TScriptFileImpl file(kNeConfigScript);  // encoding as configured: UTF-8 by default
    if (!file.OpenForWrite(kNeConfigScript, nullptr, argv[1], 0, true)) {
        return std::perror(argv[1]), 2;
    }
    for (int port = 1; port <= 2; ++port) {
        TScriptCmd cmd(1003);
        cmd.AddPara("port", port, false, false, false);
        cmd.AddPara("admin", port == 1 ? "up" : "down", false, false);
        cmd.AddPara("alarms", "los&lof", false, true);           // split into two values
        cmd.AddPara("descr", "\"uplink \"A\"\"", false, false);  // quoted: escaped inside
        if (!file.WriteCommand(cmd)) break;
    }
    // A failed write leaves its code in the thread's error manager.
    return QXScriptErrMgr::Instance()->m_errorCode == 0 ? 0 : 1;
}
