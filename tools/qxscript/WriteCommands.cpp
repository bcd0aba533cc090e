// The subcommands that write scripts: fmt and slots.

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>

#include "Batch.h"
#include "CommandNames.h"
#include "Commands.h"
#include "EnumTables.h"
#include "FileChecks.h"
#include "Findings.h"
#include "InputList.h"
#include "Output.h"
#include "ProgressBar.h"
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

// One file's messages, printed in its turn: the tool's Error() and Note().
class Say {
  public:
    explicit Say(FileOutput& out) : m_out(out) {}
    void Error(const std::string& text) { m_out.Err("qxscript: " + text + "\n"); }
    void Note(const std::string& text) {
        if (!Quiet()) m_out.Err(text + "\n");
    }
    void Raw(const std::string& text) { m_out.Err(text); }

  private:
    FileOutput& m_out;
};

// The first text of the parameters that the encoding cannot hold (the library's writer would
// fall back to another encoding than the header names); empty when all fit.
std::string FirstUnfit(const std::vector<MMLParaStruct>& paras, const std::string& encoding) {
    std::string converted;
    auto fits = [&](const QXValue& v) {
        if (v.GetType() != QXValue::kString) return true;
        const std::string_view s = v.StringRef();
        return std::all_of(s.begin(), s.end(),
                           [](char c) { return static_cast<unsigned char>(c) < 0x80; }) ||
               qxp::OrinCodeSetConvert("UTF-8", encoding.c_str(), std::string(s), converted);
    };
    for (const MMLParaStruct& p : paras) {
        if (!fits(p.name)) return p.name.As_std_string();
        for (const QXValue& v : p.values) {
            if (!fits(v)) return v.As_std_string();
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
// unknown: the names this thread met unregistered while reading the script.
bool MayWrite(const ScriptSource& source, const std::vector<std::string>& unknown,
              bool acceptChanged, Say& say) {
    std::string report;
    const FindingCounts counts = ReportFindings(source, report);
    for (const std::string& name : unknown) {
        report += source.Name() + ": error: commands named \"" + name + "\" not registered\n";
    }
    say.Raw(report);
    const bool lost = counts.errors != 0 || !source.FailedLines().empty() || !unknown.empty();
    if (lost) {
        say.Error(source.Name() + ": nothing written, the output would lose commands");
    } else if (counts.headerWarnings != 0) {
        say.Error(source.Name() +
                  ": nothing written, the input's encoding is a guess (give --input-encoding)");
    } else if (counts.valueWarnings != 0 && !acceptChanged) {
        say.Error(source.Name() +
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
void KeepVersion(const ScriptSource& source, HeaderFields& fields) {
    fields.emsVersion = source.HeaderEmsVersion();
    fields.version = source.Version();
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
    std::size_t index = 0;
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
        WriteJob job{item.path, "-", item.error, jobs.size()};
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

int FmtOne(const CommonOptions& common, const FmtOptions& opts, const std::string& encoding,
           const WriteJob& job, Say& say) {
    std::string error;
    ScriptInput input;
    ScriptSource source;
    CommandNames::TakeUnknownHere();
    if (!input.Open(job.input, common.inputEncoding, error) || !source.Open(input, error)) {
        say.Error(error);
        return kExitUsage;
    }
    HeaderFields fields;
    fields.encoding = encoding;
    KeepVersion(source, fields);
    ScriptSink sink;
    const std::vector<std::string> header =
        opts.keepHeader ? KeptHeader(source, encoding) : std::vector<std::string>();
    if (!sink.Open(job.target, ChooseType(opts.type, source), error,
                   opts.keepHeader ? &header : nullptr, fields)) {
        say.Error(error);
        return kExitUsage;
    }
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
        say.Error(error + (result == ScriptSink::kRefused ? "; nothing written" : ""));
        return result == ScriptSink::kRefused ? kExitFindings : kExitUsage;
    }
    if (!MayWrite(source, CommandNames::TakeUnknownHere(), common.acceptChangedValues, say)) {
        return kExitFindings;
    }
    if (!sink.Finish(error)) {
        say.Error(error);
        return kExitUsage;
    }
    return kExitOk;
}

// The slot conversion store is the process's: the table, the NEs that take part, the
// conversion type and the log. A file converts with the store to itself; reading without
// conversion and writing, which must find the store empty so that nothing converts, share it.
// Files convert in the order of the inputs, and a file starts reading only once the files
// before it have converted: a reader may wait in NameLock for the files before it to finish,
// and these must then never wait for the store. Process-wide; any thread.
class SlotStoreTurns {
  public:
    explicit SlotStoreTurns(std::size_t files) : m_done(files, false) {}

    // Reading or writing of file index, which finds the store empty.
    void BeginShared(std::size_t index, bool reading) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [&] { return !m_converting && (!reading || m_next >= index); });
        ++m_sharing;
    }
    void EndShared() {
        std::lock_guard<std::mutex> lock(m_mutex);
        --m_sharing;
        m_changed.notify_all();
    }
    // File index's turn to convert, once no one reads or writes.
    void BeginConvert(std::size_t index) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [&] { return m_next == index && m_sharing == 0; });
        m_converting = true;
    }
    // File index has converted or will not: the store is emptied, so that writing does not
    // convert again, and the next file may read. Called once for each file.
    void Converted(std::size_t index) {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (index == m_next && m_converting) {  // only the next file converts
            NSQX_script::QXConvertDataStorage::Instance()->Release();
            m_converting = false;
        }
        m_done[index] = true;
        while (m_next < m_done.size() && m_done[m_next]) ++m_next;
        m_changed.notify_all();
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<bool> m_done;
    std::size_t m_next = 0;  // the first file that has not converted
    std::size_t m_sharing = 0;
    bool m_converting = false;
};

// Holds a share of the store for one scope.
class SharedStore {
  public:
    SharedStore(SlotStoreTurns& turns, std::size_t index, bool reading) : m_turns(turns) {
        m_turns.BeginShared(index, reading);
    }
    ~SharedStore() { m_turns.EndShared(); }
    SharedStore(const SharedStore&) = delete;
    SharedStore& operator=(const SharedStore&) = delete;

  private:
    SlotStoreTurns& m_turns;
};

// Gives up a file's turn to convert if it has not converted when the scope ends.
class ConvertTurn {
  public:
    ConvertTurn(SlotStoreTurns& turns, std::size_t index) : m_turns(turns), m_index(index) {}
    ~ConvertTurn() { Done(); }
    ConvertTurn(const ConvertTurn&) = delete;
    ConvertTurn& operator=(const ConvertTurn&) = delete;
    void Done() {
        if (!m_done) m_turns.Converted(m_index);
        m_done = true;
    }

  private:
    SlotStoreTurns& m_turns;
    std::size_t m_index;
    bool m_done = false;
};

// What every file of a slots run shares: the NEs given with --ne, the table's records (the
// store loads its table once in the process and is emptied after each file; each file's turn
// puts them back) and the turns.
struct SlotsRun {
    std::map<unsigned long, unsigned long> devMap;
    std::list<NSQX_script::QXScriptCfgCmdInfo> records;
    std::unique_ptr<SlotStoreTurns> turns;
};

// Nothing is printed while the store is held: printing may wait for the turn of a file whose
// worker waits for the store.
int SlotsOne(const CommonOptions& common, const SlotsOptions& opts, const SlotsRun& run,
             const WriteJob& job, Say& say) {
    std::string error;
    SlotStoreTurns& turns = *run.turns;
    ConvertTurn turn(turns, job.index);
    std::map<unsigned long, unsigned long> devMap = run.devMap;
    // First pass, with the store empty (so nothing converts): the NEs that the script's
    // cfg-nepara commands declare take part in the conversion, and the commands as they were.
    ScriptInput input;
    if (!input.Open(job.input, common.inputEncoding, error)) {
        say.Error(error);
        return kExitUsage;
    }
    std::vector<TScriptCmd> original;
    HeaderFields fields;
    unsigned int scriptType = 0;
    {
        SharedStore empty(turns, job.index, true);
        ScriptSource scan;
        if (scan.Open(input, error)) {
            scan.ForEach([&](TScriptCmd& cmd) {
                NSQX_script::ScriptDataMgr::AddDevMapEntry(cmd, devMap);
                original.push_back(cmd);
                return true;
            });
            KeepVersion(scan, fields);
            fields.encoding = scan.Encoding();  // written as it was read
            scriptType = ChooseType(0, scan);
        }
    }
    if (scriptType == 0) {
        say.Error(error);
        return kExitUsage;
    }

    // Second pass converts while reading. The store holds one conversion type for the
    // process, which opening the output would reset, so the whole script is read first.
    ScriptSource source;
    bool opened = false;
    std::vector<TScriptCmd> cmds;
    std::vector<std::string> unknown;
    int cvtType = 0;
    {
        turns.BeginConvert(job.index);
        NSQX_script::QXScriptStaticDataMgr staticData(job.input, opts.operType);
        NSQX_script::QXConvertDataStorage* store = NSQX_script::QXConvertDataStorage::Instance();
        store->SetDevMap(devMap);
        store->Release();
        for (NSQX_script::QXScriptCfgCmdInfo record : run.records) store->AddSlotCmdInfo(record);
        opened = source.Open(input, error);
        if (opened) {
            CommandNames::TakeUnknownHere();
            source.ForEach([&](TScriptCmd& cmd) {
                cmds.push_back(cmd);
                return true;
            });
            unknown = CommandNames::TakeUnknownHere();
            cvtType = store->GetCvtType();
        }
        turn.Done();
    }
    if (!opened) {
        say.Error(error);
        return kExitUsage;
    }
    if (!MayWrite(source, unknown, common.acceptChangedValues, say)) return kExitFindings;

    ScriptSink::Result result = ScriptSink::kWritten;
    {
        SharedStore empty(turns, job.index, false);
        ScriptSink sink;
        if (!sink.Open(job.target, scriptType, error, nullptr, fields)) {
            result = ScriptSink::kFailed;
        }
        for (std::size_t i = 0; i < cmds.size() && result == ScriptSink::kWritten; ++i) {
            TScriptCmd& cmd = cmds[i];
            if (i < original.size()) RestoreNumbers(original[i].GetParaList(), cmd.GetParaList());
            result = sink.Write(cmd, input.Name(), error);
        }
        if (result == ScriptSink::kWritten && !sink.Finish(error)) result = ScriptSink::kFailed;
    }
    if (result != ScriptSink::kWritten) {
        say.Error(error + (result == ScriptSink::kRefused ? "; nothing written" : ""));
        return result == ScriptSink::kRefused ? kExitFindings : kExitUsage;
    }
    say.Note(input.Name() + ": " + std::to_string(cmds.size()) +
             " commands, slot conversion type " + std::to_string(cvtType));
    return kExitOk;
}

// Workers for a run over files; the progress bar is off when they work at once.
unsigned int Workers(const InputOptions& opts, std::size_t files) {
    const unsigned int n = opts.jobs != 0 ? opts.jobs : Batch::DefaultWorkers();
    if (n > 1 && files > 1) ProgressBar::TurnOff();
    return n;
}

// Rewrites the inputs on workers; what each prints comes whole and in the order of the
// inputs. With several, a line for each written file (unless the writer says one itself) and
// a total.
int RunWrites(const std::vector<WriteJob>& jobs, const InputOptions& inputs, bool sayWritten,
              const std::function<int(const WriteJob&, Say&)>& write) {
    std::vector<char> written(jobs.size(), 0);
    const int worst = Batch::Run(jobs.size(), Workers(inputs, jobs.size()),
                                 [&](std::size_t index, FileOutput& out) {
                                     const WriteJob& job = jobs[index];
                                     Say say(out);
                                     if (!job.error.empty()) {
                                         say.Error(job.error);
                                         return static_cast<int>(kExitUsage);
                                     }
                                     const int status = write(job, say);
                                     written[index] = status == kExitOk;
                                     if (status == kExitOk && sayWritten && jobs.size() > 1) {
                                         say.Note(EscapeForTerminal(job.input) + ": written to " +
                                                  EscapeForTerminal(job.target));
                                     }
                                     return status;
                                 });
    if (jobs.size() > 1) {
        const std::size_t n =
            static_cast<std::size_t>(std::count(written.begin(), written.end(), 1));
        std::string total =
            "total: " + std::to_string(jobs.size()) + " files, " + std::to_string(n) + " written";
        if (n != jobs.size()) total += ", " + std::to_string(jobs.size() - n) + " not";
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
    // Loaded once for all files: what differs from file to file goes into each header through
    // the file's own fields.
    EnumTables tables;
    EnumSettings settings;
    settings.encoding = opts.encoding.empty() ? -1 : EncodingSetting(opts.encoding);
    std::string error;
    if (!tables.Load(settings, error)) {
        Error(error);
        return kExitUsage;
    }
    const std::string encoding = NSQX_script::GetCfgEncoding();
    return RunWrites(jobs, opts.inputs, true, [&](const WriteJob& job, Say& say) {
        return FmtOne(common, opts, encoding, job, say);
    });
}

int RunSlots(const CommonOptions& common, const SlotsOptions& opts) {
    if (!SetUpNames(common)) return kExitUsage;
    std::vector<WriteJob> jobs;
    if (!PlanWrites(opts.inputs, opts.targets, jobs)) return kExitUsage;
    std::string error;
    if (!CheckReadableFile(opts.config, error)) {
        Error(error);
        return kExitUsage;
    }
    qxp::XmlNode cfg;
    qxp::XmlError why;
    if (!qxp::XmlParseFile(opts.config, cfg, &why)) {
        Error(NSQX_script::ScriptConfigError{opts.config, why.line, why.column, why.reason}.Text());
        return kExitUsage;
    }
    SlotsRun run;
    run.turns = std::make_unique<SlotStoreTurns>(jobs.size());
    for (const WriteJob& job : jobs) {
        if (!job.error.empty()) run.turns->Converted(job.index);  // never read
    }
    for (const std::string& text : opts.nes) {
        unsigned long neId = 0;
        if (!qxp::QXStr2NEID(text.c_str(), neId)) {
            Error("\"" + text + "\" is not an NE ID (use A-B, a decimal or a 0x number)");
            return kExitUsage;
        }
        run.devMap[neId] = 0;
    }
    // The switches and the header's slot flag are the same for every file; the encoding and
    // the version each header names are the file's own.
    EnumTables tables;
    EnumSettings settings;
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
    NSQX_script::QXConvertDataStorage* store = NSQX_script::QXConvertDataStorage::Instance();
    store->Init();
    store->GetSlotCmdInfo(run.records);
    store->Release();
    return RunWrites(jobs, opts.inputs, false, [&](const WriteJob& job, Say& say) {
        return SlotsOne(common, opts, run, job, say);
    });
}

}  // namespace qxscript
