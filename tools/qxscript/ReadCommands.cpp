// The subcommands that only read scripts: check and dump.

#include <fnmatch.h>

#include <cstdio>
#include <optional>
#include <utility>

#include <nlohmann/json.hpp>

#include "Batch.h"
#include "CommandNames.h"
#include "CommandView.h"
#include "Commands.h"
#include "FileChecks.h"
#include "InputList.h"
#include "Output.h"
#include "ProgressBar.h"
#include "ScriptSource.h"

namespace qxscript {

namespace {

constexpr std::size_t kMaxEncodingReports = 20;

std::string Plural(unsigned long n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

std::string UnknownNameLine(const std::string& file, const std::string& name) {
    return EscapeForTerminal(file) + ": error: commands named \"" + EscapeForTerminal(name) +
           "\" skipped: name not registered\n";
}

std::string JsonLine(const nlohmann::ordered_json& object) {
    return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

// What one file gave, for the total.
struct FileTally {
    bool read = false;
    unsigned long commands = 0;
    unsigned long shown = 0;  // dump: commands selected
    unsigned long failed = 0;
    unsigned long invalidLines = 0;
    unsigned long warnings = 0;
};

// The scripts the arguments name, or none with the reason printed.
std::optional<std::vector<InputItem>> Inputs(const InputOptions& opts) {
    std::vector<InputItem> items = ListInputs(opts.files, {opts.recursive, opts.include});
    std::size_t stdinArgs = 0;
    for (const InputItem& item : items) stdinArgs += item.path == "-" ? 1 : 0;
    if (stdinArgs > 1) {
        Error("standard input (-) can be read only once");
        return std::nullopt;
    }
    if (items.empty()) {
        Error("no files to read (directories are searched for " + opts.include + ")");
        return std::nullopt;
    }
    return items;
}

// Workers for a run over items; the progress bar is off when they read at once.
unsigned int Workers(const InputOptions& opts, std::size_t files) {
    const unsigned int n = opts.jobs != 0 ? opts.jobs : Batch::DefaultWorkers();
    if (n > 1 && files > 1) ProgressBar::TurnOff();
    return n;
}

// Opens one input and marks it read in the tally, forgetting the unknown names of the file
// before; false with the message in the file's output and the reason in error.
bool OpenInput(const InputItem& item, const CommonOptions& common, ScriptInput& input,
               ScriptSource& source, FileTally& tally, FileOutput& out, std::string& error) {
    CommandNames::TakeUnknownHere();
    if (!item.error.empty()) {
        error = item.error;
    } else if (input.Open(item.path, common.inputEncoding, error) && source.Open(input, error)) {
        tally.read = true;
        return true;
    }
    out.Err("qxscript: " + error + "\n");
    return false;
}

std::string TotalLine(std::size_t files, const std::vector<FileTally>& tallies, bool dump) {
    FileTally sum;
    std::size_t unread = 0;
    for (const FileTally& t : tallies) {
        unread += t.read ? 0 : 1;
        sum.commands += t.commands;
        sum.shown += t.shown;
        sum.failed += t.failed;
        sum.invalidLines += t.invalidLines;
        sum.warnings += t.warnings;
    }
    std::string line = "total: " + Plural(files, "file", "files") + ", " +
                       Plural(sum.commands, "command", "commands");
    if (dump) line += ", " + std::to_string(sum.shown) + " shown";
    if (sum.failed != 0) line += ", " + std::to_string(sum.failed) + " cannot be parsed";
    if (sum.invalidLines != 0) {
        line += ", " + Plural(sum.invalidLines, "line", "lines") + " not valid";
    }
    if (sum.warnings != 0) line += ", " + Plural(sum.warnings, "warning", "warnings");
    if (unread != 0) line += ", " + Plural(unread, "file", "files") + " not read";
    return line + "\n";
}

// dump's --name and --param.
class Selection {
  public:
    explicit Selection(const DumpOptions& opts) : m_name(opts.name) {
        for (const std::string& p : opts.params) {
            const std::size_t eq = p.find('=');
            if (eq == std::string::npos) {
                m_params.emplace_back(p, std::nullopt);
            } else {
                m_params.emplace_back(p.substr(0, eq), p.substr(eq + 1));
            }
        }
    }

    bool Matches(const std::string& name, const NSQX_script::TScriptCmd& cmd) const {
        if (!m_name.empty() && fnmatch(m_name.c_str(), name.c_str(), 0) != 0) return false;
        for (const auto& [para, value] : m_params) {
            if (!HasParameter(cmd, para, value)) return false;
        }
        return true;
    }

  private:
    static bool HasParameter(const NSQX_script::TScriptCmd& cmd, const std::string& para,
                             const std::optional<std::string>& value) {
        for (const NSQX_script::MMLParaStruct& p : cmd.GetParaList()) {
            if (p.name.As_std_string() != para) continue;
            if (!value) return true;
            for (const NSQX_script::QXValue& v : p.values) {
                if (v.As_std_string() == *value) return true;
            }
        }
        return false;
    }

    std::string m_name;
    std::vector<std::pair<std::string, std::optional<std::string>>> m_params;
};

// check of one file: findings and a summary line, or one JSON object.
int CheckFile(const CommonOptions& common, bool json, const InputItem& item, FileTally& tally,
              FileOutput& out) {
    ScriptInput input;
    ScriptSource source;
    std::string error;
    if (!OpenInput(item, common, input, source, tally, out, error)) {
        const std::string name = item.path == "-" ? "<stdin>" : item.path;
        if (json) out.Out(JsonLine({{"file", name}, {"error", error}}));
        return kExitUsage;
    }
    tally.commands = source.ForEach([](NSQX_script::TScriptCmd&) { return true; });
    tally.failed = source.FailedLines().size();
    const std::vector<Finding> findings = source.Findings(kMaxEncodingReports);
    const std::vector<std::string> unknown = CommandNames::TakeUnknownHere();
    unsigned long errors = 0;
    for (const Finding& f : findings) {
        if (f.kind == Finding::kError) {
            ++errors;
            if (f.reason.rfind("text is not valid", 0) == 0) ++tally.invalidLines;
        } else {
            ++tally.warnings;
        }
    }
    const bool anything =
        tally.failed != 0 || errors != 0 || tally.warnings != 0 || !unknown.empty();
    if (json) {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        for (const Finding& f : findings) {
            list.push_back({{"line", f.line},
                            {"column", f.column},
                            {"severity", f.kind == Finding::kError ? "error" : "warning"},
                            {"reason", f.reason}});
        }
        for (const std::string& name : unknown) {
            list.push_back(
                {{"line", 0},
                 {"column", 0},
                 {"severity", "error"},
                 {"reason", "commands named \"" + name + "\" skipped: name not registered"}});
        }
        out.Out(JsonLine({{"file", input.Name()},
                          {"encoding", source.Encoding()},
                          {"commands", tally.commands},
                          {"failed", tally.failed},
                          {"findings", std::move(list)}}));
        return anything ? kExitFindings : kExitOk;
    }
    std::string text;
    for (const Finding& f : findings) text += FormatFinding(input.Name(), f);
    for (const std::string& name : unknown) text += UnknownNameLine(input.Name(), name);
    if (!common.quiet) {
        text += EscapeForTerminal(input.Name()) + ": " +
                Plural(tally.commands, "command", "commands") + " (" + source.Encoding() + ")";
        text += tally.failed == 0
                    ? ", all parsed"
                    : ", " + Plural(tally.failed, "command", "commands") + " cannot be parsed";
        if (tally.invalidLines != 0) {
            text += ", " + Plural(tally.invalidLines, "line", "lines") + " not valid " +
                    source.Encoding();
        }
        if (tally.warnings != 0) {
            text += ", " + Plural(tally.warnings, "warning", "warnings");
        }
        text += "\n";
    }
    out.Out(text);
    return anything ? kExitFindings : kExitOk;
}

// dump of one file: the selected commands, then findings and a summary line.
int DumpFile(const CommonOptions& common, const DumpOptions& opts, const Selection& selection,
             bool several, const InputItem& item, FileTally& tally, FileOutput& out) {
    ScriptInput input;
    ScriptSource source;
    std::string error;
    if (!OpenInput(item, common, input, source, tally, out, error)) return kExitUsage;
    const bool json = opts.format == "json";
    std::string text;
    tally.commands = source.ForEach([&](NSQX_script::TScriptCmd& cmd) {
        const std::string name = CommandName(cmd.GetCmdCode());
        if (!selection.Matches(name, cmd)) return true;
        ++tally.shown;
        text.clear();
        if (json) {
            AppendJson(input.Name(), name, cmd, text);
            text += '\n';
        } else {
            AppendText(input.Name(), name, cmd, text);
        }
        out.Out(text);
        return true;
    });
    tally.failed = source.FailedLines().size();
    std::string report;
    for (const std::string& name : CommandNames::TakeUnknownHere()) {
        report += UnknownNameLine(input.Name(), name);
    }
    const bool unknown = !report.empty();
    const FindingCounts counts = ReportFindings(source, report);
    tally.invalidLines = counts.invalidLines;
    tally.warnings = counts.Warnings();
    if (several && !common.quiet) {
        report += EscapeForTerminal(input.Name()) + ": " +
                  Plural(tally.commands, "command", "commands") + ", " +
                  std::to_string(tally.shown) + " shown\n";
    }
    out.Err(report);
    return tally.failed != 0 || unknown || counts.errors != 0 || counts.Warnings() != 0
               ? kExitFindings
               : kExitOk;
}

}  // namespace

FindingCounts ReportFindings(const ScriptSource& source, std::string& text) {
    FindingCounts counts;
    for (const Finding& f : source.Findings(kMaxEncodingReports)) {
        text += FormatFinding(source.Name(), f);
        switch (f.kind) {
            case Finding::kError:
                ++counts.errors;
                if (f.reason.rfind("text is not valid", 0) == 0) ++counts.invalidLines;
                break;
            case Finding::kValueWarning:
                ++counts.valueWarnings;
                break;
            case Finding::kHeaderWarning:
                ++counts.headerWarnings;
                break;
        }
    }
    return counts;
}

FindingCounts ReportFindings(const ScriptSource& source, FILE* out) {
    std::string text;
    const FindingCounts counts = ReportFindings(source, text);
    Output::Write(out, text);
    return counts;
}

bool SetUpNames(const CommonOptions& common) {
    std::string error;
    for (const std::string& path : common.enumFiles) {
        if (!CommandNames::LoadEnumFile(path, error)) {
            Error(error);
            return false;
        }
    }
    for (const std::string& path : common.namesFiles) {
        if (!CommandNames::LoadNamesFile(path, error)) {
            Error(error);
            return false;
        }
    }
    CommandNames::SetAutoRegister(!common.noAutoNames);
    return true;
}

int RunCheck(const CommonOptions& common, const CheckOptions& opts) {
    if (!SetUpNames(common)) return kExitUsage;
    const auto items = Inputs(opts.inputs);
    if (!items) return kExitUsage;
    const bool json = opts.format == "json";
    std::vector<FileTally> tallies(items->size());
    const auto job = [&](std::size_t index, FileOutput& out) {
        return CheckFile(common, json, (*items)[index], tallies[index], out);
    };
    const int status = Batch::Run(items->size(), Workers(opts.inputs, items->size()), job);
    if (!json && !common.quiet && items->size() > 1) {
        Output::Write(Output::Stream(), TotalLine(items->size(), tallies, false));
    }
    if (!Output::FlushOrSay()) return kExitUsage;
    return status;
}

int RunDump(const CommonOptions& common, const DumpOptions& opts) {
    if (!SetUpNames(common)) return kExitUsage;
    const auto items = Inputs(opts.inputs);
    if (!items) return kExitUsage;
    const Selection selection(opts);
    const bool several = items->size() > 1;
    ProgressBar::AvoidTerminal(Output::Stream());
    std::vector<FileTally> tallies(items->size());
    const auto job = [&](std::size_t index, FileOutput& out) {
        return DumpFile(common, opts, selection, several, (*items)[index], tallies[index], out);
    };
    const int status = Batch::Run(items->size(), Workers(opts.inputs, items->size()), job);
    if (!Output::FlushOrSay()) return kExitUsage;
    if (several && !common.quiet) Output::Write(stderr, TotalLine(items->size(), tallies, true));
    return status;
}

}  // namespace qxscript
