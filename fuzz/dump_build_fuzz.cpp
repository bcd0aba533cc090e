// What dump shows of a script, build writes back: every command the reader takes from any bytes
// turns into dump's JSON, that JSON reads back (ParseJsonCommand) into a script written through
// the library's writer, and reading that script gives the same JSON again, command by command.
// Writing the commands read back gives the very same bytes as the first writing, so a build
// from the same JSON is reproducible. Skipped: inputs whose written commands exceed what a
// reader takes (ranges expand when written as lists are not, but a long text stays long), and
// trees with a parameter that holds both values and groups, which only a backward name range
// before groups produces ("8&&7={b=1}&{c=2}" reads as b=1 with the group {c=2}): no script
// text writes such a parameter, and build refuses it with a reason.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz/FuzzFiles.h"
#include "parser/ParseBuilder.h"
#include "qx_platform/Control.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/TScriptFileImpl.h"
#include "tools/qxscript/CommandView.h"
#include "tools/qxscript/JsonCommand.h"

using namespace NSQX_script;

namespace {

const char* const kNames[] = {"a", "b", "x", "cfg-set", "cfg-add"};

// Every command of the file, in order.
std::vector<TScriptCmd> ReadAll(const std::string& path) {
    TScriptFileImpl file(1);
    file.SetEnv(fuzz_files::Memory());
    if (!file.OpenForRead(1, nullptr, path.c_str())) std::abort();
    file.GoToFirstCommand();
    std::vector<TScriptCmd> cmds;
    TScriptCmd cmd;
    while (file.GetOneCommand(cmd)) cmds.push_back(cmd);
    return cmds;
}

std::string Json(const TScriptCmd& cmd) {
    std::string name;
    if (!CmdNameConvert::GetCorrespondCmdName(name, cmd.GetCmdCode())) std::abort();
    std::string out;
    qxscript::AppendJsonParameters(cmd.GetParaList(), out);
    return name + out;
}

// Whether every parameter of the tree has values or groups, not both.
bool Writable(const std::vector<MMLParaStruct>& paras) {
    std::vector<const std::vector<MMLParaStruct>*> pending{&paras};
    while (!pending.empty()) {
        const std::vector<MMLParaStruct>* list = pending.back();
        pending.pop_back();
        for (const MMLParaStruct& p : *list) {
            if (!p.values.empty() && !p.objects.empty()) return false;
            for (const std::vector<MMLParaStruct>& group : p.objects) pending.push_back(&group);
        }
    }
    return true;
}

// The commands of the JSON texts, as build turns them into commands.
std::vector<TScriptCmd> Build(const std::vector<TScriptCmd>& read) {
    std::vector<TScriptCmd> out;
    std::string line;
    qxscript::JsonCommand parsed;
    qxscript::JsonCommandError error;
    for (const TScriptCmd& cmd : read) {
        std::string name;
        CmdNameConvert::GetCorrespondCmdName(name, cmd.GetCmdCode());
        line.clear();
        qxscript::AppendJson("f", name, cmd, line);
        if (!qxscript::ParseJsonCommand(line, parsed, error)) {
            std::fprintf(stderr, "%s\n%s\n", line.c_str(), error.reason.c_str());
            std::abort();
        }
        unsigned long code = 0;
        if (!CmdNameConvert::GetCorrespondCmdID(parsed.name.c_str(), code)) std::abort();
        out.emplace_back(code);
        out.back().GetParaList().swap(parsed.paras);
    }
    return out;
}

// Writes the commands as build does; false when one is too long for a reader.
bool Write(const std::string& path, std::vector<TScriptCmd> cmds) {
    TScriptFileImpl file(1);
    file.SetEnv(fuzz_files::Memory());
    if (!file.OpenForWrite(1, nullptr, path.c_str(), 0, true)) std::abort();
    for (TScriptCmd& cmd : cmds) {
        if (cmd.GetParaList().empty()) {
            std::string name;
            CmdNameConvert::GetCorrespondCmdName(name, cmd.GetCmdCode());
            if (!file.WriteString((":" + name + ":{};\n\n").c_str())) std::abort();
            continue;
        }
        qxscript::PrepareForWriting(cmd.GetParaList());
        if (!file.WriteCommand(cmd)) return false;
    }
    if (!file.Close()) std::abort();
    return true;
}

std::string Bytes(const std::string& path) {
    std::string out;
    if (!qxp::ReadFileToString(fuzz_files::Memory(), path, &out).ok()) std::abort();
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    NSQX_script::parser::SetValueBudget(std::size_t{1} << 16);
    unsigned long id = 700;
    for (const char* name : kNames) CmdNameConvert::AddCmdNameIDMap(name, ++id);
    qxp::SetFixedTime(0);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string in = "in.txt";
    const std::string once = "once.txt";
    const std::string twice = "twice.txt";
    const std::string header = "// encoding=\"UTF-8\"\n";
    std::string script = header;
    script.append(reinterpret_cast<const char*>(data), size);
    if (!fuzz_files::Store(in, script.data(), script.size())) return 0;

    const std::vector<TScriptCmd> first = ReadAll(in);
    for (const TScriptCmd& cmd : first) {
        if (!Writable(cmd.GetParaList())) return 0;
    }
    if (!Write(once, Build(first))) return 0;
    const std::vector<TScriptCmd> second = ReadAll(once);
    if (second.size() != first.size()) std::abort();
    for (std::size_t i = 0; i < first.size(); ++i) {
        if (Json(first[i]) != Json(second[i])) {
            std::fprintf(stderr, "%s\n%s\n", Json(first[i]).c_str(), Json(second[i]).c_str());
            std::abort();
        }
    }
    if (!Write(twice, Build(second)) || Bytes(once) != Bytes(twice)) std::abort();
    return 0;
}
