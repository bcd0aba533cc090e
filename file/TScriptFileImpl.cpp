#include "qx_scriptutil/TScriptFileImpl.h"

#include <algorithm>
#include <map>

#include "file/CommandLocator.h"
#include "file/ScriptReader.h"
#include "qx_platform/Files.h"
#include "qx_platform/Strings.h"
#include "qx_platform/Task.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/Escaping.h"
#include "qx_scriptutil/PostAnalyse.h"
#include "qx_scriptutil/QXConvertDataStorage.h"
#include "qx_scriptutil/ScriptGauge.h"
#include "qx_scriptutil/ScriptParser.h"
#include "qx_scriptutil/ScriptStaticData.h"
#include "slot/CommandSlotConvert.h"

namespace NSQX_script {
namespace {

constexpr unsigned long kCommandFailed = 0x41017307;
constexpr char kNeParaCommand[] = "cfg-nepara";

bool SlotConversionWanted(unsigned long neId) {
    return neId == 0 || QXConvertDataStorage::Instance()->IsNEINDEVMap(neId);
}

}  // namespace

TScriptFileImpl::TScriptFileImpl(unsigned int scriptType,
                                 const std::vector<unsigned long>* cmdFilter)
    : m_encoding(GetCfgEncoding()),
      m_scriptType(scriptType),
      m_currCmd(m_cmdList.end()),
      m_reader(new ScriptReadBuffer) {
    if (cmdFilter != nullptr) m_cmdFilter = *cmdFilter;
}

// A copy takes the commands and settings but not the open file: streams are not shared.
TScriptFileImpl::TScriptFileImpl(const TScriptFileImpl& other)
    : m_gatherState(other.m_gatherState),
      m_lineNo(other.m_lineNo),
      m_encoding(other.m_encoding),
      m_scriptType(other.m_scriptType),
      m_cmdList(other.m_cmdList),
      m_cmdCount(other.m_cmdCount),
      m_currCmd(m_cmdList.begin()),
      m_fileName(other.m_fileName),
      m_directory(other.m_directory),
      m_openMode(other.m_openMode),
      m_scriptVersion(other.m_scriptVersion),
      m_currNEID(other.m_currNEID),
      m_preConfigState(other.m_preConfigState),
      m_currentLine(other.m_currentLine),
      m_slotFlag11(other.m_slotFlag11),
      m_hasSlotFlag(other.m_hasSlotFlag),
      m_slotConvertWanted(other.m_slotConvertWanted),
      m_slotType(other.m_slotType),
      m_checked(other.m_checked),
      m_cmdFilter(other.m_cmdFilter),
      m_allInList(other.m_allInList),
      m_errorResults(other.m_errorResults),
      m_diagnostics(other.m_diagnostics),
      m_reader(new ScriptReadBuffer) {}

TScriptFileImpl& TScriptFileImpl::operator=(const TScriptFileImpl& other) {
    if (this == &other) return *this;
    TScriptFileImpl copy(other);
    CloseStream();
    m_gatherState = copy.m_gatherState;
    m_lineNo = copy.m_lineNo;
    m_encoding = copy.m_encoding;
    m_scriptType = copy.m_scriptType;
    m_cmdList.swap(copy.m_cmdList);
    m_cmdCount = copy.m_cmdCount;
    m_currCmd = m_cmdList.begin();
    m_fileName = copy.m_fileName;
    m_directory = copy.m_directory;
    m_openMode = copy.m_openMode;
    m_scriptVersion = copy.m_scriptVersion;
    m_currNEID = copy.m_currNEID;
    m_preConfigState = copy.m_preConfigState;
    m_currentLine = copy.m_currentLine;
    m_slotFlag11 = copy.m_slotFlag11;
    m_hasSlotFlag = copy.m_hasSlotFlag;
    m_slotConvertWanted = copy.m_slotConvertWanted;
    m_slotType = copy.m_slotType;
    m_checked = copy.m_checked;
    m_cmdFilter.swap(copy.m_cmdFilter);
    m_allInList = copy.m_allInList;
    m_errorResults.swap(copy.m_errorResults);
    m_diagnostics = copy.m_diagnostics;
    m_reader->Reset();
    return *this;
}

TScriptFileImpl::~TScriptFileImpl() {
    CloseStream();
}

void TScriptFileImpl::CloseStream() {
    if (m_file) {
        m_file->Close();
    } else if (m_stream != nullptr) {
        qxp::OrinFileClose(m_stream);
    }
    m_stream = nullptr;
    if (m_reader) m_reader->Reset();
}

bool TScriptFileImpl::BuildPath(const char* directory, const char* fileName, std::string& path) {
    m_fileName = fileName;
    if (directory != nullptr && directory[0] != '\0') {
        m_directory = directory;
        path = m_directory + "/" + m_fileName;
        return true;
    }
    m_directory.clear();
    path = m_fileName;
    return !path.empty();
}

bool TScriptFileImpl::OpenForRead(unsigned int scriptType, const char* directory,
                                  const char* fileName) {
    if (fileName == nullptr) return false;
    m_scriptType = scriptType;
    m_allInList = false;
    m_currNEID = GetNEIDFromFileName(fileName);
    m_slotConvertWanted = SlotConversionWanted(m_currNEID);

    std::string path;
    if (!BuildPath(directory, fileName, path)) return false;
    CloseStream();
    m_cmdList.clear();
    m_currCmd = m_cmdList.end();
    m_gatherState = 0;
    m_lineNo = 1;
    m_openMode = 0;
    if (!m_file) m_file.reset(new qxp::OrinFile);
    const int rc = m_file->Open(path.c_str(), qxp::kOrinRead);
    m_stream = m_file->GetStream();
    if (rc != 0 || m_stream == nullptr) {
        qxp::QXTrace(qxp::kTraceError, "Open Script File for read error!filename:%s, lasterr:%d\n",
                     path.c_str(), qxp::OrinGetLastError());
        m_stream = nullptr;
        return false;
    }

    ReadHeader();

    if (qxp::OrinGnlTask* task = qxp::OrinGetCurrentTask()) {
        task->GetContext()->SetFlag("Script_Version", qxp::QXUInt2Str(m_scriptVersion));
    }
    ChooseSlotType();
    return m_stream != nullptr;
}

bool TScriptFileImpl::AnalyseText(const std::string& text, unsigned long lineNo, bool& failed,
                                  bool gathered) {
    ScriptReadBuffer& r = *m_reader;
    failed = false;
    if (m_diagnostics != nullptr) {
        // The detailed parse prints nothing and says where a text stops parsing.
        const TParseResult result = AnalyseOneCommandDetailed(text, r.parsed);
        const bool rejected = result.status == 0 && !PostAnalyseOneCommand(r.parsed);
        if (result.status != 0 || rejected || !result.notes.empty()) {
            ReportCommand(text, lineNo, result, rejected, gathered);
        }
        if (result.status != 0 || rejected) {
            failed = true;
            return false;
        }
    } else if (AnalyseOneCommandEx(text, r.parsed) != 0 || !PostAnalyseOneCommand(r.parsed)) {
        failed = true;
        return false;
    }
    if (r.parsed.cmdName == kNeParaCommand) AddToDeviceMap(r.parsed);
    unsigned long code = 0;
    if (!CmdNameConvert::GetCorrespondCmdID(r.parsed.cmdName.c_str(), code)) return false;
    if (!m_cmdFilter.empty() &&
        std::find(m_cmdFilter.begin(), m_cmdFilter.end(), code) == m_cmdFilter.end()) {
        return false;
    }
    // The parsed tree moves into the command; the parser refills the storage of the spare.
    TScriptCmd& cmd = r.spare;
    cmd.GetParaList().swap(r.parsed.paraList);
    cmd.SetCmdCode(code);
    cmd.SetLineNo(lineNo);
    if (m_slotConvertWanted) ConvertSlots(cmd);
    return true;
}

// Cold path: runs only for a command that failed or carries a note, while a sink listens.
void TScriptFileImpl::ReportCommand(const std::string& text, unsigned long lineNo,
                                    const TParseResult& result, bool rejected, bool gathered) {
    ScriptReadBuffer& r = *m_reader;
    auto report = [&](TScriptDiagnostic d, TScriptDiagnostic::Severity severity,
                      const std::string& reason) {
        d.severity = severity;
        d.reason = reason;
        m_diagnostics->Report(d);
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
    const CommandLocator locator(r.span, m_encoding,
                                 std::string_view(r.data.get() + r.pos, r.end - r.pos));
    for (const TParseNote& note : result.notes) {
        report(locator.AtText(note.offset, text, r.overlong), TScriptDiagnostic::kWarning,
               note.message);
    }
    if (result.status != 0) {
        // A quote that ran over a line break took the following commands with it: the quote is
        // the fault, not where the parser stopped.
        if (locator.OpenQuote() != std::string::npos) {
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

void TScriptFileImpl::RecordOpenComment(std::vector<TScriptResult>& results) {
    ScriptReadBuffer& r = *m_reader;
    if (!r.openComment) return;
    r.openComment = false;
    RecordFailure(r.commentLine, results);
    if (m_diagnostics != nullptr) {
        r.comment.severity = TScriptDiagnostic::kError;
        m_diagnostics->Report(r.comment);
    }
}

// A script declares its NEs before their commands: once the file's own NE is declared, the
// commands after it convert their slots.
void TScriptFileImpl::AddToDeviceMap(const MMLCmdStruct& cmd) {
    std::map<unsigned long, unsigned long> entry;
    if (!ScriptDataMgr::AddDevMapEntry(cmd, entry)) return;
    QXConvertDataStorage* store = QXConvertDataStorage::Instance();
    for (const auto& [neId, device] : entry) store->AddDevMapEntry(neId, device);
    if (!m_slotConvertWanted) m_slotConvertWanted = SlotConversionWanted(m_currNEID);
}

void TScriptFileImpl::RecordFailure(unsigned long lineNo, std::vector<TScriptResult>& results) {
    results.emplace_back(CStdString(m_fileName), static_cast<int>(lineNo), CStdString(),
                         kCommandFailed);
}

bool TScriptFileImpl::LoadNextCommandFromFile() {
    ScriptReadBuffer& r = *m_reader;
    // Keep the storage of the command being dropped for the next parse.
    if (!m_cmdList.empty()) {
        r.parsed.paraList.swap(m_cmdList.front().GetParaList());
        m_cmdList.clear();
    }
    m_currCmd = m_cmdList.end();
    for (;;) {
        const unsigned long line = GatherCommandText();
        if (line == 0) {
            RecordOpenComment(m_errorResults);
            return false;
        }
        bool failed = false;
        if (!AnalyseText(r.text, line, failed, true)) {
            if (failed) RecordFailure(line, m_errorResults);
            continue;
        }
        m_cmdList.emplace_back(std::move(r.spare));
        ++m_cmdCount;
        m_currCmd = m_cmdList.begin();
        return true;
    }
}

bool TScriptFileImpl::GetOneCommand(TScriptCmd& cmd) {
    if (m_currCmd == m_cmdList.end()) return false;
    m_currentLine = m_currCmd->GetLineNo();
    m_checked = false;
    if (m_allInList) {
        cmd = *m_currCmd;
        ++m_currCmd;
    } else {
        // The streamed command is dropped next: hand its tree over and recycle the caller's.
        cmd.GetParaList().swap(m_currCmd->GetParaList());
        cmd.SetCmdCode(m_currCmd->GetCmdCode());
        cmd.SetLineNo(m_currCmd->GetLineNo());
        LoadNextCommandFromFile();
    }
    return true;
}

bool TScriptFileImpl::RepeatGetOneCommand(TScriptCmd& cmd) {
    if (m_currCmd == m_cmdList.end()) return false;
    cmd = *m_currCmd;
    m_currentLine = m_currCmd->GetLineNo();
    m_checked = false;
    return true;
}

bool TScriptFileImpl::PushOneCommand(TScriptCmd cmd) {
    const bool atEnd = m_currCmd == m_cmdList.end();
    m_cmdList.push_back(std::move(cmd));
    ++m_cmdCount;
    // A command pushed back after the last one is the next to be read.
    if (atEnd) m_currCmd = std::prev(m_cmdList.end());
    return true;
}

bool TScriptFileImpl::GoToFirstCommand() {
    if (!m_allInList) {
        if (!FileToBegin()) return false;
        LoadNextCommandFromFile();
        return true;
    }
    m_currCmd = m_cmdList.begin();
    return !m_cmdList.empty();
}

unsigned long TScriptFileImpl::GetCmdCount() {
    if (!FileToBegin()) return 0;
    unsigned long count = 0;
    std::string name;
    while (GatherCommandText() != 0) {
        const std::string& text = m_reader->text;
        // The name stands between the first two colons.
        const std::size_t start = text.find(':');
        if (start == std::string::npos) continue;
        const std::size_t stop = text.find(':', start + 1);
        if (stop == std::string::npos) continue;
        name.assign(text, start + 1, stop - start - 1);
        unsigned long code = 0;
        if (CmdNameConvert::GetCorrespondCmdID(name.c_str(), code)) ++count;
    }
    FileToBegin();
    return count;
}

bool TScriptFileImpl::GetCmdCodeOfCurrCmd(unsigned long& cmdCode) {
    if (m_currCmd == m_cmdList.end()) return false;
    cmdCode = m_currCmd->GetCmdCode();
    m_currentLine = m_currCmd->GetLineNo();
    return true;
}

bool TScriptFileImpl::GetCmdCodeOfCurrCmdAndCheck(unsigned long& cmdCode) {
    if (m_currCmd == m_cmdList.end()) return false;
    std::string name;
    if (!CmdNameConvert::GetCorrespondCmdName(name, m_currCmd->GetCmdCode())) return false;
    cmdCode = m_currCmd->GetCmdCode();
    m_currentLine = m_currCmd->GetLineNo();
    m_checked = true;
    return true;
}

void TScriptFileImpl::ChooseSlotType() {
    QXConvertDataStorage* store = QXConvertDataStorage::Instance();
    m_slotType = SlotTypeForFlag(m_slotFlag11, m_hasSlotFlag, store->GetOperType());
    store->PrepareScriptOper(m_slotFlag11, m_hasSlotFlag);
}

void TScriptFileImpl::ConvertSlots(TScriptCmd& cmd) const {
    ConvertCommandSlots(
        cmd, m_slotType >= 0 ? m_slotType : QXConvertDataStorage::Instance()->GetCvtType());
}

bool TScriptFileImpl::SetCurrNEID(unsigned long neId) {
    if (m_scriptType != kTransmitServiceScript && m_scriptType != kStandaloneScript) return false;
    m_currNEID = neId;
    m_slotConvertWanted = SlotConversionWanted(neId);
    return true;
}

bool TScriptFileImpl::SetPreConfitState(bool state) {
    const bool previous = m_preConfigState;
    m_preConfigState = state;
    return previous;
}

void TScriptFileImpl::SendDescription(const char* text) {
    SendDetail(text);
}

void TScriptFileImpl::PostAndAnalyseOneCommand(CStdString text, int lineNo,
                                               std::vector<TScriptResult>& results) {
    AnalyseInto(text, static_cast<unsigned long>(lineNo), results, false);
}

void TScriptFileImpl::AnalyseInto(const std::string& text, unsigned long line,
                                  std::vector<TScriptResult>& results, bool gathered) {
    bool failed = false;
    if (AnalyseText(text, line, failed, gathered)) {
        m_cmdList.emplace_back(std::move(m_reader->spare));
        ++m_cmdCount;
        return;
    }
    if (failed) {
        RecordFailure(line, results);
    } else if (!m_reader->parsed.cmdName.empty()) {
        unsigned long code = 0;
        if (!CmdNameConvert::GetCorrespondCmdID(m_reader->parsed.cmdName.c_str(), code)) {
            qxp::QXTrace(qxp::kTraceInfo, "This script file maybe include old commands:%s.\n",
                         m_reader->parsed.cmdName.c_str());
        }
    }
}

unsigned long TScriptFileImpl::LoadAll(const std::list<CStdString>* names,
                                       std::vector<TScriptResult>& results) {
    for (;;) {
        const unsigned long line = GatherCommandText();
        if (line == 0) {
            RecordOpenComment(results);
            break;
        }
        const std::string& text = m_reader->text;
        if (names != nullptr) {
            const bool match = std::any_of(names->begin(), names->end(), [&](const CStdString& n) {
                return text.find(n) != std::string::npos;
            });
            if (!match) continue;
        }
        AnalyseInto(text, line, results, true);
    }
    m_gatherState = 0;
    m_currCmd = m_cmdList.begin();
    m_allInList = true;
    return m_cmdCount;
}

unsigned long TScriptFileImpl::GetAllCommands(std::vector<TScriptResult>& results) {
    return LoadAll(nullptr, results);
}

unsigned long TScriptFileImpl::GetMatchCommands(const std::list<CStdString>& names,
                                                std::vector<TScriptResult>& results) {
    return LoadAll(&names, results);
}

}  // namespace NSQX_script
