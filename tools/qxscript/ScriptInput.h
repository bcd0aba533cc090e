#pragma once

#include <string>
#include <vector>

#include "qx_scriptutil/ScriptHeader.h"

namespace qxscript {

// A script named on the command line, made readable for the library's reader, which reads a
// regular file by path and seeks in it. "-" (standard input), FIFOs, character devices and
// process substitutions are first copied whole into a temporary file. With an encoding given
// by the user, the reader is told it through a block comment put before line 1 (so no line
// number changes; only columns of line 1 move, which Shift() gives back).
//
// Also reads the header as the reader does (ReadScriptHeader): the encoding the first 1024 bytes
// declare, the title, the comment lines, and those that mention an encoding in a form the
// reader does not take (which would make it read the file in its fallback encoding). Owns its
// temporary file, which is removed on destruction and on SIGINT or SIGTERM; confined to the
// thread that opened it.
class ScriptInput {
  public:
    ScriptInput() = default;
    ~ScriptInput();
    ScriptInput(const ScriptInput&) = delete;
    ScriptInput& operator=(const ScriptInput&) = delete;

    // encoding: "UTF-8", "GBK", "ISO8859-1", or empty for what the header says. False with
    // the cause in error when the file cannot be read, or when the header declares another
    // encoding than the one given.
    bool Open(const std::string& arg, const std::string& encoding, std::string& error);

    // The name for messages: the argument, or "<stdin>" for "-".
    const std::string& Name() const { return m_name; }
    // The regular file the library reads.
    const std::string& Path() const { return m_path; }
    // Bytes put before line 1 of Path() that the script does not have.
    std::size_t Shift() const { return m_shift; }
    // The encoding given with Open(), or empty.
    const std::string& GivenEncoding() const { return m_given; }
    // The encoding the reader takes from the header, or empty when none is declared.
    const std::string& DeclaredEncoding() const { return m_header.encoding; }
    // What the header says; its unrecognisedEncodingLines hold whole lines as in the file.
    const NSQX_script::TScriptHeader& Header() const { return m_header; }
    // The header's lines as they stand in the file (without line ends), one for each of
    // Header().lines.
    const std::vector<std::string>& HeaderText() const { return m_headerText; }

  private:
    bool Spool(int fd, const std::string& head, std::string& error);
    void KeepHeaderText(const std::string& head);

    std::string m_name;
    std::string m_path;
    std::string m_temp;
    std::size_t m_shift = 0;
    std::string m_given;
    NSQX_script::TScriptHeader m_header;
    std::vector<std::string> m_headerText;
};

}  // namespace qxscript
