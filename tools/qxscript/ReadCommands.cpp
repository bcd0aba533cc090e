// The subcommands that only read scripts: check and dump.

#include <cstdio>

#include "CommandNames.h"
#include "CommandView.h"
#include "Commands.h"
#include "FileChecks.h"
#include "Output.h"
#include "ProgressBar.h"
#include "ScriptSource.h"

namespace qxscript {

namespace {

constexpr std::size_t kMaxEncodingReports = 20;

std::string Plural(unsigned long n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

// Reports the names met and not registered since the last call; true when there were some.
bool ReportUnknown(const std::string& name, std::size_t& seen, FILE* out) {
    const std::vector<std::string>& unknown = CommandNames::Unknown();
    const bool any = seen < unknown.size();
    for (; seen < unknown.size(); ++seen) {
        Output::Write(out, name + ": error: commands named \"" + unknown[seen] +
                               "\" skipped: name not registered\n");
    }
    return any;
}

}  // namespace

FindingCounts ReportFindings(const ScriptSource& source, FILE* out) {
    FindingCounts counts;
    for (const Finding& f : source.Findings(kMaxEncodingReports)) {
        Output::Write(out, FormatFinding(source.Name(), f));
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
    FILE* out = Output::Stream();
    bool unreadable = false;
    bool findings = false;
    std::size_t unknownSeen = 0;
    for (const std::string& path : opts.files) {
        ScriptInput input;
        ScriptSource source;
        std::string error;
        if (!input.Open(path, common.inputEncoding, error) || !source.Open(input, error)) {
            Error(error);
            unreadable = true;
            continue;
        }
        const unsigned long count = source.ForEach([](NSQX_script::TScriptCmd&) { return true; });
        const unsigned long failed = source.FailedLines().size();
        const FindingCounts counts = ReportFindings(source, out);
        const bool unknown = ReportUnknown(input.Name(), unknownSeen, out);
        findings =
            findings || failed != 0 || counts.errors != 0 || counts.Warnings() != 0 || unknown;
        if (!common.quiet) {
            std::string summary = input.Name() + ": " + Plural(count, "command", "commands") +
                                  " (" + source.Encoding() + ")";
            summary += failed == 0
                           ? ", all parsed"
                           : ", " + Plural(failed, "command", "commands") + " cannot be parsed";
            if (counts.invalidLines != 0) {
                summary += ", " + Plural(counts.invalidLines, "line", "lines") + " not valid " +
                           source.Encoding();
            }
            if (counts.Warnings() != 0) {
                summary += ", " + Plural(counts.Warnings(), "warning", "warnings");
            }
            Output::Write(out, summary + "\n");
        }
    }
    if (!Output::FlushOrSay()) return kExitUsage;
    if (unreadable) return kExitUsage;
    return findings ? kExitFindings : kExitOk;
}

int RunDump(const CommonOptions& common, const DumpOptions& opts) {
    if (!SetUpNames(common)) return kExitUsage;
    ScriptInput input;
    ScriptSource source;
    std::string error;
    if (!input.Open(opts.file, common.inputEncoding, error) || !source.Open(input, error)) {
        Error(error);
        return kExitUsage;
    }
    const bool json = opts.format == "json";
    FILE* out = Output::Stream();
    ProgressBar::AvoidTerminal(out);
    std::string text;
    bool written = true;
    source.ForEach([&](NSQX_script::TScriptCmd& cmd) {
        const std::string name = CommandName(cmd.GetCmdCode());
        text.clear();
        if (json) {
            AppendJson(input.Name(), name, cmd, text);
            text += '\n';
        } else {
            AppendText(input.Name(), name, cmd, text);
        }
        written = Output::Write(out, text);
        return written;
    });
    if (!written) {
        Error("cannot write to standard output: " + SystemError(Output::LastError()));
        return kExitUsage;
    }
    if (!Output::FlushOrSay()) return kExitUsage;
    std::size_t unknownSeen = 0;
    const bool unknown = ReportUnknown(input.Name(), unknownSeen, stderr);
    const bool failed = !source.FailedLines().empty();
    const FindingCounts counts = ReportFindings(source, stderr);
    return failed || unknown || counts.errors != 0 || counts.Warnings() != 0 ? kExitFindings
                                                                             : kExitOk;
}

}  // namespace qxscript
