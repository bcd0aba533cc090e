// Counts the commands of a script and the ones that cannot be parsed.
//
//   qx_consumer SCRIPT
#include <cstdio>

#include "qx_scriptutil.h"
#include "qx_scriptutil/PostAnalyse.h"
#include "qx_scriptutil/TScriptFileImpl.h"

using namespace NSQX_script;

namespace {

// Registers every command name as it is read, so that no command is skipped.
bool RegisterName(MMLCmdStruct& cmd) {
    static unsigned long next = 1;
    unsigned long code = 0;
    if (!CmdNameConvert::GetCorrespondCmdID(cmd.cmdName.c_str(), code)) {
        CmdNameConvert::AddCmdNameIDMap(cmd.cmdName.c_str(), next++);
    }
    return true;
}
const AutoRegisterPostAnalyseFunc g_registerNames(&RegisterName);

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return std::fprintf(stderr, "usage: %s SCRIPT\n", argv[0]), 2;
    TScriptFileImpl file(kNeConfigScript);
    if (!file.OpenForRead(kNeConfigScript, nullptr, argv[1])) return std::perror(argv[1]), 2;
    unsigned long count = 0;
    TScriptCmd cmd;
    for (file.GoToFirstCommand(); file.GetOneCommand(cmd);) ++count;
    std::printf("%s: %lu commands, %zu cannot be parsed (qx_scriptutil %s)\n", argv[1], count,
                file.GetCmdAnalyzedResult().size(), QX_SCRIPTUTIL_VERSION);
    return file.GetCmdAnalyzedResult().empty() ? 0 : 1;
}
