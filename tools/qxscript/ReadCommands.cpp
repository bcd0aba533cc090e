// The subcommands that only read scripts: check and dump.

#include <cstdio>

#include "CommandNames.h"
#include "CommandView.h"
#include "Commands.h"
#include "Output.h"
#include "ScriptSource.h"

namespace qxscript {

namespace {

constexpr std::size_t kMaxEncodingReports = 20;

std::string Plural(unsigned long n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

// Prints "FILE:LINE: error: cannot parse command" with the line's text for each failure;
// returns their number.
unsigned long ReportFailures(const ScriptSource& source, FILE* out) {
    const std::vector<unsigned long> lines = source.FailedLines();
    const auto excerpts = Excerpts(source.Path(), source.Encoding(), lines);
    for (unsigned long line : lines) {
        std::fprintf(out, "%s:%lu: error: cannot parse command\n", source.Path().c_str(), line);
        const auto it = excerpts.find(line);
        if (it != excerpts.end() && !it->second.empty()) {
            std::fprintf(out, "    %s\n", it->second.c_str());
        }
    }
    return lines.size();
}

// Reports the names met and not registered since the last call; true when there were some.
bool ReportUnknown(const std::string& path, std::size_t& seen, FILE* out) {
    const std::vector<std::string>& unknown = CommandNames::Unknown();
    const bool any = seen < unknown.size();
    for (; seen < unknown.size(); ++seen) {
        std::fprintf(out, "%s: error: commands named \"%s\" skipped: name not registered\n",
                     path.c_str(), unknown[seen].c_str());
    }
    return any;
}

}  // namespace

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
        ScriptSource source;
        std::string error;
        if (!source.Open(path, error)) {
            Error(error);
            unreadable = true;
            continue;
        }
        const unsigned long count = source.ForEach([](NSQX_script::TScriptCmd&) { return true; });
        const unsigned long failed = ReportFailures(source, out);
        const auto badLines = InvalidLines(path, source.Encoding(), kMaxEncodingReports);
        for (unsigned long line : badLines) {
            std::fprintf(out, "%s:%lu: error: text is not valid %s\n", path.c_str(), line,
                         source.Encoding().c_str());
        }
        const bool unknown = ReportUnknown(path, unknownSeen, out);
        findings = findings || failed != 0 || !badLines.empty() || unknown;
        if (!common.quiet) {
            std::string summary =
                path + ": " + Plural(count, "command", "commands") + " (" + source.Encoding() + ")";
            summary += failed == 0
                           ? ", all parsed"
                           : ", " + Plural(failed, "command", "commands") + " cannot be parsed";
            if (!badLines.empty()) {
                summary += ", " + Plural(badLines.size(), "line", "lines") + " not valid " +
                           source.Encoding();
            }
            std::fprintf(out, "%s\n", summary.c_str());
        }
    }
    if (!Output::Flush()) return kExitUsage;
    if (unreadable) return kExitUsage;
    return findings ? kExitFindings : kExitOk;
}

int RunDump(const CommonOptions& common, const DumpOptions& opts) {
    if (!SetUpNames(common)) return kExitUsage;
    ScriptSource source;
    std::string error;
    if (!source.Open(opts.file, error)) {
        Error(error);
        return kExitUsage;
    }
    const bool json = opts.format == "json";
    FILE* out = Output::Stream();
    std::string text;
    source.ForEach([&](NSQX_script::TScriptCmd& cmd) {
        const std::string name = CommandName(cmd.GetCmdCode());
        if (json) {
            text = CommandToJson(opts.file, name, cmd)
                       .dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
            text += '\n';
        } else {
            text = CommandToText(opts.file, name, cmd);
        }
        return std::fwrite(text.data(), 1, text.size(), out) == text.size();
    });
    if (!Output::Flush()) {
        Error("cannot write to standard output");
        return kExitUsage;
    }
    std::size_t unknownSeen = 0;
    const bool unknown = ReportUnknown(opts.file, unknownSeen, stderr);
    return ReportFailures(source, stderr) == 0 && !unknown ? kExitOk : kExitFindings;
}

}  // namespace qxscript
