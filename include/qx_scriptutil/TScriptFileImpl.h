#pragma once

#include <cstdint>
#include <cstdio>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "qx_scriptutil/ScriptDiagnostic.h"
#include "qx_scriptutil/ScriptFile.h"
#include "qx_scriptutil/ScriptHeader.h"
#include "qx_scriptutil/ScriptResult.h"
#include "qx_scriptutil/TScriptCmd.h"

namespace qxp {
class OrinFile;
}

namespace NSQX_script {

struct ScriptReadBuffer;
struct TParseResult;

// A script file opened for reading or for writing. Reading streams: the object holds at most
// the next command, so memory stays flat whatever the file's size. Owns its platform file
// object and stream. Has no lock: an object is confined to one thread.
class QX_API TScriptFileImpl : public ScriptFile, public TScriptStream {
  public:
    // The command filter, when given, is copied.
    explicit TScriptFileImpl(unsigned int scriptType,
                             const std::vector<unsigned long>* cmdFilter = nullptr);
    TScriptFileImpl(const TScriptFileImpl& other);
    TScriptFileImpl& operator=(const TScriptFileImpl& other);
    ~TScriptFileImpl() override;

    // ScriptFile
    bool GoToFirstCommand() override;
    bool GetOneCommand(TScriptCmd& cmd) override;
    // False, writing nothing, for a command whose written text would be longer than the
    // 131071 bytes a reader accepts ("WriteCommand failed, command longer than 131071 bytes."
    // traced); that and a failed write set the thread's error code to kScriptErrWriteFailed.
    bool WriteCommand(TScriptCmd& cmd) override;
    void WriteAnnotationCommand(const char* text) override;
    // Accepted for script types 6 and 8 only.
    bool SetCurrNEID(unsigned long neId) override;
    unsigned int GetScriptType() override { return m_scriptType; }
    bool SetPreConfitState(bool state) override;
    unsigned long GetVersion() override { return m_scriptVersion; }
    // The current command's code, after checking that there is a current command and that its
    // code is registered in the command name map; false otherwise (the code is then unchanged).
    bool GetCmdCodeOfCurrCmdAndCheck(unsigned long& cmdCode) override;
    bool GetCmdCodeOfCurrCmd(unsigned long& cmdCode) override;
    void SendDescription(const char* text) override;
    const std::string& GetScriptFileName() override { return m_fileName; }
    unsigned long GetCurrentLineNO() override { return m_currentLine; }
    const std::string& GetScriptDirectory() override { return m_directory; }
    // One byte of the stream; false without a stream or at its end.
    bool GetNextChar(char& c) override;

    bool GetPerConfigState() const { return m_preConfigState; }
    const std::string& GetEncoding() const { return m_encoding; }
    // Chooses the encoding of text written from now on ("UTF-8", "GBK" or "ISO8859-1"); a file
    // object otherwise writes in the configured encoding. False, changing nothing, for another
    // name. Call it before OpenForWrite so that the header names it.
    bool SetEncoding(const char* encoding);

    // Where the object reports what it finds (not owned; nullptr for none; a copy of the object
    // reports to the same sink). Called from the thread that reads or writes. Set it before
    // opening: positions count from where the object was when the sink was set.
    // Reading: each command that does not parse is reported as a kError at the file line and
    // column of the byte where parsing stopped, with the parser's reason; it is still recorded
    // among the failed commands as without a sink. A quoted text that runs over a line break
    // into a command that then fails is reported as "unterminated quote", and a block comment
    // that runs to the end of the file as "unterminated comment" (recorded as a failed command
    // at its line with or without a sink), at the line and column of the opening quote or "/*".
    // A command that a post-analyse hook rejects is "command rejected after parsing" at its
    // start. A value that reads differently from how it is written (an integer narrowed to 32
    // bits, a backward range) is a kWarning at the value's position. With a sink, commands are
    // parsed with AnalyseOneCommandDetailed, which prints nothing to standard output; positions
    // are worked out only for a command that failed or carries a note. Without a sink nothing
    // of this runs. Texts given to PostAndAnalyseOneCommand are reported at their line only.
    // Writing: WriteCommand reports a command that a reader would refuse for its length as a
    // kError at the output line where it would have started, column 0.
    void SetDiagnosticSink(TScriptDiagnosticSink* sink) { m_diagnostics = sink; }

    // Reading
    bool OpenForRead(unsigned int scriptType, const char* directory, const char* fileName);
    // Back to the first command. False without a stream, and for a pipe or FIFO once reading
    // has moved past its first block (traced; nothing changes then).
    bool FileToBegin();
    bool LoadNextCommandFromFile();
    bool RepeatGetOneCommand(TScriptCmd& cmd);
    bool PushOneCommand(TScriptCmd cmd);
    unsigned long GetCmdCount();
    // Reads the encoding and the slot flag from the first 1024 bytes of an open stream.
    bool GetScriptPara(FILE* stream, bool& isSlotFlag11, bool& hasSlotFlag);

    // Whole-file analysis
    void PostAndAnalyseOneCommand(CStdString text, int lineNo, std::vector<TScriptResult>& results);
    unsigned long GetAllCommands(std::vector<TScriptResult>& results);
    unsigned long GetMatchCommands(const std::list<CStdString>& names,
                                   std::vector<TScriptResult>& results);
    std::vector<TScriptResult> GetCmdAnalyzedResult() const { return m_errorResults; }

    // Writing
    bool OpenForWrite(unsigned int scriptType, const char* directory, const char* fileName,
                      int userId, bool withHeader);
    bool OpenForWriteNoHead(const char* directory, const char* fileName, bool mode);
    bool OpenForWriteNoHead(const char* directory, const char* fileName) {
        return OpenForWriteNoHead(directory, fileName, true);
    }
    bool OpenForAppend(const char* directory, const char* targetName, const char* newName);
    bool WriteString(const char* text);
    bool WriteParaList(const std::vector<MMLParaStruct>& paras, unsigned long& column);
    static void WriteNMVersion(FILE* stream);
    bool WriteScriptExporterInfo(unsigned int scriptType, const char* userName);
    // The second header form (stand-alone writer) to any stream; false on a short write.
    static bool WriteStandaloneHeader(FILE* stream, const char* title, int userId,
                                      const char* encoding);

    // The NE ID carried by a file name ("PREFIX_NEID_..."), or 0.
    static unsigned long GetNEIDFromFileName(const char* fileName);

  private:
    bool BuildPath(const char* directory, const char* fileName, std::string& path);
    // Reads the header from the first block of the file, which stays buffered.
    void ReadHeader();
    void ReadHeaderFlags(const std::string& head, bool& isSlotFlag11, bool& hasSlotFlag);
    void ReadScriptVersion(const std::string& head);
    // Takes the slot conversion type from the header just read, and hands it to the store
    // for the hosts that read the type of the script opened last.
    void ChooseSlotType();
    void ConvertSlots(TScriptCmd& cmd) const;
    // Parses a command text into the read buffer's spare command; false when the command is
    // not handed out (failed is then set for a text that did not parse or was rejected).
    // gathered: the text is the one the gatherer has just read, so positions can be told.
    bool AnalyseText(const std::string& text, unsigned long lineNo, bool& failed, bool gathered);
    void AnalyseInto(const std::string& text, unsigned long line,
                     std::vector<TScriptResult>& results, bool gathered);
    void ReportCommand(const std::string& text, unsigned long lineNo, const TParseResult& result,
                       bool rejected, bool gathered);
    // Records a block comment that ran to the end of the file, once.
    void RecordOpenComment(std::vector<TScriptResult>& results);
    void BeginSpan();
    void AddToDeviceMap(const MMLCmdStruct& cmd);
    void RecordFailure(unsigned long lineNo, std::vector<TScriptResult>& results);
    unsigned long LoadAll(const std::list<CStdString>* names, std::vector<TScriptResult>& results);
    // Gathers the next command text into the read buffer's text; the line it ended on, or 0 at
    // the end of the file or of the commands.
    unsigned long GatherCommandText();
    bool GatherStep(char c);
    void CloseStream();
    // Converts UTF-8 text into the file's encoding and writes it; false on a short write.
    bool WriteText(const std::string& text);
    // Counts the lines of text written, for diagnostics of the writer.
    void CountOutputLines(std::string_view text);

    friend std::unique_ptr<TScriptFileImpl> OpenFileForWrite(const char*, const char*, const char*,
                                                             int);

    int m_gatherState = 0;
    int m_lineNo = 1;
    std::string m_encoding;
    unsigned int m_scriptType;
    std::list<TScriptCmd> m_cmdList;
    unsigned long m_cmdCount = 0;
    std::list<TScriptCmd>::iterator m_currCmd;
    FILE* m_stream = nullptr;  // owned through m_file, or directly when opened for append
    std::string m_fileName;
    std::string m_directory;
    int m_openMode = 0;  // 0 read, 1 write
    unsigned long m_scriptVersion = kDefaultScriptVersion;
    unsigned long m_currNEID = 0;
    bool m_preConfigState = false;
    unsigned long m_currentLine = 0;
    bool m_slotFlag11 = false;
    bool m_hasSlotFlag = false;
    bool m_slotConvertWanted = false;
    // The slot conversion type this file's header chose when it was opened; until then (-1)
    // the store's process-wide type.
    std::int32_t m_slotType = -1;
    bool m_checked = false;
    std::vector<unsigned long> m_cmdFilter;
    std::unique_ptr<qxp::OrinFile> m_file;
    bool m_allInList = true;
    std::vector<TScriptResult> m_errorResults;

    TScriptDiagnosticSink* m_diagnostics = nullptr;
    unsigned long m_outputLine = 1;  // line that the next written text starts on (with a sink)
    std::unique_ptr<ScriptReadBuffer> m_reader;  // buffered input, reusable parse state
};

// Opens an existing script for reading: the file object, or nullptr when it cannot be opened.
QX_API std::unique_ptr<TScriptFileImpl> OpenFileForRead(const char* directory, const char* fileName,
                                                        unsigned int scriptType = 1);
// Creates a stand-alone script (type 8) and writes its header in one block; nullptr when the
// name is null, the open fails or the header cannot be written whole.
QX_API std::unique_ptr<TScriptFileImpl> OpenFileForWrite(const char* directory,
                                                         const char* fileName, const char* title,
                                                         int userId);

// The directory under which scripts are kept (registry "TRANS"/"script_path", by default
// "./hosted_public/script"), created when missing.
QX_API std::string GetScriptRootDirectory();

}  // namespace NSQX_script
