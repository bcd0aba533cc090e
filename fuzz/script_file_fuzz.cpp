// Any bytes written to a file read without crashing, leaking or hanging, and the two ways of
// reading a file agree: streaming with GetOneCommand hands out the same commands, with the same
// lines and trees, and records the same failures as loading it whole with GetAllCommands.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz/FuzzFiles.h"
#include "fuzz/TreeEqual.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/TScriptFileImpl.h"

using namespace NSQX_script;

namespace {

std::string g_dir;

void RemoveFiles() {
    std::remove((g_dir + "script.txt").c_str());
    rmdir(g_dir.c_str());
}

const std::string& Path() {
    static const std::string path = [] {
        for (const char* name : {"a", "b", "x", "cfg-set", "cfg-add"}) {
            static unsigned long id = 500;
            CmdNameConvert::AddCmdNameIDMap(name, ++id);
        }
        g_dir = fuzz_files::MakeDir("qx_fuzz_script");
        std::atexit(RemoveFiles);
        return g_dir + "script.txt";
    }();
    return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string& path = Path();
    if (!fuzz_files::Store(path, data, size)) return 0;

    TScriptFileImpl streamed(1);
    if (!streamed.OpenForRead(1, nullptr, path.c_str())) std::abort();
    streamed.GoToFirstCommand();
    std::vector<TScriptCmd> first;
    TScriptCmd cmd;
    while (streamed.GetOneCommand(cmd)) first.push_back(cmd);

    TScriptFileImpl whole(1);
    if (!whole.OpenForRead(1, nullptr, path.c_str())) std::abort();
    std::vector<TScriptResult> failures;
    const unsigned long count = whole.GetAllCommands(failures);
    if (count != first.size()) std::abort();
    for (std::size_t i = 0; i < first.size(); ++i) {
        if (!whole.GetOneCommand(cmd)) std::abort();
        if (cmd.GetCmdCode() != first[i].GetCmdCode() || cmd.GetLineNo() != first[i].GetLineNo() ||
            !tree_equal::SameList(cmd.GetParaList(), first[i].GetParaList()))
            std::abort();
    }
    const std::vector<TScriptResult> streamedFailures = streamed.GetCmdAnalyzedResult();
    if (streamedFailures.size() != failures.size()) std::abort();
    for (std::size_t i = 0; i < failures.size(); ++i) {
        if (failures[i].m_kind != streamedFailures[i].m_kind) std::abort();
    }
    return 0;
}
