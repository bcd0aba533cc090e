// The build subcommand: dump's JSON lines back into a script.

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>

#include "CommandNames.h"
#include "Commands.h"
#include "EnumTables.h"
#include "FileChecks.h"
#include "JsonCommand.h"
#include "Output.h"
#include "ScriptSink.h"
#include "qx_platform/CodeSet.h"
#include "qx_platform/Control.h"
#include "qx_platform/Strings.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/Escaping.h"

namespace qxscript {

using NSQX_script::MMLParaStruct;
using NSQX_script::QXValue;

namespace {

// The first value whose text the encoding cannot hold (the writer would fall back to another one
// than the header names), or null when all fit. Walks the groups without recursion.
const QXValue* FirstUnfit(const std::vector<MMLParaStruct>& top, const std::string& encoding,
                          std::string& work) {
    auto fits = [&](const QXValue& v) {
        if (v.GetType() != QXValue::kString) return true;
        const std::string_view s = v.StringRef();
        return std::all_of(s.begin(), s.end(),
                           [](char c) { return static_cast<unsigned char>(c) < 0x80; }) ||
               qxp::OrinCodeSetConvert("UTF-8", encoding.c_str(), std::string(s), work);
    };
    std::vector<const std::vector<MMLParaStruct>*> pending{&top};
    while (!pending.empty()) {
        const std::vector<MMLParaStruct>& list = *pending.back();
        pending.pop_back();
        for (const MMLParaStruct& p : list) {
            if (!fits(p.name)) return &p.name;
            for (const QXValue& v : p.values) {
                if (!fits(v)) return &v;
            }
            for (const auto& group : p.objects) pending.push_back(&group);
        }
    }
    return nullptr;
}

// The creation time of the header: fixed, so that the same JSON always gives the same bytes.
bool CreationTime(const std::string& given, std::int64_t& seconds, std::string& error) {
    std::string text = given;
    if (text.empty()) {
        const char* env = std::getenv("SOURCE_DATE_EPOCH");
        text = env != nullptr && *env != '\0' ? env : "0";
    }
    if (text == "now") {
        seconds = -1;
        return true;
    }
    long n = 0;
    if (!qxp::QXStr2Int(text.c_str(), n) || n < 0) {
        error = "\"" + text + "\" is not a creation time (seconds since 1970, or now)";
        return false;
    }
    seconds = n;
    return true;
}

// Command codes for the names met, in order of first appearance; a name already registered
// keeps its code.
class BuildNames {
  public:
    unsigned long CodeOf(const std::string& name) {
        const auto it = m_codes.find(name);
        if (it != m_codes.end()) return it->second;
        unsigned long code = 0;
        if (!NSQX_script::CmdNameConvert::GetCorrespondCmdID(name.c_str(), code)) {
            std::string taken;
            while (NSQX_script::CmdNameConvert::GetCorrespondCmdName(taken, ++m_last)) {
            }
            code = m_last;
            CommandNames::Register(name, code);
        }
        m_codes.emplace(name, code);
        return code;
    }

  private:
    std::map<std::string, unsigned long> m_codes;
    unsigned long m_last = 0;
};

}  // namespace

int RunBuild(const BuildOptions& opts) {
    std::string error;
    std::int64_t created = 0;
    if (!CreationTime(opts.created, created, error)) {
        Error(error);
        return kExitUsage;
    }
    const bool fromStdin = opts.file == "-";
    const std::string inputName = fromStdin ? "<stdin>" : opts.file;
    std::ifstream file;
    if (!fromStdin) {
        if (!CheckReadableFile(opts.file, error)) {
            Error(error);
            return kExitUsage;
        }
        file.open(opts.file, std::ios::binary);
        if (!file) {
            Error(opts.file + ": " + SystemError(errno));
            return kExitUsage;
        }
    }
    std::istream& in = fromStdin ? std::cin : file;

    EnumTables tables;
    EnumSettings settings;
    settings.encoding = opts.encoding.empty() ? -1 : EncodingSetting(opts.encoding);
    if (!tables.Load(settings, error)) {
        Error(error);
        return kExitUsage;
    }
    qxp::SetFixedTime(created);
    const std::string encoding = NSQX_script::GetCfgEncoding();
    ScriptSink sink;
    if (!sink.Open(opts.output, opts.type, error)) {
        Error(error);
        return kExitUsage;
    }

    BuildNames names;
    JsonCommand parsed;
    JsonCommandError bad;
    std::string line;
    std::string work;
    unsigned long lineNo = 0;
    const std::string where = EscapeForTerminal(inputName) + ":";
    while (std::getline(in, line)) {
        ++lineNo;
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        if (!ParseJsonCommand(line, parsed, bad)) {
            Output::Write(stderr, where + std::to_string(lineNo) +
                                      (bad.column != 0 ? ":" + std::to_string(bad.column) : "") +
                                      ": error: " + EscapeForTerminal(bad.reason) + "\n");
            return kExitFindings;
        }
        if (encoding != "UTF-8") {
            if (const QXValue* unfit = FirstUnfit(parsed.paras, encoding, work)) {
                Output::Write(stderr, where + std::to_string(lineNo) + ": error: \"" +
                                          EscapeForTerminal(unfit->As_std_string()) +
                                          "\" cannot be written in " + encoding + "\n");
                return kExitFindings;
            }
        }
        NSQX_script::TScriptCmd cmd(names.CodeOf(parsed.name));
        cmd.GetParaList().swap(parsed.paras);
        cmd.SetLineNo(lineNo);
        const ScriptSink::Result result = sink.Write(cmd, inputName, error);
        if (result == ScriptSink::kRefused) {
            Output::Write(stderr, error + "\n");
            return kExitFindings;
        }
        if (result == ScriptSink::kFailed) {
            Error(error);
            return kExitUsage;
        }
    }
    if (in.bad() || (!fromStdin && !in.eof())) {
        Error(inputName + ": cannot be read");
        return kExitUsage;
    }
    if (!sink.Finish(error)) {
        Error(error);
        return kExitUsage;
    }
    return kExitOk;
}

}  // namespace qxscript
