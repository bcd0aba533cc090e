#pragma once

// A worked example of an import/export plug-in. It serves two commands of NE configuration
// scripts:
//
//   :cfg-add-vlan:{vlanid=10&&12,name="office"};   one or more VLANs with an optional name
//   :cfg-set-portdesc:{port=3,desc="uplink"};      the description of one port
//
// and keeps the configuration they describe in memory, standing in for the element's data.
// Import reads a script and fills that configuration; export writes it back as commands.
//
// How a plug-in is put together:
//  1. one conversion function per command and direction (ScriptIEFunc): one command in, any
//     number of normalised commands out, 0 on success;
//  2. a static registration table naming, per row, the command code, the function ID that
//     tells import from export, the script type, the command name and the function; a row
//     with command code 0 ends it;
//  3. a class deriving from ScriptRegeisterIF that registers the table with the registry and
//     implements the hooks the platform's import and export tasks call.

#include <bitset>
#include <map>
#include <string>
#include <vector>

#include "qx_scriptutil/ScriptFile.h"
#include "qx_scriptutil/ScriptRegistry.h"

namespace example_plugin {

using NSQX_script::QXSingleReturn;
using NSQX_script::ScriptFile;
using NSQX_script::ScriptIERegItem;
using NSQX_script::TScriptCmd;

constexpr unsigned long kCmdAddVlan = 0x5001;
constexpr unsigned long kCmdSetPortDesc = 0x5002;
constexpr unsigned long kFuncImport = 1;
constexpr unsigned long kFuncExport = 2;
constexpr int kScriptTypeNe = 1;  // NE configuration data script

// Results of the conversion functions.
constexpr unsigned long kConvertOk = 0;
constexpr unsigned long kConvertMissingPara = 1;
constexpr unsigned long kConvertBadValue = 2;

// Import: one command per VLAN of the vlanid list (ranges included), each with the name.
unsigned long ImportAddVlan(TScriptCmd const& cmd, std::vector<TScriptCmd>& out);
// Export: one VLAN; a missing name becomes "VLAN_<id>".
unsigned long ExportAddVlan(TScriptCmd const& cmd, std::vector<TScriptCmd>& out);
// Both directions: port and desc are required; the command is passed on normalised.
unsigned long ImportSetPortDesc(TScriptCmd const& cmd, std::vector<TScriptCmd>& out);
unsigned long ExportSetPortDesc(TScriptCmd const& cmd, std::vector<TScriptCmd>& out);

// The registration table: import and export for both commands.
extern const ScriptIERegItem kRegTable[];

// The plug-in object. Registers itself in Register() and withdraws in Unregister() or on
// destruction; owns its in-memory configuration. Confined to the task thread that calls its
// hooks (registration happens before any task runs).
class ExampleVlanPlugin : public NSQX_script::ScriptRegeisterIF {
  public:
    ExampleVlanPlugin();
    ~ExampleVlanPlugin() override;
    ExampleVlanPlugin(const ExampleVlanPlugin&) = delete;
    ExampleVlanPlugin& operator=(const ExampleVlanPlugin&) = delete;

    const char* GetPluginName() const override { return "example-vlan"; }

    void Register();
    void Unregister();

    using ScriptRegeisterIF::ExportFunc;
    using ScriptRegeisterIF::ImportFunc;

    // Option bit 0 set: replace the configuration instead of merging into it.
    void PreImport(std::bitset<16> options, std::vector<unsigned long> const& ids) override;
    // Reads every command of the file; the commands of other plug-ins are skipped. Failed
    // commands go to the thread's error manager with the file name and line; the code is the
    // number of failed commands.
    QXSingleReturn ImportFunc(unsigned long neId, unsigned long unused, ScriptFile& file) override;
    // Writes the configuration; code 0, the thread's error code when a write failed, or
    // kConvertBadValue when a stored entry could not be converted.
    QXSingleReturn ExportFunc(unsigned long neId, unsigned long unused, ScriptFile& file) override;
    // Port descriptions may be set on an unconfigured element; VLANs may not.
    bool IsIFSupportUnconfigedState(unsigned long cmdId) override {
        return cmdId == kCmdSetPortDesc;
    }

    std::map<int, std::string> m_vlans;      // VLAN ID to name
    std::map<int, std::string> m_portDescs;  // port to description

  private:
    bool Apply(const TScriptCmd& cmd);

    bool m_registered = false;
};

}  // namespace example_plugin
