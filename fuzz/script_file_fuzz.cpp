// Any bytes written to a file read without crashing, leaking or hanging, and the two ways of
// reading a file agree: streaming with GetOneCommand hands out the same commands, with the same
// lines and trees, and records the same failures as loading it whole with GetAllCommands. A
// reader with a diagnostic sink reads the same commands and failures again, and every
// diagnostic it reports stands on a line of the file.
#include <algorithm>
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

const std::string& Path() {
    static const std::string path = [] {
        for (const char* name : {"a", "b", "x", "cfg-set", "cfg-add"}) {
            static unsigned long id = 500;
            CmdNameConvert::AddCmdNameIDMap(name, ++id);
        }
        return std::string("script.txt");
    }();
    return path;
}

// Aborts on a diagnostic outside the file's lines.
class LineCheck : public TScriptDiagnosticSink {
  public:
    explicit LineCheck(unsigned long lines) : lines_(lines) {}
    void Report(const TScriptDiagnostic& d) override {
        if (d.line < 1 || d.line > lines_ || d.column < 1) std::abort();
    }

  private:
    unsigned long lines_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string& path = Path();
    if (!fuzz_files::Store(path, data, size)) return 0;

    TScriptFileImpl streamed(1);
    streamed.SetEnv(fuzz_files::Memory());
    if (!streamed.OpenForRead(1, nullptr, path.c_str())) std::abort();
    streamed.GoToFirstCommand();
    std::vector<TScriptCmd> first;
    TScriptCmd cmd;
    while (streamed.GetOneCommand(cmd)) first.push_back(cmd);

    TScriptFileImpl whole(1);
    whole.SetEnv(fuzz_files::Memory());
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

    LineCheck sink(1 + static_cast<unsigned long>(std::count(data, data + size, '\n')));
    TScriptFileImpl watched(1);
    watched.SetEnv(fuzz_files::Memory());
    watched.SetDiagnosticSink(&sink);
    if (!watched.OpenForRead(1, nullptr, path.c_str())) std::abort();
    watched.GoToFirstCommand();
    for (const TScriptCmd& expected : first) {
        if (!watched.GetOneCommand(cmd) || cmd.GetLineNo() != expected.GetLineNo() ||
            !tree_equal::SameList(cmd.GetParaList(), expected.GetParaList()))
            std::abort();
    }
    if (watched.GetOneCommand(cmd)) std::abort();
    const std::vector<TScriptResult> watchedFailures = watched.GetCmdAnalyzedResult();
    if (watchedFailures.size() != failures.size()) std::abort();
    for (std::size_t i = 0; i < failures.size(); ++i) {
        if (failures[i].m_kind != watchedFailures[i].m_kind) std::abort();
    }
    return 0;
}
