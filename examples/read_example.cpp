// Reads a script and prints each command with one parameter read through the enumeration table.
//
//   qx_read_example SCRIPT [CONFIG_DIR]   (CONFIG_DIR holds script_enum.xml; default ".")
#include <cstdio>
#include <string>

#include "qx_platform/Control.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/QXScriptEnumMgr.h"
#include "qx_scriptutil/TScriptFileImpl.h"

using namespace NSQX_script;

int main(int argc, char** argv) {
    if (argc < 2) return std::fprintf(stderr, "usage: %s SCRIPT [CONFIG_DIR]\n", argv[0]), 2;
    qxp::SetAppRootPath(argc > 2 ? argv[2] : ".");  // configuration paths are below the root
    QXScriptEnumDataMgr enums("script_enum.xml");   // loaded while this object lives
    // Only commands with registered names are handed out; the reader lower-cases names.
    CmdNameConvert::AddCmdNameIDMap("cfg-set-port", 1003);
    CmdNameConvert::AddCmdNameIDMap("cfg-set-board", 1002);

    TScriptFileImpl file(kNeConfigScript);
    if (!file.OpenForRead(kNeConfigScript, nullptr, argv[1])) return std::perror(argv[1]), 2;
    TScriptCmd cmd;
    for (file.GoToFirstCommand(); file.GetOneCommand(cmd);) {
        std::string name;
        CmdNameConvert::GetCorrespondCmdName(name, cmd.GetCmdCode());
        int admin = -1;  // "up" reads as its code from the table: 1
        cmd.GetPara("admin", admin, false);
        std::printf("line %lu: %s, %u parameters, admin=%d\n", cmd.GetLineNo(), name.c_str(),
                    cmd.GetSize(), admin);
    }
    for (const TScriptResult& failed : file.GetCmdAnalyzedResult()) {
        std::printf("line %d: cannot parse command\n", failed.m_kind);
    }
    return 0;
}
