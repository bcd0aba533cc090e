// The diff subcommand: what an import would see differently in two scripts.

#include <algorithm>
#include <cstdio>

#include "CommandNames.h"
#include "CommandView.h"
#include "Commands.h"
#include "EnumTables.h"
#include "FileChecks.h"
#include "Findings.h"
#include "Output.h"
#include "ScriptDiff.h"
#include "ScriptSink.h"
#include "ScriptSource.h"
#include "qx_scriptutil/Escaping.h"

namespace qxscript {

using NSQX_script::MMLParaStruct;

namespace {

// One script read whole, as the comparison needs it.
struct ReadScript {
    std::string name;
    std::string encoding;
    unsigned int type = 0;
    unsigned long version = 0;
    std::string emsVersion;
    std::vector<DiffEntry> cmds;
};

// Reads every command; false (with everything found printed) when a command cannot be read,
// since a comparison without it would be wrong.
bool Read(const CommonOptions& common, const DiffSettings& settings, const std::string& path,
          ReadScript& script) {
    ScriptInput input;
    ScriptSource source;
    std::string error;
    if (!input.Open(path, common.inputEncoding, error) || !source.Open(input, error)) {
        Error(error);
        return false;
    }
    script.name = input.Name();
    const std::size_t unknownBefore = CommandNames::Unknown().size();
    bool tooDeep = false;
    source.ForEach([&](NSQX_script::TScriptCmd& cmd) {
        if (NestingDepth(cmd.GetParaList()) > kMaxDiffDepth) {
            Output::Write(stderr, EscapeForTerminal(script.name) + ":" +
                                      std::to_string(cmd.GetLineNo()) +
                                      ": error: groups nested deeper than " +
                                      std::to_string(kMaxDiffDepth) + " cannot be compared\n");
            tooDeep = true;
            return false;
        }
        script.cmds.push_back(
            MakeDiffEntry(cmd.GetCmdCode(), cmd.GetLineNo(), cmd.GetParaList(), settings));
        return true;
    });
    const FindingCounts counts = ReportFindings(source, stderr);
    const auto& unknown = CommandNames::Unknown();
    for (std::size_t i = unknownBefore; i < unknown.size(); ++i) {
        Output::Write(stderr, EscapeForTerminal(script.name) + ": error: commands named \"" +
                                  unknown[i] + "\" not registered\n");
    }
    if (tooDeep || counts.errors != 0 || !source.FailedLines().empty() ||
        unknown.size() > unknownBefore) {
        Error(script.name + ": not compared, commands could not be read");
        return false;
    }
    script.encoding = source.Encoding();
    script.type = source.HeaderScriptType();
    script.version = source.Version();
    script.emsVersion = source.HeaderEmsVersion();
    return true;
}

std::string Where(const ReadScript& s, const DiffEntry& cmd) {
    return EscapeForTerminal(s.name) + ":" + std::to_string(cmd.line);
}

// The values of a parameter as a script has them ("1&&3&x", "{a=1}&{a=2}").
std::string ValuesText(const MMLParaStruct& p) {
    std::vector<MMLParaStruct> one{p};
    one[0].name = NSQX_script::QXValue("x", false);
    PrepareForWriting(one);
    std::string out;
    AppendScriptParameters(one, out);
    return out.substr(2);
}

std::string ChangeText(const ParaChange& c) {
    if (!c.hasOld) return "+ " + c.path + "=" + ValuesText(c.newPara);
    if (!c.hasNew) return "- " + c.path + "=" + ValuesText(c.oldPara);
    // Script syntax tells every type apart (1&&1, 1, "1", 1.), so the texts always differ.
    return c.path + ": " + ValuesText(c.oldPara) + " -> " + ValuesText(c.newPara);
}

std::string JsonPara(const MMLParaStruct& p) {
    std::string out;
    AppendJsonParameters(std::vector<MMLParaStruct>{p}, out);
    return out.substr(1, out.size() - 2);
}

std::string JsonPlace(const ReadScript& s, const DiffEntry& cmd) {
    return "{\"file\":" + JsonText(s.name) + ",\"line\":" + std::to_string(cmd.line) + "}";
}

// "- FILE:LINE :name:{...};" for a command found on one side only.
void AppendWholeCommand(char sign, const ReadScript& s, const DiffEntry& cmd, std::string& out) {
    out += std::string(1, sign) + " " + Where(s, cmd) + " " +
           EscapeForTerminal(ScriptText(CommandName(cmd.code), UnpackParameters(cmd.packed))) +
           "\n";
}

void AppendTextLines(const CommandChange& c, const ReadScript& a, const ReadScript& b,
                     const DiffSettings& settings, std::string& out) {
    switch (c.kind) {
        case CommandChange::kRemoved:
            AppendWholeCommand('-', a, a.cmds[c.a], out);
            return;
        case CommandChange::kAdded:
            AppendWholeCommand('+', b, b.cmds[c.b], out);
            return;
        case CommandChange::kChanged: {
            const std::string head = "~ " + Where(a, a.cmds[c.a]) + " " + Where(b, b.cmds[c.b]) +
                                     " " + CommandName(a.cmds[c.a].code) + " " +
                                     EscapeForTerminal(IdentityText(a.cmds[c.a], settings)) + ": ";
            for (const ParaChange& p : c.changes)
                out += head + EscapeForTerminal(ChangeText(p)) + "\n";
            return;
        }
    }
}

void AppendJsonLines(const CommandChange& c, const ReadScript& a, const ReadScript& b,
                     const DiffSettings& settings, std::string& out) {
    auto whole = [&](const char* kind, const char* side, const ReadScript& s,
                     const DiffEntry& cmd) {
        out += std::string("{\"change\":\"") + kind + "\",\"" + side + "\":" + JsonPlace(s, cmd) +
               ",\"name\":" + JsonText(CommandName(cmd.code)) + ",\"parameters\":";
        AppendJsonParameters(UnpackParameters(cmd.packed), out);
        out += "}\n";
    };
    switch (c.kind) {
        case CommandChange::kRemoved:
            whole("removed", "a", a, a.cmds[c.a]);
            return;
        case CommandChange::kAdded:
            whole("added", "b", b, b.cmds[c.b]);
            return;
        case CommandChange::kChanged: {
            const DiffEntry& ca = a.cmds[c.a];
            const std::string head = "{\"change\":\"changed\",\"a\":" + JsonPlace(a, ca) +
                                     ",\"b\":" + JsonPlace(b, b.cmds[c.b]) +
                                     ",\"name\":" + JsonText(CommandName(ca.code)) +
                                     ",\"key\":" + JsonText(IdentityText(ca, settings)) +
                                     ",\"path\":";
            for (const ParaChange& p : c.changes) {
                out += head + JsonText(p.path) +
                       ",\"old\":" + (p.hasOld ? JsonPara(p.oldPara) : std::string("null")) +
                       ",\"new\":" + (p.hasNew ? JsonPara(p.newPara) : std::string("null")) + "}\n";
            }
            return;
        }
    }
}

// The commands of b that are new or changed, through the library's writer, as b's header has
// it (type, encoding, versions).
int WriteScript(const std::string& target, const ReadScript& b,
                const std::vector<CommandChange>& changes) {
    std::vector<std::size_t> wanted;
    for (const CommandChange& c : changes) {
        if (c.kind != CommandChange::kRemoved) wanted.push_back(c.b);
    }
    std::sort(wanted.begin(), wanted.end());
    EnumTables tables;
    std::string error;
    if (!tables.Load(EnumSettings(), error)) {
        Error(error);
        return kExitUsage;
    }
    // The header is b's: its encoding, script version and EMS version.
    HeaderFields fields;
    fields.encoding = b.encoding;
    fields.version = b.version;
    fields.emsVersion = b.emsVersion;
    ScriptSink sink;
    if (!sink.Open(target, b.type != 0 ? b.type : NSQX_script::kNeConfigScript, error, nullptr,
                   fields)) {
        Error(error);
        return kExitUsage;
    }
    for (const std::size_t j : wanted) {
        const DiffEntry& e = b.cmds[j];
        NSQX_script::TScriptCmd cmd(e.code);
        cmd.GetParaList() = UnpackParameters(e.packed);
        cmd.SetLineNo(e.line);
        if (sink.Write(cmd, b.name, error) != ScriptSink::kWritten) {
            Error(error);
            return kExitUsage;
        }
    }
    if (!sink.Finish(error)) {
        Error(error);
        return kExitUsage;
    }
    return kExitOk;
}

}  // namespace

int RunDiff(const CommonOptions& common, const DiffOptions& opts) {
    if (!SetUpNames(common)) return kExitUsage;
    DiffKeys keys;
    DiffSettings settings;
    settings.unorderedValues = opts.unorderedValues;
    if (!opts.keys.empty()) {
        std::string error;
        if (!keys.Load(opts.keys, error)) {
            Error(error);
            return kExitUsage;
        }
        settings.keys = &keys;
    }
    ReadScript a;
    ReadScript b;
    if (!Read(common, settings, opts.first, a) || !Read(common, settings, opts.second, b)) {
        return kExitUsage;
    }

    const std::vector<CommandChange> changes = CompareScripts(a.cmds, b.cmds, settings);
    FILE* out = Output::Stream();
    const bool json = opts.format == "json";
    std::string text;
    for (const CommandChange& c : changes) {
        text.clear();
        if (json) {
            AppendJsonLines(c, a, b, settings, text);
        } else {
            AppendTextLines(c, a, b, settings, text);
        }
        if (!Output::Write(out, text)) break;
    }
    if (!Output::FlushOrSay()) return kExitUsage;
    if (!opts.script.empty()) {
        const int status = WriteScript(opts.script, b, changes);
        if (status != kExitOk) return status;
    }
    if (!common.quiet) {
        std::size_t removed = 0;
        std::size_t added = 0;
        for (const CommandChange& c : changes) {
            removed += c.kind == CommandChange::kRemoved;
            added += c.kind == CommandChange::kAdded;
        }
        Note(a.name + " -> " + b.name + ": " + std::to_string(removed) + " removed, " +
             std::to_string(added) + " added, " + std::to_string(changes.size() - removed - added) +
             " changed");
    }
    return changes.empty() ? kExitOk : kExitFindings;
}

}  // namespace qxscript
