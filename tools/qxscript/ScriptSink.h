#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Findings.h"
#include "SafeOutput.h"
#include "qx_scriptutil/TScriptFileImpl.h"

namespace qxscript {

// What a fresh header names in place of the process's configuration; each field left empty
// keeps the configured value, so sinks on several threads can write different headers.
struct HeaderFields {
    std::string encoding;  // also the encoding of the commands
    std::optional<unsigned long> version;
    std::string emsVersion;
};

// A script written through the library's writer: a fresh header for the script type in the
// encoding the configuration names (or the one fields names), then the commands. The file
// replaces its target only when Finish() succeeds. Owns its writer and the log the writer
// reports into; confined to one thread.
class ScriptSink {
  public:
    enum Result {
        kWritten,
        kRefused,  // the writer will not write this command (it could not be read back)
        kFailed,   // the output cannot be written
    };

    // header: lines to write as the header instead of a fresh one (UTF-8, without line ends).
    bool Open(const std::string& target, unsigned int scriptType, std::string& error,
              const std::vector<std::string>* header = nullptr,
              const HeaderFields& fields = HeaderFields());
    // Writes a command read from the script named source (its texts are quoted again where
    // needed); error says why when it is not written.
    Result Write(NSQX_script::TScriptCmd& cmd, const std::string& source, std::string& error);
    bool Finish(std::string& error);

  private:
    SafeOutput m_output;
    FindingLog m_log;
    std::unique_ptr<NSQX_script::TScriptFileImpl> m_file;
};

}  // namespace qxscript
