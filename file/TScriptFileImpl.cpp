#include "qx_scriptutil/TScriptFileImpl.h"

#include <algorithm>
#include <cerrno>

#include "file/CommandList.h"
#include "file/ScriptContext.h"
#include "file/ScriptReader.h"
#include "file/ScriptWriter.h"
#include "qx_platform/Env.h"
#include "qx_platform/Files.h"
#include "qx_platform/Strings.h"
#include "qx_platform/Task.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/Escaping.h"
#include "qx_scriptutil/QXConvertDataStorage.h"
#include "qx_scriptutil/ScriptGauge.h"
#include "slot/CommandSlotConvert.h"

namespace NSQX_script {
namespace {

constexpr unsigned long kCommandFailed = 0x41017307;

bool SlotConversionWanted(unsigned long neId) {
    return neId == 0 || QXConvertDataStorage::Instance()->IsNEINDEVMap(neId);
}

}  // namespace

TScriptFileImpl::TScriptFileImpl(unsigned int scriptType,
                                 const std::vector<unsigned long>* cmdFilter)
    : m_scriptType(scriptType) {
    m_context->encoding = GetCfgEncoding();
    if (cmdFilter != nullptr) m_cmdFilter = *cmdFilter;
}

TScriptFileImpl::TScriptFileImpl(const TScriptFileImpl& other) = default;
TScriptFileImpl& TScriptFileImpl::operator=(const TScriptFileImpl& other) = default;

TScriptFileImpl::~TScriptFileImpl() {
    CloseStream();
}

qxp::Env& TScriptFileImpl::Env() const {
    return m_env != nullptr ? *m_env : *qxp::Env::Default();
}

const std::string& TScriptFileImpl::GetEncoding() const {
    return m_context->encoding;
}

unsigned long TScriptFileImpl::GetVersion() {
    return m_context->version;
}

void TScriptFileImpl::SetDiagnosticSink(TScriptDiagnosticSink* sink) {
    m_context->sink = sink;
}

bool TScriptFileImpl::GetNextChar(char& c) {
    return m_reader->GetNextChar(c);
}

bool TScriptFileImpl::FileToBegin() {
    return m_reader->Rewind(m_fileName);
}

void TScriptFileImpl::Failed(int code, const std::string& message) {
    m_lastError = message;
    qxp::OrinSetLastError(code);
}

void TScriptFileImpl::CloseStream() {
    m_reader->Close();
    m_writer->Close();
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
    ScriptContext& context = *m_context;
    m_scriptType = scriptType;
    m_allInList = false;
    context.neId = GetNEIDFromFileName(fileName);
    context.slotConvertWanted = SlotConversionWanted(context.neId);

    std::string path;
    if (!BuildPath(directory, fileName, path)) return false;
    CloseStream();
    m_commands->Clear();
    m_openMode = OpenMode::kRead;
    const qxp::Status opened = m_reader->Open(Env(), path);
    if (!opened.ok()) {
        Failed(opened.code(), opened.message());
        qxp::QXTrace(qxp::kTraceError, "Open Script File for read error!filename:%s, lasterr:%d\n",
                     path.c_str(), opened.code());
        return false;
    }

    ReadHeader();

    // Hosts read the version of the script opened last from the task; the library itself takes
    // it from the file object.
    if (qxp::OrinGnlTask* task = qxp::OrinGetCurrentTask()) {
        task->GetContext()->SetFlag("Script_Version", qxp::QXUInt2Str(context.version));
    }
    ChooseSlotType();
    return true;
}

bool TScriptFileImpl::GetScriptPara(FILE* stream, bool& isSlotFlag11, bool& hasSlotFlag) {
    if (stream == nullptr) return false;
    std::string head(1024, '\0');
    std::fseek(stream, 0, SEEK_SET);
    head.resize(std::fread(&head[0], 1, head.size(), stream));
    const std::size_t nul = head.find('\0');
    if (nul != std::string::npos) head.resize(nul);
    TakeHeader(ReadScriptHeader(head), head, isSlotFlag11, hasSlotFlag);
    return true;
}

void TScriptFileImpl::ReadHeader() {
    const std::string head = m_reader->Head();
    const TScriptHeader header = ReadScriptHeader(head);
    TakeHeader(header, head, m_slotFlag11, m_hasSlotFlag);
    m_context->version = header.version;
}

void TScriptFileImpl::TakeHeader(const TScriptHeader& header, const std::string& head,
                                 bool& isSlotFlag11, bool& hasSlotFlag) {
    QXConvertDataStorage* store = QXConvertDataStorage::Instance();
    std::string& encoding = m_context->encoding;
    if (!header.encoding.empty()) {
        encoding = header.encoding;
    } else if (store->ScriptONELanIsEn()) {
        encoding = "ISO8859-1";
    } else if (head.find("Idle Optical NE") != std::string::npos) {
        // From now on every script without an encoding line is single-language English.
        store->SetScriptONELanEn(true);
        encoding = "ISO8859-1";
    } else {
        encoding = "GBK";
    }
    hasSlotFlag = header.hasSlotFlag;
    isSlotFlag11 = header.slotFlag11;
}

void TScriptFileImpl::RecordOpenComment(std::vector<TScriptResult>& results) {
    const unsigned long line = m_reader->TakeOpenComment(*m_context);
    if (line != 0) RecordFailure(line, results);
}

void TScriptFileImpl::RecordFailure(unsigned long lineNo, std::vector<TScriptResult>& results) {
    results.emplace_back(CStdString(m_fileName), static_cast<int>(lineNo), CStdString(),
                         kCommandFailed);
}

bool TScriptFileImpl::LoadNextCommandFromFile() {
    ScriptReader& reader = *m_reader;
    CommandList& list = *m_commands;
    // Keep the storage of the command being dropped for the next parse.
    if (!list.items.empty()) reader.Recycle(list.items.front().GetParaList());
    list.Clear();
    for (;;) {
        const unsigned long line = reader.GatherCommandText(*m_context);
        if (line == 0) {
            RecordOpenComment(m_errorResults);
            return false;
        }
        const ScriptReader::Outcome outcome =
            reader.Analyse(reader.Text(), line, true, *m_context, m_cmdFilter);
        if (outcome != ScriptReader::Outcome::kCommand) {
            if (outcome == ScriptReader::Outcome::kFailed) RecordFailure(line, m_errorResults);
            continue;
        }
        list.items.emplace_back(std::move(reader.Command()));
        ++m_cmdCount;
        list.current = list.items.begin();
        return true;
    }
}

bool TScriptFileImpl::GetOneCommand(TScriptCmd& cmd) {
    CommandList& list = *m_commands;
    if (list.AtEnd()) return false;
    TScriptCmd& current = *list.current;
    m_currentLine = current.GetLineNo();
    m_checked = false;
    if (m_allInList) {
        cmd = current;
        ++list.current;
    } else {
        // The streamed command is dropped next: hand its tree over and recycle the caller's.
        cmd.GetParaList().swap(current.GetParaList());
        cmd.SetCmdCode(current.GetCmdCode());
        cmd.SetLineNo(current.GetLineNo());
        LoadNextCommandFromFile();
    }
    return true;
}

bool TScriptFileImpl::RepeatGetOneCommand(TScriptCmd& cmd) {
    const CommandList& list = *m_commands;
    if (list.AtEnd()) return false;
    cmd = *list.current;
    m_currentLine = list.current->GetLineNo();
    m_checked = false;
    return true;
}

bool TScriptFileImpl::PushOneCommand(TScriptCmd cmd) {
    CommandList& list = *m_commands;
    const bool atEnd = list.AtEnd();
    list.items.push_back(std::move(cmd));
    ++m_cmdCount;
    // A command pushed back after the last one is the next to be read.
    if (atEnd) list.current = std::prev(list.items.end());
    return true;
}

bool TScriptFileImpl::GoToFirstCommand() {
    if (!m_allInList) {
        if (!FileToBegin()) return false;
        LoadNextCommandFromFile();
        return true;
    }
    m_commands->current = m_commands->items.begin();
    return !m_commands->items.empty();
}

unsigned long TScriptFileImpl::GetCmdCount() {
    if (!FileToBegin()) return 0;
    unsigned long count = 0;
    std::string name;
    while (m_reader->GatherCommandText(*m_context) != 0) {
        const std::string& text = m_reader->Text();
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
    if (m_commands->AtEnd()) return false;
    cmdCode = m_commands->current->GetCmdCode();
    m_currentLine = m_commands->current->GetLineNo();
    return true;
}

bool TScriptFileImpl::GetCmdCodeOfCurrCmdAndCheck(unsigned long& cmdCode) {
    if (m_commands->AtEnd()) return false;
    std::string name;
    if (!CmdNameConvert::GetCorrespondCmdName(name, m_commands->current->GetCmdCode()))
        return false;
    cmdCode = m_commands->current->GetCmdCode();
    m_currentLine = m_commands->current->GetLineNo();
    m_checked = true;
    return true;
}

void TScriptFileImpl::ChooseSlotType() {
    QXConvertDataStorage* store = QXConvertDataStorage::Instance();
    m_context->slotType = SlotTypeForFlag(m_slotFlag11, m_hasSlotFlag, store->GetOperType());
    store->PrepareScriptOper(m_slotFlag11, m_hasSlotFlag);
}

void TScriptFileImpl::ConvertSlots(TScriptCmd& cmd) const {
    const std::int32_t type = m_context->slotType;
    ConvertCommandSlots(cmd, type >= 0 ? type : QXConvertDataStorage::Instance()->GetCvtType());
}

bool TScriptFileImpl::SetCurrNEID(unsigned long neId) {
    if (m_scriptType != kTransmitServiceScript && m_scriptType != kStandaloneScript) return false;
    m_context->neId = neId;
    m_context->slotConvertWanted = SlotConversionWanted(neId);
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
    ScriptReader& reader = *m_reader;
    switch (reader.Analyse(text, line, gathered, *m_context, m_cmdFilter)) {
        case ScriptReader::Outcome::kCommand:
            m_commands->items.emplace_back(std::move(reader.Command()));
            ++m_cmdCount;
            return;
        case ScriptReader::Outcome::kFailed:
            RecordFailure(line, results);
            return;
        case ScriptReader::Outcome::kSkipped:
            break;
    }
    const std::string& name = reader.ParsedName();
    unsigned long code = 0;
    if (!name.empty() && !CmdNameConvert::GetCorrespondCmdID(name.c_str(), code)) {
        qxp::QXTrace(qxp::kTraceInfo, "This script file maybe include old commands:%s.\n",
                     name.c_str());
    }
}

unsigned long TScriptFileImpl::LoadAll(const std::list<CStdString>* names,
                                       std::vector<TScriptResult>& results) {
    for (;;) {
        const unsigned long line = m_reader->GatherCommandText(*m_context);
        if (line == 0) {
            RecordOpenComment(results);
            break;
        }
        const std::string& text = m_reader->Text();
        if (names != nullptr) {
            const bool match = std::any_of(names->begin(), names->end(), [&](const CStdString& n) {
                return text.find(n) != std::string::npos;
            });
            if (!match) continue;
        }
        AnalyseInto(text, line, results, true);
    }
    m_reader->EndOfCommands();
    m_commands->current = m_commands->items.begin();
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
