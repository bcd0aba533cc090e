// The subcommands that write scripts: fmt and slots.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <set>

#include "CommandNames.h"
#include "Commands.h"
#include "EnumTables.h"
#include "FileChecks.h"
#include "Findings.h"
#include "InputList.h"
#include "Output.h"
#include "ScriptSink.h"
#include "ScriptSource.h"
#include "qx_platform/CodeSet.h"
#include "qx_platform/Control.h"
#include "qx_platform/Strings.h"
#include "qx_platform/Xml.h"
#include "qx_scriptutil/Escaping.h"
#include "qx_scriptutil/QXConvertDataStorage.h"
#include "qx_scriptutil/ScriptConfig.h"
#include "qx_scriptutil/ScriptStaticData.h"

namespace qxscript {

using NSQX_script::MMLParaStruct;
using NSQX_script::QXValue;
using NSQX_script::TScriptCmd;

namespace {

// The first text of the parameters that the encoding cannot hold (the library's writer would
// fall back to another encoding than the header names); empty when all fit.
std::string FirstUnfit(const std::vector<MMLParaStruct>& paras, const std::string& encoding) {
    std::string converted;
    auto fits = [&](const QXValue& v) {
        if (v.GetType() != QXValue::kString) return true;
        const std::string& s = v.StringRef();
        return std::all_of(s.begin(), s.end(),
                           [](char c) { return static_cast<unsigned char>(c) < 0x80; }) ||
               qxp::OrinCodeSetConvert("UTF-8", encoding.c_str(), s, converted);
    };
    for (const MMLParaStruct& p : paras) {
        if (!fits(p.name)) return p.name.StringRef();
        for (const QXValue& v : p.values) {
            if (!fits(v)) return v.StringRef();
        }
        for (const auto& group : p.objects) {
            std::string bad = FirstUnfit(group, encoding);
            if (!bad.empty()) return bad;
        }
    }
    return std::string();
}

// Reports everything found in the script and whether it may be written; true when nothing
// would be lost or changed (or the user accepted changed values).
bool MayWrite(const ScriptSource& source, std::size_t unknownBefore, bool acceptChanged) {
    const FindingCounts counts = ReportFindings(source, stderr);
    const auto& unknown = CommandNames::Unknown();
    for (std::size_t i = unknownBefore; i < unknown.size(); ++i) {
        std::fprintf(stderr, "%s: error: commands named \"%s\" not registered\n",
                     source.Name().c_str(), unknown[i].c_str());
    }
    const bool lost =
        counts.errors != 0 || !source.FailedLines().empty() || unknown.size() > unknownBefore;
    if (lost) {
        Error(source.Name() + ": nothing written, the output would lose commands");
    } else if (counts.headerWarnings != 0) {
        Error(source.Name() +
              ": nothing written, the input's encoding is a guess (give --input-encoding)");
    } else if (counts.valueWarnings != 0 && !acceptChanged) {
        Error(source.Name() +
              ": nothing written, values would be written as they read, not as the script "
              "has them (give --accept-changed-values to write them so)");
    } else {
        return true;
    }
    return false;
}

// Slot conversion puts its results back as texts; a value that was a number before and is a
// whole number after becomes a number of the same type again, so that it is written bare.
void RestoreNumbers(const std::vector<MMLParaStruct>& before, std::vector<MMLParaStruct>& after) {
    if (before.size() != after.size()) return;
    for (std::size_t i = 0; i < before.size(); ++i) {
        const MMLParaStruct& b = before[i];
        MMLParaStruct& a = after[i];
        for (std::size_t k = 0; k < b.values.size() && k < a.values.size(); ++k) {
            long number = 0;
            const QXValue::Type type = b.values[k].GetType();
            if ((type == QXValue::kInt32 || type == QXValue::kInt64) &&
                a.values[k].GetType() == QXValue::kString &&
                qxp::QXStr2Int(a.values[k].AsCString(), number)) {
                if (type == QXValue::kInt32) {
                    a.values[k].SetInt32(static_cast<int>(number));
                } else {
                    a.values[k].SetInt64(number);
                }
            }
        }
        for (std::size_t g = 0; g < b.objects.size() && g < a.objects.size(); ++g) {
            RestoreNumbers(b.objects[g], a.objects[g]);
        }
    }
}

// New headers name the version that the source's header names, so that the rewritten script
// reads back with the same script version (which decides how escapes are undone).
void KeepVersion(const ScriptSource& source, EnumSettings& settings) {
    const std::string ems = source.HeaderEmsVersion();
    if (!ems.empty()) qxp::SetServerVersionName(ems);
    settings.scriptVersion = static_cast<long>(source.Version());
}

unsigned int ChooseType(unsigned int given, const ScriptSource& source) {
    if (given != 0) return given;
    const unsigned int fromHeader = source.HeaderScriptType();
    return fromHeader != 0 ? fromHeader : NSQX_script::kNeConfigScript;
}

bool IsEncodingLine(const std::string& text) {
    for (const char* e : {"UTF-8", "ISO8859-1", "GBK"}) {
        if (text == std::string("encoding=\"") + e + "\"") return true;
    }
    return false;
}

// One file to rewrite and where its result goes ("-": standard output).
struct WriteJob {
    std::string input;
    std::string target;
    std::string error;  // the input cannot be read
};

// Pairs each input with its output, or says (false) why the options do not tell where a
// result goes: several inputs need --in-place or --output-dir.
bool PlanWrites(const InputOptions& inputs, const WriteTargets& targets,
                std::vector<WriteJob>& jobs) {
    const std::vector<InputItem> items =
        ListInputs(inputs.files, {inputs.recursive, inputs.include});
    if (items.empty()) {
        Error("no files to read (directories are searched for " + inputs.include + ")");
        return false;
    }
    const bool several = items.size() > 1;
    if (several && targets.outputDir.empty() && !targets.inPlace) {
        Error("several inputs: give --in-place or --output-dir (-o takes one input)");
        return false;
    }
    std::set<std::string> written;
    for (const InputItem& item : items) {
        WriteJob job{item.path, "-", item.error};
        if (item.path == "-" && targets.inPlace) {
            Error("-i needs a file, not standard input");
            return false;
        }
        if (item.path == "-" && !targets.outputDir.empty()) {
            Error("standard input has no name to write under --output-dir (use -o)");
            return false;
        }
        if (targets.inPlace) {
            job.target = item.path;
        } else if (!targets.outputDir.empty()) {
            job.target = (std::filesystem::path(targets.outputDir) / item.relative).string();
            std::error_code ec;
            std::filesystem::create_directories(std::filesystem::path(job.target).parent_path(),
                                                ec);
            if (ec) {
                Error(job.target + ": " + ec.message());
                return false;
            }
        } else if (!targets.output.empty()) {
            job.target = targets.output;
        }
        if (job.target != "-" && !written.insert(job.target).second) {
            Error("two inputs would be written to " + job.target);
            return false;
        }
        jobs.push_back(std::move(job));
    }
    return true;
}

// The header lines of the input for --keep-header, in UTF-8, with its encoding line naming the
// encoding written (put first when it had none).
std::vector<std::string> KeptHeader(const ScriptSource& source, const std::string& encoding) {
    const std::string encodingLine = "// encoding=\"" + encoding + "\"";
    std::vector<std::string> lines;
    bool named = false;
    for (std::size_t i = 0; i < source.HeaderText().size(); ++i) {
        std::string text;
        const std::string& raw = source.HeaderText()[i];
        if (!qxp::OrinCodeSetConvert(source.Encoding().c_str(), "UTF-8", raw, text)) text = raw;
        if (!named && IsEncodingLine(source.Header().lines[i].text)) {
            text = encodingLine;
            named = true;
        }
        lines.push_back(std::move(text));
    }
    if (!named) lines.insert(lines.begin(), encodingLine);
    return lines;
}

int FmtOne(const CommonOptions& common, const FmtOptions& opts, const std::string& file,
           const std::string& target) {
    std::string error;
    ScriptInput input;
    ScriptSource source;
    if (!input.Open(file, common.inputEncoding, error) || !source.Open(input, error)) {
        Error(error);
        return kExitUsage;
    }
    EnumTables tables;
    EnumSettings settings;
    settings.encoding = opts.encoding.empty() ? -1 : EncodingSetting(opts.encoding);
    KeepVersion(source, settings);
    if (!tables.Load(settings, error)) {
        Error(error);
        return kExitUsage;
    }
    const std::string encoding = NSQX_script::GetCfgEncoding();
    ScriptSink sink;
    const std::vector<std::string> header =
        opts.keepHeader ? KeptHeader(source, encoding) : std::vector<std::string>();
    if (!sink.Open(target, ChooseType(opts.type, source), error,
                   opts.keepHeader ? &header : nullptr)) {
        Error(error);
        return kExitUsage;
    }
    const std::size_t unknownBefore = CommandNames::Unknown().size();
    ScriptSink::Result result = ScriptSink::kWritten;
    source.ForEach([&](TScriptCmd& cmd) {
        const std::string bad =
            encoding == "UTF-8" ? std::string() : FirstUnfit(cmd.GetParaList(), encoding);
        if (!bad.empty()) {
            error = input.Name() + ":" + std::to_string(cmd.GetLineNo()) + ": \"" +
                    EscapeForTerminal(bad) + "\" cannot be written in " + encoding;
            result = ScriptSink::kRefused;
        } else {
            result = sink.Write(cmd, input.Name(), error);
        }
        return result == ScriptSink::kWritten;
    });
    if (result != ScriptSink::kWritten) {
        Error(error + (result == ScriptSink::kRefused ? "; nothing written" : ""));
        return result == ScriptSink::kRefused ? kExitFindings : kExitUsage;
    }
    if (!MayWrite(source, unknownBefore, common.acceptChangedValues)) return kExitFindings;
    if (!sink.Finish(error)) {
        Error(error);
        return kExitUsage;
    }
    return kExitOk;
}

int SlotsOne(const CommonOptions& common, const SlotsOptions& opts, const std::string& file,
             const std::string& target) {
    std::string error;
    qxp::XmlNode cfg;
    if (!CheckReadableFile(opts.config, error)) {
        Error(error);
        return kExitUsage;
    }
    qxp::XmlError why;
    if (!qxp::XmlParseFile(opts.config, cfg, &why)) {
        Error(NSQX_script::ScriptConfigError{opts.config, why.line, why.column, why.reason}.Text());
        return kExitUsage;
    }
    std::map<unsigned long, unsigned long> devMap;
    for (const std::string& text : opts.nes) {
        unsigned long neId = 0;
        if (!qxp::QXStr2NEID(text.c_str(), neId)) {
            Error("\"" + text + "\" is not an NE ID (use A-B, a decimal or a 0x number)");
            return kExitUsage;
        }
        devMap[neId] = 0;
    }
    // First pass, before the slot table is loaded (so nothing converts): the NEs that the
    // script's cfg-nepara commands declare take part in the conversion, and the commands as
    // they were.
    ScriptInput input;
    if (!input.Open(file, common.inputEncoding, error)) {
        Error(error);
        return kExitUsage;
    }
    std::vector<TScriptCmd> original;
    EnumSettings settings;
    {
        ScriptSource scan;
        if (!scan.Open(input, error)) {
            Error(error);
            return kExitUsage;
        }
        scan.ForEach([&](TScriptCmd& cmd) {
            NSQX_script::ScriptDataMgr::AddDevMapEntry(cmd, devMap);
            original.push_back(cmd);
            return true;
        });
        KeepVersion(scan, settings);
        settings.encoding = EncodingSetting(scan.Encoding());  // written as it was read
    }

    EnumTables tables;
    settings.slotSwitch = true;
    settings.logSwitch = !opts.log.empty();
    settings.slotVersion = opts.slotFlag == "1.0" ? 0 : 1;
    // The NE types file is read from beside the slot table.
    NSQX_script::SetScriptConfigPath(NSQX_script::ScriptConfigFile::kSlotTable, opts.config);
    if (!opts.log.empty()) {
        NSQX_script::SetScriptConfigPath(NSQX_script::ScriptConfigFile::kSlotLog, opts.log);
    }
    if (!tables.Load(settings, error)) {
        Error(error);
        return kExitUsage;
    }
    NSQX_script::QXScriptStaticDataMgr staticData(file, opts.operType);
    NSQX_script::QXConvertDataStorage* store = NSQX_script::QXConvertDataStorage::Instance();
    store->SetDevMap(devMap);

    // Second pass converts while reading. The store holds one conversion type for the
    // process, which opening the output would reset, so the whole script is read first.
    ScriptSource source;
    if (!source.Open(input, error)) {
        Error(error);
        return kExitUsage;
    }
    const std::size_t unknownBefore = CommandNames::Unknown().size();
    std::vector<TScriptCmd> cmds;
    source.ForEach([&](TScriptCmd& cmd) {
        cmds.push_back(cmd);
        return true;
    });
    if (!MayWrite(source, unknownBefore, common.acceptChangedValues)) return kExitFindings;
    const int cvtType = store->GetCvtType();

    store->Release();  // the commands are converted: writing must not convert them again
    ScriptSink sink;
    if (!sink.Open(target, ChooseType(0, source), error)) {
        Error(error);
        return kExitUsage;
    }
    for (std::size_t i = 0; i < cmds.size(); ++i) {
        TScriptCmd& cmd = cmds[i];
        if (i < original.size()) RestoreNumbers(original[i].GetParaList(), cmd.GetParaList());
        const ScriptSink::Result result = sink.Write(cmd, input.Name(), error);
        if (result != ScriptSink::kWritten) {
            Error(error + (result == ScriptSink::kRefused ? "; nothing written" : ""));
            return result == ScriptSink::kRefused ? kExitFindings : kExitUsage;
        }
    }
    if (!sink.Finish(error)) {
        Error(error);
        return kExitUsage;
    }
    Note(input.Name() + ": " + std::to_string(cmds.size()) + " commands, slot conversion type " +
         std::to_string(cvtType));
    return kExitOk;
}

// Rewrites the inputs one after the other (the writer's settings are the process's); with
// several, a line for each written file (unless the writer says one itself) and a total.
int RunWrites(const std::vector<WriteJob>& jobs, bool sayWritten,
              const std::function<int(const WriteJob&)>& write) {
    int worst = kExitOk;
    std::size_t written = 0;
    for (const WriteJob& job : jobs) {
        int status = kExitUsage;
        if (!job.error.empty()) {
            Error(job.error);
        } else {
            status = write(job);
        }
        if (status == kExitOk) ++written;
        if (status == kExitOk && sayWritten && jobs.size() > 1) {
            Note(EscapeForTerminal(job.input) + ": written to " + EscapeForTerminal(job.target));
        }
        worst = std::max(worst, status);
    }
    if (jobs.size() > 1) {
        std::string total = "total: " + std::to_string(jobs.size()) + " files, " +
                            std::to_string(written) + " written";
        if (written != jobs.size()) total += ", " + std::to_string(jobs.size() - written) + " not";
        Note(total);
    }
    return worst;
}

}  // namespace

int RunFmt(const CommonOptions& common, const FmtOptions& opts) {
    if (!opts.encoding.empty() && EncodingSetting(opts.encoding) < 0) {
        Error("unknown encoding \"" + opts.encoding + "\" (use UTF-8, GBK or ISO8859-1)");
        return kExitUsage;
    }
    if (!SetUpNames(common)) return kExitUsage;
    std::vector<WriteJob> jobs;
    if (!PlanWrites(opts.inputs, opts.targets, jobs)) return kExitUsage;
    return RunWrites(jobs, true, [&](const WriteJob& job) {
        return FmtOne(common, opts, job.input, job.target);
    });
}

int RunSlots(const CommonOptions& common, const SlotsOptions& opts) {
    if (!SetUpNames(common)) return kExitUsage;
    std::vector<WriteJob> jobs;
    if (!PlanWrites(opts.inputs, opts.targets, jobs)) return kExitUsage;
    return RunWrites(jobs, false, [&](const WriteJob& job) {
        return SlotsOne(common, opts, job.input, job.target);
    });
}

}  // namespace qxscript
