#pragma once

#include <memory>
#include <string>
#include <vector>

#include "file/NotCopied.h"
#include "file/ScriptContext.h"
#include "file/ScriptReadBuffer.h"
#include "qx_platform/Env.h"
#include "qx_scriptutil/TScriptCmd.h"

namespace NSQX_script {

struct TParseResult;

// The reading half of a script file object: the open file, read through a buffer, the command
// gatherer that turns its bytes into command texts, and the analysis that turns a text into a
// command. Knows nothing of the file object's cursor; what it needs of the file (encoding, slot
// rule, diagnostic sink) comes with each call. A copy starts without a file and with a buffer
// of its own. Confined to one thread.
class ScriptReader {
  public:
    enum class Outcome {
        kCommand,  // Command() holds it
        kSkipped,  // parsed, but unknown or filtered out
        kFailed,   // did not parse, or a post-analyse hook rejected it
    };

    // Opens path and reads its first block, which stays buffered: a pipe can be read from its
    // start once more until reading moves past that block.
    qxp::Status Open(qxp::Env& env, const std::string& path);
    void Close();
    bool IsOpen() const { return m_file.get() != nullptr; }
    // The first 1024 bytes of the file, up to the first NUL.
    std::string Head() const;

    // One byte; false without a file or at its end.
    bool GetNextChar(char& c);
    // Back to the first byte; false without a file, and for a pipe read past its first block.
    bool Rewind(const std::string& fileName);
    // Gathers the next command text (Text()); the line it ended on, or 0 at the end of the file
    // or of the commands.
    unsigned long GatherCommandText(const ScriptContext& context);
    const std::string& Text() const { return m_buffer.get().text; }
    // Gathering stopped at the end of the commands: the next text starts in plain text.
    void EndOfCommands() { m_gatherState = 0; }

    // Parses text into Command(). gathered: the text is the one just gathered, so positions
    // can be told. Learns the devices a "cfg-nepara" declares, which may make slot conversion
    // wanted in context.
    Outcome Analyse(const std::string& text, unsigned long lineNo, bool gathered,
                    ScriptContext& context, const std::vector<unsigned long>& filter);
    // The command of the last kCommand: to be moved out before the next analysis.
    TScriptCmd& Command() { return m_buffer.get().spare; }
    // The name the last analysis parsed.
    const std::string& ParsedName() const { return m_buffer.get().parsed.cmdName; }
    // Takes back the storage of a command that is dropped, for the next parse.
    void Recycle(std::vector<MMLParaStruct>& paras) { m_buffer.get().parsed.paraList.swap(paras); }
    // The line of a block comment that ran to the end of the file, once (reported to the sink);
    // 0 when there is none, or when the comment cut short a text that failed to parse.
    unsigned long TakeOpenComment(const ScriptContext& context);

  private:
    bool GatherStep(char c);
    void BeginSpan(const ScriptContext& context);
    void Report(const std::string& text, unsigned long lineNo, const TParseResult& result,
                bool rejected, bool gathered, const ScriptContext& context);

    NotCopied<std::unique_ptr<qxp::ReadableFile>> m_file;
    NotCopied<ScriptReadBuffer> m_buffer;
    int m_gatherState = 0;
    int m_lineNo = 1;
};

}  // namespace NSQX_script
