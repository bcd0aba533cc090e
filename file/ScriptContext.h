#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "qx_scriptutil/ScriptDiagnostic.h"
#include "qx_scriptutil/ScriptHeader.h"

namespace NSQX_script {

// What one script file object knows about its file and hands down to its reader and writer
// with each call, instead of leaving it in process-wide or task-wide places. Owned by the file
// object; a plain value.
struct ScriptContext {
    // "UTF-8", "GBK" or "ISO8859-1": the header's when read, the configured one when written.
    std::string encoding;
    unsigned long version = kDefaultScriptVersion;
    // What a header written for this file names instead of the process's configuration (the
    // configured script version, the host's server version name); unset: the configured one.
    std::optional<unsigned long> headerVersion;
    std::optional<std::string> headerEmsVersion;
    // The slot conversion type the file's header chose when it was opened; until then (-1)
    // the store's process-wide type.
    std::int32_t slotType = -1;
    bool slotConvertWanted = false;
    unsigned long neId = 0;
    TScriptDiagnosticSink* sink = nullptr;  // not owned
};

}  // namespace NSQX_script
