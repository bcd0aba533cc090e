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
class Env;
}

namespace NSQX_script {

class ScriptReader;
class ScriptWriter;
struct ScriptContext;
struct CommandList;

// A script file opened for reading or for writing. Reading streams: the object holds at most
// the next command, so memory stays flat whatever the file's size. Owns its reader and writer
// and the files they hold open; the environment and the diagnostic sink are the caller's. Has
// no lock: an object is confined to one thread.
class QX_API TScriptFileImpl : public ScriptFile, public TScriptStream {
  public:
    // The command filter, when given, is copied.
    explicit TScriptFileImpl(unsigned int scriptType,
                             const std::vector<unsigned long>* cmdFilter = nullptr);
    // A copy takes the commands and settings, with its cursor on its first command, but not
    // the open file: files are not shared.
    TScriptFileImpl(const TScriptFileImpl& other);
    TScriptFileImpl& operator=(const TScriptFileImpl& other);
    // Closes the file; a failure to write it is dropped (call Close to learn of it).
    ~TScriptFileImpl() override;

    // The environment through which files are opened, read and written (not owned; it must
    // outlive the object's open files). nullptr, the default, is the process's
    // qxp::Env::Default(). Set it before opening; a copy uses the same environment.
    void SetEnv(qxp::Env* env) { m_env = env; }
    // Flushes and closes the open file. False when something written since the file was opened
    // did not reach it (a short write, a full disk, a failed close): the thread's error code is
    // then kScriptErrWriteFailed and LastError() says why. Closing again gives the same answer
    // until the object opens a file anew; true when it has written nothing.
    bool Close();
    // Why the last open, write or close failed ("out.txt: No space left on device"); empty
    // until one fails.
    const std::string& LastError() const { return m_lastError; }

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
    unsigned long GetVersion() override;
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
    const std::string& GetEncoding() const;
    // Chooses the encoding of text written from now on ("UTF-8", "GBK" or "ISO8859-1"); a file
    // object otherwise writes in the configured encoding. False, changing nothing, for another
    // name. Call it before OpenForWrite so that the header names it.
    bool SetEncoding(const char* encoding);
    // The script version that OpenForWrite's header names, instead of the configured one
    // ("currentscriptversion"), so that a rewritten script keeps its input's version whatever
    // other files of the process say. Call it before OpenForWrite.
    void SetHeaderVersion(unsigned long version);
    // The text of the header's "// EMS version = " line, instead of the host's server version
    // name ("unknown" when empty). False, changing nothing, for null or a text with a
    // newline, which would end the line early. Call it before OpenForWrite.
    bool SetHeaderEmsVersion(const char* name);

    // Where the object reports what it finds (not owned; nullptr for none; a copy of the object
    // reports to the same sink). Called from the thread that reads or writes. Set it before
    // opening: positions count from where the object was when the sink was set.
    // Reading: each command that does not parse is reported as a kError at the file line and
    // column of the byte where parsing stopped, with the parser's reason; it is still recorded
    // among the failed commands as without a sink. A quoted text that runs over a line break
    // into a command that then fails is reported as "unterminated quote", and a block comment
    // that runs to the end of the file as "unterminated comment" (the failure of the command it
    // cuts short when that does not parse; else recorded as a failed command at its line with
    // or without a sink), at the line and column of the opening quote or "/*".
    // A command that a post-analyse hook rejects is "command rejected after parsing" at its
    // start. A value that reads differently from how it is written (an integer narrowed to 32
    // bits, a backward range) is a kWarning at the value's position. With a sink, commands are
    // parsed with AnalyseOneCommandDetailed, which prints nothing to standard output; positions
    // are worked out only for a command that failed or carries a note. Without a sink nothing
    // of this runs. Texts given to PostAndAnalyseOneCommand are reported at their line only.
    // Writing: WriteCommand reports a command that a reader would refuse for its length as a
    // kError at the output line where it would have started, column 0.
    void SetDiagnosticSink(TScriptDiagnosticSink* sink);

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
    enum class OpenMode { kRead, kWrite };

    // Owns a part whose type only the library sees, and copies it with the object; its
    // operations are instantiated in the library, where the type is complete.
    template <class T>
    class Part {
      public:
        Part() : p_(new T) {}
        Part(const Part& other) : p_(new T(*other.p_)) {}
        Part& operator=(const Part& other) {
            *p_ = *other.p_;
            return *this;
        }
        ~Part() = default;
        T& operator*() { return *p_; }
        const T& operator*() const { return *p_; }
        T* operator->() { return p_.get(); }
        const T* operator->() const { return p_.get(); }

      private:
        std::unique_ptr<T> p_;
    };

    bool BuildPath(const char* directory, const char* fileName, std::string& path);
    qxp::Env& Env() const;
    // Remembers why an open, a write or a close failed, for LastError() and OrinGetLastError().
    void Failed(int code, const std::string& message);
    // Reads the header from the first block of the file, which stays buffered.
    void ReadHeader();
    // Takes the encoding and slot flags from a header, with the reader's fallback rules.
    void TakeHeader(const TScriptHeader& header, const std::string& head, bool& isSlotFlag11,
                    bool& hasSlotFlag);
    // Takes the slot conversion type from the header just read, and hands it to the store
    // for the hosts that read the type of the script opened last.
    void ChooseSlotType();
    void ConvertSlots(TScriptCmd& cmd) const;
    // Analyses a text into the command list; records a failure in results.
    void AnalyseInto(const std::string& text, unsigned long line,
                     std::vector<TScriptResult>& results, bool gathered);
    // Records a block comment that ran to the end of the file, once.
    void RecordOpenComment(std::vector<TScriptResult>& results);
    void RecordFailure(unsigned long lineNo, std::vector<TScriptResult>& results);
    unsigned long LoadAll(const std::list<CStdString>* names, std::vector<TScriptResult>& results);
    // Closes without a word, as reopening and destruction do.
    void CloseStream();
    // Converts UTF-8 text into the file's encoding and writes it; false on a short write.
    bool WriteText(const std::string& text);
    // Opened for writing, with the file still open.
    bool Writing() const;

    friend std::unique_ptr<TScriptFileImpl> OpenFileForWrite(const char*, const char*, const char*,
                                                             int);

    Part<ScriptContext> m_context;  // encoding, version, slot rule, NE, sink
    unsigned int m_scriptType;
    Part<CommandList> m_commands;
    unsigned long m_cmdCount = 0;
    std::string m_fileName;
    std::string m_directory;
    OpenMode m_openMode = OpenMode::kRead;
    bool m_preConfigState = false;
    unsigned long m_currentLine = 0;
    bool m_slotFlag11 = false;
    bool m_hasSlotFlag = false;
    bool m_checked = false;
    std::vector<unsigned long> m_cmdFilter;
    bool m_allInList = true;
    std::vector<TScriptResult> m_errorResults;
    qxp::Env* m_env = nullptr;
    std::string m_lastError;
    Part<ScriptReader> m_reader;
    Part<ScriptWriter> m_writer;
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
