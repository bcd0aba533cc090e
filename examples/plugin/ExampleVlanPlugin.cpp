#include "ExampleVlanPlugin.h"

#include <string>

#include "qx_scriptutil/QXScriptErrMgr.h"

namespace example_plugin {

using NSQX_script::CStdString;
using NSQX_script::QXScriptErrMgr;
using NSQX_script::ScriptIEFunc;
using NSQX_script::ScriptManagerIF;

const ScriptIERegItem kRegTable[] = {
    {kCmdAddVlan, kFuncImport, kScriptTypeNe, "cfg-add-vlan", ImportAddVlan},
    {kCmdAddVlan, kFuncExport, kScriptTypeNe, "cfg-add-vlan", ExportAddVlan},
    {kCmdSetPortDesc, kFuncImport, kScriptTypeNe, "cfg-set-portdesc", ImportSetPortDesc},
    {kCmdSetPortDesc, kFuncExport, kScriptTypeNe, "cfg-set-portdesc", ExportSetPortDesc},
    {0, 0, 0, nullptr, nullptr},
};

namespace {

constexpr int kMaxVlan = 4094;

bool ValidVlan(int id) {
    return id >= 1 && id <= kMaxVlan;
}

// Where a built command goes: the plug-in's own model reads it back in memory, a script file
// gets it written.
enum class Form { kModel, kScript };

// Adds a text as one string value. The writer puts values out as they stand, so for a script
// the text goes inside quotes, where the library escapes it: unquoted it would come back
// lower-cased, and with "," or "&" in it would not parse at all. In memory it is escaped as it
// is, and reading it back unescapes it.
void AddText(TScriptCmd& cmd, const char* name, const std::string& text, Form form) {
    if (form == Form::kScript) {
        cmd.AddPara(name, ('"' + text + '"').c_str(), false, false);
    } else {
        cmd.AddPara(name, text.c_str(), true, false);
    }
}

TScriptCmd MakeVlan(int id, const std::string& name, Form form) {
    TScriptCmd cmd(kCmdAddVlan);
    cmd.AddPara("vlanid", id, false, false, false);
    AddText(cmd, "name", name, form);
    return cmd;
}

TScriptCmd MakePortDesc(int port, const std::string& desc, Form form) {
    TScriptCmd cmd(kCmdSetPortDesc);
    cmd.AddPara("port", port, false, false, false);
    AddText(cmd, "desc", desc, form);
    return cmd;
}

ScriptIEFunc FindFunc(unsigned long cmdId, unsigned long funcId) {
    for (const ScriptIERegItem* row = kRegTable; row->cmdId != 0; ++row) {
        if (row->cmdId == cmdId && row->funcId == funcId) return row->func;
    }
    return nullptr;
}

}  // namespace

unsigned long ImportAddVlan(TScriptCmd const& cmd, std::vector<TScriptCmd>& out) {
    // The typed reads are not const: they work on a copy.
    TScriptCmd work(cmd);
    std::vector<int> ids;
    if (!work.GetPara("vlanid", ids, 0, false) || ids.empty()) return kConvertMissingPara;
    CStdString name;
    work.GetPara("name", name, false);  // optional
    for (int id : ids) {
        if (!ValidVlan(id)) return kConvertBadValue;
    }
    for (int id : ids) out.push_back(MakeVlan(id, name, Form::kModel));
    return kConvertOk;
}

unsigned long ExportAddVlan(TScriptCmd const& cmd, std::vector<TScriptCmd>& out) {
    TScriptCmd work(cmd);
    int id = 0;
    if (!work.GetPara("vlanid", id, false)) return kConvertMissingPara;
    if (!ValidVlan(id)) return kConvertBadValue;
    CStdString name;
    if (!work.GetPara("name", name, false) || name.empty()) {
        name = "VLAN_" + std::to_string(id);
    }
    out.push_back(MakeVlan(id, name, Form::kScript));
    return kConvertOk;
}

namespace {

unsigned long ConvertPortDesc(TScriptCmd const& cmd, Form form, std::vector<TScriptCmd>& out) {
    TScriptCmd work(cmd);
    int port = 0;
    CStdString desc;
    if (!work.GetPara("port", port, false) || !work.GetPara("desc", desc, false)) {
        return kConvertMissingPara;
    }
    if (port < 0) return kConvertBadValue;
    out.push_back(MakePortDesc(port, desc, form));
    return kConvertOk;
}

}  // namespace

unsigned long ImportSetPortDesc(TScriptCmd const& cmd, std::vector<TScriptCmd>& out) {
    return ConvertPortDesc(cmd, Form::kModel, out);
}

unsigned long ExportSetPortDesc(TScriptCmd const& cmd, std::vector<TScriptCmd>& out) {
    return ConvertPortDesc(cmd, Form::kScript, out);
}

ExampleVlanPlugin::ExampleVlanPlugin() {
    setScriptType(kScriptTypeNe);
}

ExampleVlanPlugin::~ExampleVlanPlugin() {
    Unregister();
}

void ExampleVlanPlugin::Register() {
    if (m_registered) return;
    ScriptManagerIF::Instance()->RegisterInterfaces(kRegTable, this);
    m_registered = true;
}

void ExampleVlanPlugin::Unregister() {
    if (!m_registered) return;
    ScriptManagerIF::Instance()->UnRegisterInterfaces(kRegTable);
    m_registered = false;
}

void ExampleVlanPlugin::PreImport(std::bitset<16> options, std::vector<unsigned long> const&) {
    if (options.test(0)) {
        m_vlans.clear();
        m_portDescs.clear();
    }
}

bool ExampleVlanPlugin::Apply(const TScriptCmd& converted) {
    TScriptCmd cmd(converted);
    int key = 0;
    CStdString text;
    if (cmd.GetCmdCode() == kCmdAddVlan) {
        if (!cmd.GetPara("vlanid", key, false) || !cmd.GetPara("name", text, false)) return false;
        m_vlans[key] = text;
        return true;
    }
    if (cmd.GetCmdCode() == kCmdSetPortDesc) {
        if (!cmd.GetPara("port", key, false) || !cmd.GetPara("desc", text, false)) return false;
        m_portDescs[key] = text;
        return true;
    }
    return false;
}

QXSingleReturn ExampleVlanPlugin::ImportFunc(unsigned long, unsigned long, ScriptFile& file) {
    QXSingleReturn result;
    QXScriptErrMgr* errors = QXScriptErrMgr::Instance();
    TScriptCmd cmd;
    std::vector<TScriptCmd> converted;
    unsigned long failed = 0;
    file.GoToFirstCommand();
    while (file.GetOneCommand(cmd)) {
        ScriptIEFunc func = FindFunc(cmd.GetCmdCode(), kFuncImport);
        if (func == nullptr) continue;  // another plug-in's command
        converted.clear();
        unsigned long code = func(cmd, converted);
        for (const TScriptCmd& one : converted) {
            if (code == kConvertOk && !Apply(one)) code = kConvertBadValue;
        }
        if (code != kConvertOk) {
            ++failed;
            errors->AppendScriptResult(file.GetScriptFileName(), static_cast<int>(code),
                                       cmd.GetLineNo(), "example-vlan: command not imported");
        }
    }
    result.code = failed;
    return result;
}

QXSingleReturn ExampleVlanPlugin::ExportFunc(unsigned long, unsigned long, ScriptFile& file) {
    QXSingleReturn result;
    std::vector<TScriptCmd> converted;
    bool writeFailed = false;
    bool convertFailed = false;
    auto write = [&](const TScriptCmd& source, ScriptIEFunc func) {
        converted.clear();
        if (func(source, converted) != kConvertOk) {
            convertFailed = true;
            return;
        }
        for (TScriptCmd& one : converted) {
            if (!file.WriteCommand(one)) writeFailed = true;
        }
    };
    for (const auto& [id, name] : m_vlans) write(MakeVlan(id, name, Form::kModel), ExportAddVlan);
    for (const auto& [port, desc] : m_portDescs) {
        write(MakePortDesc(port, desc, Form::kModel), ExportSetPortDesc);
    }
    if (writeFailed) {
        // The writer leaves its reason in the thread's error manager.
        const unsigned long code = QXScriptErrMgr::Instance()->m_errorCode;
        result.code = code != 0 ? code : NSQX_script::kScriptErrWriteFailed;
    } else if (convertFailed) {
        result.code = kConvertBadValue;
    }
    return result;
}

}  // namespace example_plugin
