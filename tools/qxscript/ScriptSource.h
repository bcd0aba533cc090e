#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "qx_scriptutil/TScriptFileImpl.h"

namespace qxscript {

// One script file read through the library's reader, a command at a time, with the progress
// bar fed on the way. Owns its file object; confined to the main thread.
class ScriptSource {
  public:
    // Opens the file; false with the cause in error when it cannot be read.
    bool Open(const std::string& path, std::string& error);

    // Hands every command that the reader yields to visit, in file order; visit returns false
    // to stop early. Returns the number of commands handed out.
    unsigned long ForEach(const std::function<bool(NSQX_script::TScriptCmd&)>& visit);

    // Lines of the commands that could not be parsed, in file order (after ForEach).
    std::vector<unsigned long> FailedLines() const;
    // The encoding the header declares (or the one the reader assumed).
    const std::string& Encoding() const { return m_file->GetEncoding(); }
    // The script type named by a title line of the header, or 0 when none is recognised.
    unsigned int HeaderScriptType() const;
    // What the header's "// EMS version = " line names, or empty.
    std::string HeaderEmsVersion() const;
    // The script version the reader derived from the header.
    unsigned long Version() const { return m_file->GetVersion(); }
    const std::string& Path() const { return m_path; }

  private:
    // The header's comment lines, without "//" and trimmed.
    std::vector<std::string> HeaderLines() const;

    std::string m_path;
    std::unique_ptr<NSQX_script::TScriptFileImpl> m_file;
};

// The lines of a file whose bytes are not valid in the encoding (at most limit of them).
std::vector<unsigned long> InvalidLines(const std::string& path, const std::string& encoding,
                                        std::size_t limit);
// The texts of the given lines, converted to UTF-8 where possible, trimmed and shortened.
std::map<unsigned long, std::string> Excerpts(const std::string& path, const std::string& encoding,
                                              const std::vector<unsigned long>& lines);
// The name registered for a command code, or "#CODE".
std::string CommandName(unsigned long code);

}  // namespace qxscript
