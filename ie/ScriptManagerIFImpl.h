#pragma once

#include <map>
#include <string>

#include "qx_scriptutil/ScriptRegistry.h"

namespace NSQX_script {

// The registry behind ScriptManagerIF::Instance(): one static object, built at library load.
// Owns its map, not the plug-ins. No lock (see ScriptManagerIF).
class ScriptManagerIFImpl final : public ScriptManagerIF {
  public:
    void RegisterInterface(unsigned long cmdId, char const* cmdName, unsigned long funcId,
                           int scriptType, ScriptRegeisterIF* plugin, ScriptIEFunc func) override;
    void RegisterInterfaces(ScriptIERegItem const* table, ScriptRegeisterIF* plugin) override;
    void UnRegisterInterfaces(ScriptIERegItem const* table) override;
    void GetRegisterIFs(int scriptType, std::map<unsigned long, ScriptRegeisterIF*>& out) override;
    int DumpInterfaces(std::string& out) override;

    // The entry for a key, or null.
    const ScriptIEInterface* Find(const CmdIndex& key) const;
    const std::map<CmdIndex, ScriptIEInterface>& Entries() const { return m_IFMap; }
    // Drops every entry without touching the command name map (a fresh start for a host that
    // reloads its plug-ins, and for tests).
    void Clear() { m_IFMap.clear(); }

  private:
    std::map<CmdIndex, ScriptIEInterface> m_IFMap;
};

}  // namespace NSQX_script
