#pragma once

#include <map>
#include <string>
#include <vector>

#include "qx_scriptutil/TScriptCmd.h"

namespace NSQX_script {

// Reads what decides which NEs take part in slot conversion. Static members only, no state.
//
// Supported NE types: the text file "slotconvert_cmd_desc.txt" beside "slotcovert_cmd_cfg.xml".
// Lines end in LF or CRLF; blank lines and lines whose first non-blank characters are "#" or
// "//" are comments; every other line is "key = value" with blanks around key and value
// ignored, and lines without "=" are ignored too. The first line with the key
// "cfg-convertnetype" counts: its value is a list of decimal NE types separated by "&"
// ("1&12 & 40"). An item that is not an unsigned decimal number is traced with its file and
// line and skipped; a type given twice is kept once, in first-seen order.
//
// Device map: built from "cfg-nepara" commands, each giving an NE ID in its "neid" parameter
// (read as qxp::QXStr2NEID does: "a-b", decimal or "0x" hexadecimal, double quotes around it
// allowed) and the NE's device value in its "device" parameter (an unsigned decimal number,
// quotes allowed). Both must hold exactly one value. A command with a missing or unreadable
// neid or device, or with NE ID 0, adds nothing and is traced with its script line; a later
// command for the same NE replaces the earlier value. Other commands are passed over. The
// script reader adds the entry of every "cfg-nepara" command it parses to the current task's
// device map as it reads (QXConvertDataStorage::AddDevMapEntry), so that the commands after
// it convert their slots when the script's own NE is among them.
class QX_API ScriptDataMgr {
  public:
    // The types from the file beside the configured XML file. False when the file cannot be
    // read or has no "cfg-convertnetype" line; types is then empty.
    static bool GetSupportNEType(std::vector<unsigned long>& types);
    static bool ReadSupportNEType(const std::string& path, std::vector<unsigned long>& types);
    // The path of "slotconvert_cmd_desc.txt" beside the slot table (see ScriptConfigPath).
    static std::string SupportNETypePath();

    // Adds the entry of one command when it is a "cfg-nepara" command; true when it added one.
    static bool AddDevMapEntry(const MMLCmdStruct& cmd,
                               std::map<unsigned long, unsigned long>& devMap);
    // The same for a record, whose name comes from the command name map.
    static bool AddDevMapEntry(const TScriptCmdRef& cmd,
                               std::map<unsigned long, unsigned long>& devMap);
    static void BuildDevMap(const std::vector<MMLCmdStruct>& cmds,
                            std::map<unsigned long, unsigned long>& devMap);
    static void BuildDevMap(const std::vector<TScriptCmd>& cmds,
                            std::map<unsigned long, unsigned long>& devMap);
};

// The static data of slot conversion for one import or export run. Construction loads the
// slot configuration (QXConvertDataStorage::Init), stores the operation type and the
// supported NE types in the store and, for operation type 0, clears the ONE language flag.
// The script location names the scripts of the run; the reader gives their commands to
// LoadDevMap, which installs the device map for the current task's kind. Holds only its own
// two values; the store it fills is the process-wide singleton with its own locks.
class QX_API QXScriptStaticDataMgr {
  public:
    QXScriptStaticDataMgr(std::string scriptLocation, int operType);

    const std::string& GetScriptLocation() const { return m_scriptLocation; }
    int GetOperType() const { return m_operType; }

    // Builds the device map from the commands and stores it for the current task.
    void LoadDevMap(const std::vector<MMLCmdStruct>& cmds);
    void LoadDevMap(const std::vector<TScriptCmd>& cmds);

  private:
    std::string m_scriptLocation;
    int m_operType;
};

}  // namespace NSQX_script
