#include "file/ScriptReader.h"

#include <algorithm>
#include <map>

#include "file/CommandLocator.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/PostAnalyse.h"
#include "qx_scriptutil/QXConvertDataStorage.h"
#include "qx_scriptutil/ScriptParser.h"
#include "qx_scriptutil/ScriptStaticData.h"
#include "slot/CommandSlotConvert.h"

namespace NSQX_script {
namespace {

constexpr char kNeParaCommand[] = "cfg-nepara";
constexpr std::size_t kHeadSize = 1024;

// A script declares its NEs before their commands: once the file's own NE is declared, the
// commands after it convert their slots.
void AddToDeviceMap(const MMLCmdStruct& cmd, ScriptContext& context) {
    std::map<unsigned long, unsigned long> entry;
    if (!ScriptDataMgr::AddDevMapEntry(cmd, entry)) return;
    QXConvertDataStorage* store = QXConvertDataStorage::Instance();
    for (const auto& [neId, device] : entry) store->AddDevMapEntry(neId, device);
    if (!context.slotConvertWanted) {
        context.slotConvertWanted = context.neId == 0 || store->IsNEINDEVMap(context.neId);
    }
}

}  // namespace

qxp::Status ScriptReader::Open(qxp::Env& env, const std::string& path) {
    Close();
    m_gatherState = 0;
    m_lineNo = 1;
    std::unique_ptr<qxp::ReadableFile> file;
    const qxp::Status s = env.NewReadableFile(path, &file);
    if (!s.ok()) return s;
    m_file.get() = std::move(file);
    // The head comes from the first block, never from a seek: a pipe cannot seek back.
    ScriptReadBuffer& r = m_buffer.get();
    r.Fill(m_file.get().get());
    r.holdsStart = true;
    return s;
}

void ScriptReader::Close() {
    m_file.get().reset();
    m_buffer.get().Reset();
}

std::string ScriptReader::Head() const {
    const ScriptReadBuffer& r = m_buffer.get();
    if (!r.holdsStart) return std::string();
    std::string head(r.data.get(), std::min(r.end, kHeadSize));
    const std::size_t nul = head.find('\0');
    if (nul != std::string::npos) head.resize(nul);
    return head;
}

ScriptReader::Outcome ScriptReader::Analyse(const std::string& text, unsigned long lineNo,
                                            bool gathered, ScriptContext& context,
                                            const std::vector<unsigned long>& filter) {
    ScriptReadBuffer& r = m_buffer.get();
    int status = 0;
    bool rejected = false;
    if (context.sink != nullptr) {
        // The detailed parse prints nothing and says where a text stops parsing.
        const TParseResult result = AnalyseOneCommandDetailed(text, r.parsed);
        status = result.status;
        rejected = status == 0 && !PostAnalyseOneCommand(r.parsed);
        if (status != 0 || rejected || !result.notes.empty()) {
            Report(text, lineNo, result, rejected, gathered, context);
        }
    } else {
        status = AnalyseOneCommandEx(text, r.parsed);
        rejected = status == 0 && !PostAnalyseOneCommand(r.parsed);
    }
    // A text cut short by a block comment left open fails because of it: the comment is this
    // command's failure (and error), not one more.
    if (status != 0 && gathered) r.openComment = false;
    if (status != 0 || rejected) return Outcome::kFailed;
    if (r.parsed.cmdName == kNeParaCommand) AddToDeviceMap(r.parsed, context);
    unsigned long code = 0;
    if (!CmdNameConvert::GetCorrespondCmdID(r.parsed.cmdName.c_str(), code)) {
        return Outcome::kSkipped;
    }
    if (!filter.empty() && std::find(filter.begin(), filter.end(), code) == filter.end()) {
        return Outcome::kSkipped;
    }
    // The parsed tree moves into the command; the parser refills the storage of the spare.
    TScriptCmd& cmd = r.spare;
    cmd.GetParaList().swap(r.parsed.paraList);
    cmd.SetCmdCode(code);
    cmd.SetLineNo(lineNo);
    if (context.slotConvertWanted) {
        ConvertCommandSlots(cmd, context.slotType >= 0
                                     ? context.slotType
                                     : QXConvertDataStorage::Instance()->GetCvtType());
    }
    return Outcome::kCommand;
}

// Cold path: runs only for a command that failed or carries a note, while a sink listens.
void ScriptReader::Report(const std::string& text, unsigned long lineNo, const TParseResult& result,
                          bool rejected, bool gathered, const ScriptContext& context) {
    const ScriptReadBuffer& r = m_buffer.get();
    auto report = [&](TScriptDiagnostic d, TScriptDiagnostic::Severity severity,
                      const std::string& reason) {
        d.severity = severity;
        d.reason = reason;
        context.sink->Report(d);
    };
    if (!gathered) {
        // A text handed in by the caller: only its line is known.
        TScriptDiagnostic d;
        d.line = lineNo;
        for (const TParseNote& note : result.notes)
            report(d, TScriptDiagnostic::kWarning, note.message);
        if (result.status != 0) report(d, TScriptDiagnostic::kError, result.reason);
        if (rejected) report(d, TScriptDiagnostic::kError, "command rejected after parsing");
        return;
    }
    const CommandLocator locator(r.span, context.encoding,
                                 std::string_view(r.data.get() + r.pos, r.end - r.pos));
    for (const TParseNote& note : result.notes) {
        report(locator.AtText(note.offset, text, r.overlong), TScriptDiagnostic::kWarning,
               note.message);
    }
    if (result.status != 0) {
        // A comment left open or a quote that ran over a line break took the following
        // commands with it: that is the fault, not where the parser stopped.
        if (r.openComment) {
            report(r.comment, TScriptDiagnostic::kError, r.comment.reason);
        } else if (locator.OpenQuote() != std::string::npos) {
            report(locator.AtSpan(locator.OpenQuote()), TScriptDiagnostic::kError,
                   "unterminated quote");
        } else {
            report(locator.AtText(result.offset, text, r.overlong), TScriptDiagnostic::kError,
                   result.reason);
        }
    } else if (rejected) {
        report(locator.AtText(0, text, r.overlong), TScriptDiagnostic::kError,
               "command rejected after parsing");
    }
}

unsigned long ScriptReader::TakeOpenComment(const ScriptContext& context) {
    ScriptReadBuffer& r = m_buffer.get();
    if (!r.openComment) return 0;
    r.openComment = false;
    if (context.sink != nullptr) {
        r.comment.severity = TScriptDiagnostic::kError;
        context.sink->Report(r.comment);
    }
    return r.commentLine;
}

}  // namespace NSQX_script
