// The writing side of the script file object: opening, the two header forms, joining files and
// the body, through its ScriptWriter.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "cmd/CommandLayout.h"
#include "file/CommandList.h"
#include "file/ScriptContext.h"
#include "file/ScriptReader.h"
#include "file/ScriptWriter.h"
#include "qx_platform/Env.h"
#include "qx_platform/Files.h"
#include "qx_platform/Settings.h"
#include "qx_platform/Strings.h"
#include "qx_platform/Time.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/EnumMap.h"
#include "qx_scriptutil/QXConvertDataStorage.h"
#include "qx_scriptutil/QXScriptErrMgr.h"
#include "qx_scriptutil/TScriptFileImpl.h"
#include "slot/CommandSlotConvert.h"
#include "util/SafeString.h"

namespace NSQX_script {
namespace {

std::string VersionText(unsigned long v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%d.%d.%d.%d", static_cast<int>((v >> 24) & 0xFF),
                  static_cast<int>((v >> 16) & 0xFF), static_cast<int>((v >> 8) & 0xFF),
                  static_cast<int>(v & 0xFF));
    return buf;
}

// The configured current script version, or the fallback when none is configured.
unsigned long ConfiguredScriptVersion(unsigned long fallback) {
    long v = 0;
    if (ValueS2C(v, std::string("currentscriptversion"), 0, std::string("scriptversion"), 0) != 0) {
        return static_cast<unsigned long>(v);
    }
    return fallback;
}

std::string CreationLine(int userId) {
    const qxp::QXTime local = qxp::QXUTC2LOCAL(qxp::QXGetSystemTime());
    return "// " + qxp::QXFormatTime(local, "%Y-%m-%d %H:%M:%S") + " Created by " +
           qxp::OrinGetUserName(userId) + "\n";
}

void SetThreadWriteError() {
    QXScriptErrMgr::Instance()->m_errorCode = kScriptErrWriteFailed;
}

// One layout buffer per thread, reused from command to command.
CommandLayout& ThreadLayout() {
    thread_local CommandLayout layout(kScriptFileLayout);
    return layout;
}

// The second header form, as one block.
std::string StandaloneHeader(const char* title, int userId, const char* encoding) {
    std::string header = "// SlotFlagVer=1.1 \n";
    char name[1024];
    header += "// EMS version = ";
    const std::string version = qxp::OrinGetServerVersionName();
    if (version.empty()) {
        header += "unknown";
    } else if (strncpy_s(name, sizeof name, version.c_str(), sizeof name - 1) != 0) {
        qxp::QXTrace(qxp::kTraceError, "strncpy_s failed at line 79");
    } else {
        header += name;
    }
    header += "\n";
    char line[1024];
    const unsigned long v = ConfiguredScriptVersion(kDefaultScriptVersion);
    if (snprintf_s(line, sizeof line, "//{{script_version=%s}}\n", VersionText(v).c_str()) < 0) {
        qxp::QXTrace(qxp::kTraceError, "snprintf_s failed at line 104");
    } else {
        header += line;
    }
    header += "// ";
    if (title != nullptr) header += title;
    header += "\n";
    header += CreationLine(userId);
    header += "// encoding=\"";
    header += (encoding != nullptr && encoding[0] != '\0') ? encoding : "UTF-8";
    header += "\"\n\n\n";
    return header;
}

std::string NMVersionLine(const std::string& name) {
    return "// EMS version = " + (name.empty() ? std::string("unknown") : name) + "\n";
}

}  // namespace

bool TScriptFileImpl::SetEncoding(const char* encoding) {
    if (encoding == nullptr) return false;
    const std::string name = encoding;
    if (name != "UTF-8" && name != "GBK" && name != "ISO8859-1") return false;
    m_context->encoding = name;
    return true;
}

void TScriptFileImpl::SetHeaderVersion(unsigned long version) {
    m_context->headerVersion = version;
}

bool TScriptFileImpl::SetHeaderEmsVersion(const char* name) {
    if (name == nullptr || std::strchr(name, '\n') != nullptr) return false;
    m_context->headerEmsVersion = name;
    return true;
}

bool TScriptFileImpl::Writing() const {
    return m_openMode == OpenMode::kWrite && m_writer->IsOpen();
}

bool TScriptFileImpl::Close() {
    m_reader->Close();
    const qxp::Status s = m_writer->Close();
    if (s.ok()) return true;
    Failed(s.code(), s.message());
    SetThreadWriteError();
    return false;
}

bool TScriptFileImpl::OpenForWrite(unsigned int scriptType, const char* directory,
                                   const char* fileName, int userId, bool withHeader) {
    if (fileName == nullptr) return false;
    ScriptContext& context = *m_context;
    context.neId = GetNEIDFromFileName(fileName);
    context.slotConvertWanted =
        context.neId == 0 || QXConvertDataStorage::Instance()->IsNEINDEVMap(context.neId);

    if (!OpenForWriteNoHead(directory, fileName, withHeader)) return false;
    m_hasSlotFlag = true;
    if (withHeader) {
        long slotVersion = 1;
        const bool read = ValueS2C(slotVersion, std::string("curslotversion"), 0,
                                   std::string("slotversion"), 0) != 0;
        m_slotFlag11 = !(read && slotVersion == 0);
        WriteString(m_slotFlag11 ? "// SlotFlagVer=1.1 \n" : "// SlotFlagVer=1.0 \n");
        // The version line goes out as it is, not through the encoding.
        m_writer->WriteBytes(
            NMVersionLine(context.headerEmsVersion ? *context.headerEmsVersion
                                                   : qxp::OrinGetServerVersionName()),
            context);
        const unsigned long version = context.headerVersion
                                          ? *context.headerVersion
                                          : ConfiguredScriptVersion(context.version);
        const std::string versionLine = "//{{script_version=" + VersionText(version) + "}}\n";
        WriteString(versionLine.c_str());
        WriteScriptExporterInfo(scriptType, qxp::OrinGetUserName(userId).c_str());
    }
    ChooseSlotType();
    return true;
}

bool TScriptFileImpl::OpenForWriteNoHead(const char* directory, const char* fileName, bool mode) {
    if (fileName == nullptr) return false;
    std::string path;
    if (!BuildPath(directory, fileName, path)) return false;
    CloseStream();
    m_openMode = OpenMode::kWrite;
    // Both modes create or truncate: the header is the caller's business.
    (void)mode;
    const qxp::Status opened = m_writer->Open(Env(), path, qxp::WriteMode::kTruncate);
    if (!opened.ok()) {
        Failed(opened.code(), opened.message());
        qxp::QXTrace(qxp::kTraceError, "Open Script File for write error!filename:%s, lasterr:%d\n",
                     path.c_str(), opened.code());
        return false;
    }
    return true;
}

void TScriptFileImpl::WriteNMVersion(FILE* stream) {
    if (stream == nullptr) return;
    const std::string line = NMVersionLine(qxp::OrinGetServerVersionName());
    std::fwrite(line.data(), 1, line.size(), stream);
}

bool TScriptFileImpl::WriteScriptExporterInfo(unsigned int scriptType, const char* userName) {
    const char* title = ScriptTypeTitle(scriptType);
    if (title == nullptr) {
        qxp::QXTrace(qxp::kTraceError,
                     "Input Unknown ScriptType in TScriptFileImpl::WriteScriptExporterInfo, "
                     "eScriptType is %u\n",
                     scriptType);
        return false;
    }
    const qxp::QXTime local = qxp::QXUTC2LOCAL(qxp::QXGetSystemTime());
    std::string block = "// ";
    block += title;
    block += "\n// " + qxp::QXFormatTime(local, "%Y-%m-%d %H:%M:%S") + " Created by " +
             (userName ? userName : "") + "\n";
    block += "// encoding=\"" + m_context->encoding + "\"\n\n";
    return WriteString(block.c_str());
}

bool TScriptFileImpl::WriteStandaloneHeader(FILE* stream, const char* title, int userId,
                                            const char* encoding) {
    if (stream == nullptr) return false;
    const std::string header = StandaloneHeader(title, userId, encoding);
    return std::fwrite(header.data(), 1, header.size(), stream) == header.size();
}

bool TScriptFileImpl::OpenForAppend(const char* directory, const char* targetName,
                                    const char* newName) {
    if (targetName == nullptr || newName == nullptr) return false;
    const std::string dir = directory ? directory : "";
    const std::string pathA = dir.empty() ? std::string(newName) : dir + "/" + newName;
    const std::string pathB = dir.empty() ? std::string(targetName) : dir + "/" + targetName;
    CloseStream();
    m_fileName = newName;
    m_directory = dir;
    m_openMode = OpenMode::kWrite;

    FILE* const out = qxp::OrinFileOpen(pathA.c_str(), "a", "UTF-8");
    if (out == nullptr) {
        qxp::QXTrace(qxp::kTraceError, "Open Script File for write error!filename:%s, lasterr:%d\n",
                     pathA.c_str(), qxp::OrinGetLastError());
        return false;
    }
    FILE* target = qxp::OrinFileOpen(pathB.c_str(), "r", "UTF-8");
    if (target == nullptr) {
        qxp::QXTrace(qxp::kTraceError, "Open Script File for read error!filename:%s, lasterr:%d\n",
                     pathB.c_str(), qxp::OrinGetLastError());
        qxp::OrinFileClose(out);
        return false;
    }
    // Whole 254-byte chunks, zero-padded: the end of the target is only noticed after a read,
    // so a target whose size is a multiple of 254 gains one chunk of zeros. Kept as it is.
    bool copied = true;
    char chunk[255];
    while (!std::feof(target)) {
        std::memset(chunk, 0, sizeof chunk);
        std::fread(chunk, 1, 254, target);
        if (std::ferror(target) || std::fwrite(chunk, 1, 254, out) != 254) {
            copied = false;
            break;
        }
    }
    bool ok = true;
    if (qxp::OrinFileClose(target) != 0) {
        qxp::QXTrace(qxp::kTraceError, "Close Script File fails!filename:%s, lasterr:%d\n",
                     pathB.c_str(), qxp::OrinGetLastError());
        ok = false;
    }
    if (qxp::OrinFileClose(out) != 0) {
        qxp::QXTrace(qxp::kTraceError, "Close Script File fails!filename:%s, lasterr:%d\n",
                     pathA.c_str(), qxp::OrinGetLastError());
        ok = false;
    }
    // The target goes only once its whole content stands in the new file.
    if (!ok || !copied) {
        if (!copied) {
            qxp::QXTrace(qxp::kTraceError, "Write Script File fails!filename:%s, lasterr:%d\n",
                         pathA.c_str(), qxp::OrinGetLastError());
        }
        return false;
    }
    if (!qxp::OrinFileDelete(pathB.c_str(), "UTF-8")) {
        qxp::QXTrace(qxp::kTraceError, "Delete Script File fails!filename:%s, lasterr:%d\n",
                     pathB.c_str(), qxp::OrinGetLastError());
        return false;
    }
    if (!qxp::OrinFileRename(pathA.c_str(), pathB.c_str(), "UTF-8")) {
        qxp::QXTrace(qxp::kTraceError, "rename Script File fails!filename:%s, lasterr:%d\n",
                     pathA.c_str(), qxp::OrinGetLastError());
        return false;
    }
    return true;
}

bool TScriptFileImpl::WriteString(const char* text) {
    if (!Writing()) return false;
    if (text == nullptr || text[0] == '\0') return true;
    return WriteText(text);
}

bool TScriptFileImpl::WriteText(const std::string& text) {
    if (!Writing()) return false;
    if (m_writer->WriteText(text, *m_context)) return true;
    Failed(m_writer->status().code(), m_writer->status().message());
    return false;
}

void TScriptFileImpl::WriteAnnotationCommand(const char* text) {
    if (text == nullptr) return;
    if (!WriteString(text)) SetThreadWriteError();
}

bool TScriptFileImpl::WriteParaList(const std::vector<MMLParaStruct>& paras,
                                    unsigned long& column) {
    CommandLayout& layout = ThreadLayout();
    layout.Clear();
    std::size_t col = column;
    layout.AppendParaList(paras, col);
    column = col;
    if (!Writing() || !m_writer->WriteLayout(layout, *m_context)) {
        if (!m_writer->status().ok())
            Failed(m_writer->status().code(), m_writer->status().message());
        SetThreadWriteError();
        return false;
    }
    return true;
}

bool TScriptFileImpl::WriteCommand(TScriptCmd& cmd) {
    const ScriptContext& context = *m_context;
    if (context.slotConvertWanted) ConvertSlots(cmd);
    if (cmd.GetSize() == 0) return true;
    CommandLayout& layout = ThreadLayout();
    layout.Render(cmd);
    // A reader takes the text up to its ";" with line breaks read as blanks, so what it
    // measures is the written text less the line breaks that close it.
    const std::string_view text = layout.View();
    const std::size_t readBack = text.find_last_not_of("\n ") + 1;
    if (readBack > kMaxCommandText) {
        qxp::QXTrace(qxp::kTraceError, "WriteCommand failed, command longer than %zu bytes.\n",
                     kMaxCommandText);
        if (context.sink != nullptr) {
            TScriptDiagnostic d;
            d.severity = TScriptDiagnostic::kError;
            d.line = m_writer->OutputLine();
            d.reason = "command is " + std::to_string(readBack) +
                       " bytes once written, longer than the " + std::to_string(kMaxCommandText) +
                       " bytes a reader accepts";
            context.sink->Report(d);
        }
        SetThreadWriteError();
        return false;
    }
    if (!Writing() || !m_writer->WriteLayout(layout, context)) {
        if (!m_writer->status().ok())
            Failed(m_writer->status().code(), m_writer->status().message());
        SetThreadWriteError();
        return false;
    }
    return true;
}

std::unique_ptr<TScriptFileImpl> OpenFileForRead(const char* directory, const char* fileName,
                                                 unsigned int scriptType) {
    std::unique_ptr<TScriptFileImpl> file(new TScriptFileImpl(scriptType));
    if (!file->OpenForRead(scriptType, directory, fileName)) return nullptr;
    file->GoToFirstCommand();
    return file;
}

std::unique_ptr<TScriptFileImpl> OpenFileForWrite(const char* directory, const char* fileName,
                                                  const char* title, int userId) {
    if (fileName == nullptr) return nullptr;
    std::unique_ptr<TScriptFileImpl> file(new TScriptFileImpl(kStandaloneScript));
    if (!file->OpenForWriteNoHead(directory, fileName, true)) return nullptr;
    const std::string header = StandaloneHeader(title, userId, file->GetEncoding().c_str());
    ScriptWriter& writer = *file->m_writer;
    // The header is one write that either all reaches the file or fails the open.
    if (!writer.WriteBytes(header, *file->m_context) || !writer.status().ok()) return nullptr;
    writer.SetOutputLine(9);  // the header takes eight lines, the last two empty
    return file;
}

}  // namespace NSQX_script
