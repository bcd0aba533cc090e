#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Findings.h"
#include "ScriptInput.h"
#include "qx_scriptutil/TScriptFileImpl.h"

namespace qxscript {

// One script read through the library's reader, a command at a time, with the progress bar
// fed on the way, and what the reader and the tool found in it. Owns its file object and the
// log its reader reports into; does not own the input, which must outlive it. Confined to one
// thread; holds a NameLock slot while the reader may look names up.
class ScriptSource {
  public:
    // Opens the input; false with the cause in error when it cannot be read.
    bool Open(const ScriptInput& input, std::string& error);

    // Hands every command that the reader yields to visit, in file order; visit returns false
    // to stop early. Returns the number of commands handed out.
    unsigned long ForEach(const std::function<bool(NSQX_script::TScriptCmd&)>& visit);

    // Lines of the commands that could not be parsed, in reading order (after ForEach).
    std::vector<unsigned long> FailedLines() const;
    // Everything found, in line order (after ForEach): what the reader reported, the lines
    // whose bytes are not valid in the encoding (at most maxInvalid of them) and the header's
    // encoding when it is a guess.
    std::vector<Finding> Findings(std::size_t maxInvalid) const;
    // The encoding the header declares (or the one the reader assumed).
    const std::string& Encoding() const { return m_file->GetEncoding(); }
    // The script type named by a title line of the header, or 0 when none is recognised.
    unsigned int HeaderScriptType() const;
    // What the header says.
    const NSQX_script::TScriptHeader& Header() const { return m_input->Header(); }
    const std::vector<std::string>& HeaderText() const { return m_input->HeaderText(); }
    // What the header's "// EMS version = " line names, or empty.
    std::string HeaderEmsVersion() const;
    // The script version the reader derived from the header.
    unsigned long Version() const { return m_file->GetVersion(); }
    // The name for messages.
    const std::string& Name() const { return m_input->Name(); }

  private:
    std::vector<Finding> HeaderFindings() const;

    const ScriptInput* m_input = nullptr;
    std::unique_ptr<FindingLog> m_log;
    std::unique_ptr<NSQX_script::TScriptFileImpl> m_file;
};

// The lines of a file whose bytes are not valid in the encoding (at most limit of them).
std::vector<unsigned long> InvalidLines(const std::string& path, const std::string& encoding,
                                        std::size_t limit);
// The texts of the given lines, converted to UTF-8 where possible (else as they are), from the
// file at path whose first shift bytes are not the script's. A line with nothing on it gives
// the last line before it that has something.
std::map<unsigned long, std::string> LineTexts(const std::string& path, std::size_t shift,
                                               const std::string& encoding,
                                               const std::vector<unsigned long>& lines);
// The name registered for a command code, or "#CODE".
std::string CommandName(unsigned long code);

}  // namespace qxscript
