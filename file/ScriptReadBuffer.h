#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "file/CommandLocator.h"
#include "qx_platform/Env.h"
#include "qx_scriptutil/ScriptDiagnostic.h"
#include "qx_scriptutil/TScriptCmd.h"

namespace NSQX_script {

// Longest command text the parser accepts.
constexpr std::size_t kMaxCommandText = 131071;

// The bytes of the command being gathered, in the file's encoding. Room for the longest text
// the gatherer keeps is allocated once, so that appending is a store without a check for room
// or a call, and a run is copied through data() sixteen bytes at a time: the gatherer never
// keeps more than kMaxCommandText + 1 bytes, nor writes past them.
class GatheredBytes {
  public:
    static constexpr std::size_t kCapacity = kMaxCommandText + 1;

    bool empty() const noexcept { return size_ == 0; }
    std::size_t size() const noexcept { return size_; }
    char* data() noexcept { return data_.get(); }
    const char* data() const noexcept { return data_.get(); }
    void clear() noexcept { size_ = 0; }
    // Takes the bytes written through data() up to n (at most kCapacity) as the content.
    void resize(std::size_t n) noexcept { size_ = n; }
    void push_back(char c) noexcept { data_[size_++] = c; }

  private:
    std::unique_ptr<char[]> data_{new char[kCapacity]};
    std::size_t size_ = 0;
};

// Buffered input of a script file and the command gatherer's working memory, reused from one
// command to the next. Belongs to one ScriptReader.
struct ScriptReadBuffer {
    static constexpr std::size_t kSize = 64 * 1024;

    std::unique_ptr<char[]> data{new char[kSize]};
    std::size_t pos = 0;
    std::size_t end = 0;
    // data[0, end) is the file's first block: a rewind needs no seek, so a pipe can be read
    // from its start once more until the reader moves past that block.
    bool holdsStart = false;
    int marker = 0;          // characters of the board-information marker matched so far
    bool boardInfo = false;  // the marker was seen: nothing after it is a command
    bool capped = false;     // the text reached the parser's limit; later bytes are not kept
    bool overlong = false;   // the trimmed text is known to exceed the parser's limit
    bool high = false;       // a byte above 0x7F may be in the text: it is checked as UTF-8
    GatheredBytes gathered;  // the command's bytes as they are gathered
    std::string text;        // the text, trimmed and converted to UTF-8
    MMLCmdStruct parsed;     // the parse target
    TScriptCmd spare;        // a handed-out command whose storage the next one reuses
    // Kept only while a diagnostic sink listens: the file bytes of the command being gathered.
    SourceSpan span;
    std::size_t spanFrom = 0;  // data[spanFrom, pos) is not in the span yet
    // A block comment ran to the end of the file: it is recorded once, at the line of its "/*"
    // (and reported as comment when a sink listens), unless the text it cut short fails to
    // parse, whose failure it then is.
    bool openComment = false;
    unsigned long commentLine = 0;
    TScriptDiagnostic comment;

    // Refills from the file; false at its end or on a read error, keeping what the buffer
    // holds (so that a buffer that holds the whole start of the file can be read again).
    bool Fill(qxp::ReadableFile* file) {
        std::size_t n = 0;
        if (file == nullptr || !file->Read(data.get(), kSize, &n).ok() || n == 0) return false;
        pos = 0;
        end = n;
        holdsStart = false;
        return true;
    }
    void Reset() {
        pos = end = 0;
        holdsStart = false;
        Restart();
    }
    // Forgets what the gatherer learnt of the text read so far.
    void Restart() {
        marker = 0;
        boardInfo = false;
        span.Clear();
        spanFrom = pos;
        openComment = false;
    }
    // Moves data[spanFrom, upto) into the span.
    void KeepSpan(std::size_t upto) {
        span.bytes.append(data.get() + spanFrom, upto - spanFrom);
        spanFrom = upto;
    }
};

}  // namespace NSQX_script
