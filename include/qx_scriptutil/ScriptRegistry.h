#pragma once

#include <map>
#include <string>
#include <vector>

#include "qx_scriptutil/Export.h"
#include "qx_scriptutil/ScriptRegeisterIF.h"
#include "qx_scriptutil/TScriptCmd.h"

namespace NSQX_script {

// The registry key; a value type. Ordered by script type, then command ID, then function ID.
struct QX_API CmdIndex {
    unsigned long m_cmdId = 0;
    unsigned long m_funcId = 0;
    unsigned int m_scriptType = 0;

    CmdIndex() = default;
    CmdIndex(unsigned long cmdId, unsigned long funcId, int scriptType)
        : m_cmdId(cmdId), m_funcId(funcId), m_scriptType(static_cast<unsigned int>(scriptType)) {}

    bool operator<(const CmdIndex& other) const;
    bool operator==(const CmdIndex& other) const;
};

// A per-command conversion: one command in, any number of commands out; 0 on success.
using ScriptIEFunc = unsigned long (*)(TScriptCmd const& cmd, std::vector<TScriptCmd>& out);

// The registry value: the plug-in (not owned) and its conversion function for one key. A
// value type, guarded by whoever holds it (the registry takes no lock).
struct QX_API ScriptIEInterface {
    ScriptRegeisterIF* m_pPlugin = nullptr;
    ScriptIEFunc m_pFunc = nullptr;

    ScriptIEInterface() = default;
    ScriptIEInterface(ScriptRegeisterIF* plugin, ScriptIEFunc func)
        : m_pPlugin(plugin), m_pFunc(func) {}

    ScriptRegeisterIF* operator->() const { return m_pPlugin; }
};

// One row of a plug-in's registration table, written as a static array; a row with command
// ID 0 ends the table. The name (may be null) feeds the command name map. The table and the
// name texts belong to the plug-in; the registry copies what it keeps.
struct ScriptIERegItem {
    unsigned long cmdId;
    unsigned long funcId;
    int scriptType;
    char const* cmdName;
    ScriptIEFunc func;
};

// The process-wide registry of import/export functions. The object lives from library load to
// unload; Instance() never fails. It takes no lock: plug-ins register while they initialise,
// before import or export tasks run, and registration must not overlap lookups. It refers to
// plug-ins without owning them.
class QX_API ScriptManagerIF {
  public:
    static ScriptManagerIF* Instance();

    // Registers one item (a table of one row).
    virtual void RegisterInterface(unsigned long cmdId, char const* cmdName, unsigned long funcId,
                                   int scriptType, ScriptRegeisterIF* plugin,
                                   ScriptIEFunc func) = 0;
    // Registers every row up to the end row; a key registered again is replaced silently.
    virtual void RegisterInterfaces(ScriptIERegItem const* table, ScriptRegeisterIF* plugin) = 0;
    // Withdraws every row; a command's name leaves the name map with its last entry.
    virtual void UnRegisterInterfaces(ScriptIERegItem const* table) = 0;
    // For one script type: command ID to the plug-in serving it (the greatest function ID wins).
    virtual void GetRegisterIFs(int scriptType,
                                std::map<unsigned long, ScriptRegeisterIF*>& out) = 0;
    // One line per entry in key order; returns 0.
    virtual int DumpInterfaces(std::string& out) = 0;

  protected:
    // Never deleted through this interface.
    ~ScriptManagerIF() = default;
};

}  // namespace NSQX_script
