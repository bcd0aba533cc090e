#pragma once

#include <string>

#include "qx_scriptutil/Export.h"

namespace NSQX_script {

// The configuration files the library reads or writes.
enum class ScriptConfigFile {
    // The enumeration table "script_enum.xml" that QXScriptEnumMgr::Init(nullptr) loads, in the
    // package folder "cbb/trans/core/conf/xml/script" (or
    // "rtsp/InvUnitedmgr/cbb/trans/core/conf/xml/script") of the application root.
    kEnumTable,
    // The slot table "cbb/trans/core/conf/xml/script/xml_script/slotcovert_cmd_cfg.xml" under
    // the application root, read by QXConvertDataStorage::Init.
    kSlotTable,
    // "slotconvert_cmd_desc.txt" in the folder of the slot table, whichever file that is.
    kSlotNETypes,
    // The converted-command log "script/ConvertSlotResult.txt" under the application root.
    kSlotLog,
};

// Where the library finds a configuration file now: the place a host named for it with
// SetScriptConfigPath, or else its place under the host's application root (computed on each
// call, so a changed root counts at once).
QX_API std::string ScriptConfigPath(ScriptConfigFile file);

// Names the file to use instead of the default place; an empty path restores the default.
// Meant for a host that keeps its configuration elsewhere, before its tasks start; the names
// are process-wide, guarded by one internal mutex, so any thread may read them.
QX_API void SetScriptConfigPath(ScriptConfigFile file, const std::string& path);

// Why a configuration file could not be taken up. A value type.
struct QX_API ScriptConfigError {
    std::string file;          // as the caller named it
    unsigned long line = 0;    // 1-based line where the XML reader stopped; 0 for the whole file
    unsigned long column = 0;  // 1-based column on that line; 0 when unknown
    std::string reason;        // for example "mismatched tag" or "No such file or directory"

    // "file:line:column: reason", leaving out a line or column that is 0.
    std::string Text() const;
};

}  // namespace NSQX_script
