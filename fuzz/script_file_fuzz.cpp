// Any bytes written to a file read without crashing, leaking or hanging, and the two ways of
// reading a file agree: streaming with GetOneCommand hands out the same commands, with the same
// lines and trees, and records the same failures as loading it whole with GetAllCommands.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz/TreeEqual.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/TScriptFileImpl.h"

using namespace NSQX_script;

namespace {

const std::string& Path() {
    static const std::string path = [] {
        for (const char* name : {"a", "b", "x", "cfg-set", "cfg-add"}) {
            static unsigned long id = 500;
            CmdNameConvert::AddCmdNameIDMap(name, ++id);
        }
        return "/tmp/qx_fuzz_script_" + std::to_string(getpid()) + ".txt";
    }();
    return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string& path = Path();
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) return 0;
    std::fwrite(data, 1, size, f);
    std::fclose(f);

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
