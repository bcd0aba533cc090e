#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "qx_scriptutil/TScriptCmd.h"

namespace NSQX_script {

// Longest command text the parser accepts.
constexpr std::size_t kMaxCommandText = 131071;

// Buffered input of a script file and the command gatherer's working memory, reused from one
// command to the next, and the buffer of the stream of a file being written. Belongs to one
// TScriptFileImpl.
struct ScriptReadBuffer {
    static constexpr std::size_t kSize = 64 * 1024;
    // Written text reaches the kernel in blocks of this size.
    static constexpr std::size_t kWriteSize = 64 * 1024;

    std::unique_ptr<char[]> data{new char[kSize]};
    std::size_t pos = 0;
    std::size_t end = 0;
    int marker = 0;          // characters of the board-information marker matched so far
    bool boardInfo = false;  // the marker was seen: nothing after it is a command
    bool capped = false;     // the text reached the parser's limit; later bytes are not kept
    bool overlong = false;   // the trimmed text is known to exceed the parser's limit
    std::string raw;         // the gathered bytes, in the file's encoding; when writing, scratch
    std::string text;        // the text converted to UTF-8; when writing, the converted text
    MMLCmdStruct parsed;     // the parse target
    TScriptCmd spare;        // a handed-out command whose storage the next one reuses
    // The write stream's buffer; it outlives the stream, which is closed before this goes.
    std::unique_ptr<char[]> out;

    // Refills from the stream; false at its end or on a read error.
    bool Fill(FILE* stream) {
        pos = 0;
        end = stream ? std::fread(data.get(), 1, kSize, stream) : 0;
        return end != 0;
    }
    void Reset() {
        pos = end = 0;
        marker = 0;
        boardInfo = false;
    }
};

}  // namespace NSQX_script
