#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "file/NotCopied.h"
#include "file/ScriptContext.h"
#include "qx_platform/Env.h"

namespace NSQX_script {

class CommandLayout;

// The writing half of a script file object: the open file, written through the environment's
// buffered WritableFile, and the conversion of UTF-8 text into the file's encoding. What it
// needs of the file (encoding, diagnostic sink) comes with each call. The first failure sticks:
// later writes fail too and Close reports it, so a caller that checks only Close still learns
// that the file is not whole. A copy starts without a file. Confined to one thread.
class ScriptWriter {
  public:
    qxp::Status Open(qxp::Env& env, const std::string& path, qxp::WriteMode mode);
    bool IsOpen() const { return m_file.get() != nullptr; }
    // Converts UTF-8 text into the context's encoding and appends it; false on a failed write
    // or without a file. ASCII reads the same in all three encodings and is written as it is.
    bool WriteText(std::string_view text, const ScriptContext& context);
    // WriteText for the layout's text, which tells what it holds beyond ASCII.
    bool WriteLayout(CommandLayout& layout, const ScriptContext& context);
    // Appends bytes as they are.
    bool WriteBytes(std::string_view bytes, const ScriptContext& context);
    // Flushes and closes; the first failure of the file's life, or of the close. Without a
    // file, what the last one ended with.
    qxp::Status Close();
    // The first failure since the file was opened (ok when none).
    const qxp::Status& status() const { return m_status; }

    // The line that the next written text starts on (counted while a sink listens).
    unsigned long OutputLine() const { return m_outputLine; }
    void SetOutputLine(unsigned long line) { m_outputLine = line; }

  private:
    bool Append(std::string_view bytes);
    // WriteText for a text known to hold bytes outside ASCII.
    bool WriteEncoded(std::string_view text, const ScriptContext& context);

    NotCopied<std::unique_ptr<qxp::WritableFile>> m_file;
    qxp::Status m_status;
    unsigned long m_outputLine = 1;
    // Conversion scratch, reused from text to text.
    NotCopied<std::string> m_in;
    NotCopied<std::string> m_out;
};

}  // namespace NSQX_script
