// Writing script files: opening, the two header forms, the string writer and the body.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "cmd/CommandLayout.h"
#include "file/ScriptReader.h"
#include "qx_platform/CodeSet.h"
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

bool IsAscii(std::string_view text) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text.data());
    const unsigned char* const end = p + text.size();
    std::uint64_t bits = 0;
    for (; end - p >= 8; p += 8) {
        std::uint64_t word;
        std::memcpy(&word, p, 8);
        bits |= word;
    }
    for (; p < end; ++p) bits |= *p;
    return (bits & 0x8080808080808080ull) == 0;
}

// Converts UTF-8 text into the file's encoding and writes it with one write; false on a short
// write. ASCII reads the same in all three encodings and is written as it is.
bool WriteEncoded(FILE* stream, const std::string& encoding, std::string_view text, bool ascii,
                  ScriptReadBuffer& work) {
    std::string_view bytes = text;
    if (!ascii) {
        std::string& in = work.raw;
        std::string& out = work.text;
        in.assign(text.data(), text.size());
        bytes = in;
        if (qxp::OrinCodeSetConvert("UTF-8", encoding.c_str(), in, out)) {
            bytes = out;
        } else {
            // The other single-byte encoding is tried before writing the text unconverted;
            // the header still names the file's own encoding.
            const char* second =
                encoding == "GBK" ? "ISO8859-1" : (encoding == "ISO8859-1" ? "GBK" : "");
            if (qxp::OrinCodeSetConvert("UTF-8", second, in, out)) {
                bytes = out;
            } else {
                qxp::QXTrace(
                    qxp::kTraceError,
                    "Script export write string failed! It will write originally str. %s to %s",
                    in.c_str(), encoding.c_str());
            }
        }
    }
    return std::fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size();
}

// Writes a rendered command or parameter list; false on a short write or without a stream.
bool WriteRendered(FILE* stream, int openMode, const std::string& encoding,
                   const CommandLayout& layout, ScriptReadBuffer& work) {
    if (stream == nullptr || openMode != 1) return false;
    const std::string_view text = layout.View();
    if (text.empty()) return true;
    return WriteEncoded(stream, encoding, text, layout.IsAscii(), work);
}

void SetThreadWriteError() {
    QXScriptErrMgr::Instance()->m_errorCode = kScriptErrWriteFailed;
}

// One layout buffer per thread, reused from command to command.
CommandLayout& ThreadLayout() {
    thread_local CommandLayout layout(kScriptFileLayout);
    return layout;
}

}  // namespace

bool TScriptFileImpl::SetEncoding(const char* encoding) {
    if (encoding == nullptr) return false;
    const std::string name = encoding;
    if (name != "UTF-8" && name != "GBK" && name != "ISO8859-1") return false;
    m_encoding = name;
    return true;
}

bool TScriptFileImpl::OpenForWrite(unsigned int scriptType, const char* directory,
                                   const char* fileName, int userId, bool withHeader) {
    if (fileName == nullptr) return false;
    m_currNEID = GetNEIDFromFileName(fileName);
    m_slotConvertWanted =
        m_currNEID == 0 || QXConvertDataStorage::Instance()->IsNEINDEVMap(m_currNEID);

    if (!OpenForWriteNoHead(directory, fileName, withHeader)) return false;
    m_hasSlotFlag = true;
    if (withHeader) {
        long slotVersion = 1;
        const bool read = ValueS2C(slotVersion, std::string("curslotversion"), 0,
                                   std::string("slotversion"), 0) != 0;
        m_slotFlag11 = !(read && slotVersion == 0);
        WriteString(m_slotFlag11 ? "// SlotFlagVer=1.1 \n" : "// SlotFlagVer=1.0 \n");
        WriteNMVersion(m_stream);
        ++m_outputLine;
        const std::string versionLine =
            "//{{script_version=" + VersionText(ConfiguredScriptVersion(m_scriptVersion)) + "}}\n";
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
    if (!m_file) m_file.reset(new qxp::OrinFile);
    m_openMode = 1;
    m_outputLine = 1;
    m_file->Open(path.c_str(), mode ? qxp::kOrinWriteWithHeader : qxp::kOrinWriteNoHeader);
    m_stream = m_file->GetStream();
    if (m_stream == nullptr) {
        qxp::QXTrace(qxp::kTraceError, "Open Script File for write error!filename:%s, lasterr:%d\n",
                     path.c_str(), qxp::OrinGetLastError());
        return false;
    }
    // glibc ignores the size asked for unless it is given the buffer too.
    if (!m_reader->out) m_reader->out.reset(new char[ScriptReadBuffer::kWriteSize]);
    std::setvbuf(m_stream, m_reader->out.get(), _IOFBF, ScriptReadBuffer::kWriteSize);
    return true;
}

void TScriptFileImpl::WriteNMVersion(FILE* stream) {
    if (stream == nullptr) return;
    const std::string name = qxp::OrinGetServerVersionName();
    std::fprintf(stream, "// EMS version = %s\n", name.empty() ? "unknown" : name.c_str());
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
    block += "// encoding=\"" + m_encoding + "\"\n\n";
    return WriteString(block.c_str());
}

bool TScriptFileImpl::WriteStandaloneHeader(FILE* stream, const char* title, int userId,
                                            const char* encoding) {
    if (stream == nullptr) return false;
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
    m_openMode = 1;

    m_stream = qxp::OrinFileOpen(pathA.c_str(), "a", "UTF-8");
    if (m_stream == nullptr) {
        qxp::QXTrace(qxp::kTraceError, "Open Script File for write error!filename:%s, lasterr:%d\n",
                     pathA.c_str(), qxp::OrinGetLastError());
        return false;
    }
    FILE* target = qxp::OrinFileOpen(pathB.c_str(), "r", "UTF-8");
    if (target == nullptr) {
        qxp::QXTrace(qxp::kTraceError, "Open Script File for read error!filename:%s, lasterr:%d\n",
                     pathB.c_str(), qxp::OrinGetLastError());
        // The new file was opened here, not through the platform file object: close it here.
        qxp::OrinFileClose(m_stream);
        m_stream = nullptr;
        return false;
    }
    // Whole 254-byte chunks, zero-padded: the end of the target is only noticed after a read,
    // so a target whose size is a multiple of 254 gains one chunk of zeros. Kept as it is.
    bool copied = true;
    char chunk[255];
    while (!std::feof(target)) {
        std::memset(chunk, 0, sizeof chunk);
        std::fread(chunk, 1, 254, target);
        if (std::ferror(target) || std::fwrite(chunk, 1, 254, m_stream) != 254) {
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
    FILE* stream = m_stream;
    m_stream = nullptr;
    if (qxp::OrinFileClose(stream) != 0) {
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
    if (m_stream == nullptr || m_openMode != 1) return false;
    if (text == nullptr || text[0] == '\0') return true;
    return WriteText(std::string(text));
}

bool TScriptFileImpl::WriteText(const std::string& text) {
    if (m_stream == nullptr || m_openMode != 1) return false;
    if (text.empty()) return true;
    if (!WriteEncoded(m_stream, m_encoding, text, IsAscii(text), *m_reader)) return false;
    if (m_diagnostics != nullptr) CountOutputLines(text);
    return true;
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
    if (!WriteRendered(m_stream, m_openMode, m_encoding, layout, *m_reader)) {
        SetThreadWriteError();
        return false;
    }
    if (m_diagnostics != nullptr) CountOutputLines(layout.View());
    return true;
}

bool TScriptFileImpl::WriteCommand(TScriptCmd& cmd) {
    if (m_slotConvertWanted) ConvertSlots(cmd);
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
        if (m_diagnostics != nullptr) {
            TScriptDiagnostic d;
            d.severity = TScriptDiagnostic::kError;
            d.line = m_outputLine;
            d.reason = "command is " + std::to_string(readBack) +
                       " bytes once written, longer than the " + std::to_string(kMaxCommandText) +
                       " bytes a reader accepts";
            m_diagnostics->Report(d);
        }
        SetThreadWriteError();
        return false;
    }
    if (!WriteRendered(m_stream, m_openMode, m_encoding, layout, *m_reader)) {
        SetThreadWriteError();
        return false;
    }
    if (m_diagnostics != nullptr) CountOutputLines(text);
    return true;
}

void TScriptFileImpl::CountOutputLines(std::string_view text) {
    m_outputLine += static_cast<unsigned long>(std::count(text.begin(), text.end(), '\n'));
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
    if (!TScriptFileImpl::WriteStandaloneHeader(file->m_stream, title, userId,
                                                file->GetEncoding().c_str())) {
        return nullptr;
    }
    file->m_outputLine = 9;  // the header takes eight lines, the last two empty
    return file;
}

}  // namespace NSQX_script
