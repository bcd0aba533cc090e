#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/QXScriptErrMgr.h"
#include "qx_scriptutil/TScriptFileImpl.h"
#include "tests/TestFiles.h"
#include "tests/TreeText.h"

// The example plug-in is compiled into this test with the library objects; linking its static
// library would bring in a second copy of the library through the shared one.
#include "examples/plugin/ExampleVlanPlugin.cpp"

using namespace NSQX_script;
using namespace example_plugin;
using tree_text::Para;

namespace {

// Converted commands, one a line, as "vlan:" or "port:" and their parameters.
std::string Shown(const std::vector<TScriptCmd>& cmds) {
    std::string out;
    for (const TScriptCmd& cmd : cmds) {
        out += (cmd.GetCmdCode() == kCmdAddVlan ? "vlan:" : "port:") +
               tree_text::Show(cmd.GetParaList()) + "\n";
    }
    return out;
}

class IePlugin : public ::testing::Test {
  protected:
    void SetUp() override { QXScriptErrMgr::Destroy(); }
    void TearDown() override { QXScriptErrMgr::Destroy(); }
};

}  // namespace

TEST_F(IePlugin, RegistersItsTableAndWithdrawsIt) {
    std::map<unsigned long, ScriptRegeisterIF*> plugins;
    {
        ExampleVlanPlugin plugin;
        plugin.Register();
        plugin.Register();  // once only
        ScriptManagerIF::Instance()->GetRegisterIFs(kScriptTypeNe, plugins);
        EXPECT_EQ(&plugin, plugins[kCmdAddVlan]);
        EXPECT_EQ(&plugin, plugins[kCmdSetPortDesc]);
        EXPECT_EQ(1, plugin.getScriptType());
        unsigned long id = 0;
        ASSERT_TRUE(CmdNameConvert::GetCorrespondCmdID("cfg-add-vlan", id));
        EXPECT_EQ(kCmdAddVlan, id);
        EXPECT_TRUE(plugin.IsIFSupportUnconfigedState(kCmdSetPortDesc));
        EXPECT_FALSE(plugin.IsIFSupportUnconfigedState(kCmdAddVlan));
    }
    // Destruction unregisters every row and the names with the last one.
    ScriptManagerIF::Instance()->GetRegisterIFs(kScriptTypeNe, plugins);
    EXPECT_TRUE(plugins.empty());
    std::string name;
    EXPECT_FALSE(CmdNameConvert::GetCorrespondCmdName(name, kCmdAddVlan));
}

TEST_F(IePlugin, ConversionFunctionsNormaliseAndRejectBadCommands) {
    std::vector<TScriptCmd> out;
    std::vector<MMLParaStruct> paras{Para("vlanid", {10, 11, 12}), Para("name", {"office"})};
    const TScriptCmd vlans(kCmdAddVlan, paras, 0);
    ASSERT_EQ(kConvertOk, ImportAddVlan(vlans, out));
    EXPECT_EQ(
        "vlan:'vlanid'='10','name'='office'\n"
        "vlan:'vlanid'='11','name'='office'\n"
        "vlan:'vlanid'='12','name'='office'\n",
        Shown(out));
    EXPECT_EQ(2u, vlans.GetSize());  // the input is not consumed

    out.clear();
    paras = {Para("vlanid", {7, 5000})};
    EXPECT_EQ(kConvertBadValue, ImportAddVlan(TScriptCmd(kCmdAddVlan, paras, 0), out));
    EXPECT_EQ(kConvertMissingPara, ImportAddVlan(TScriptCmd(kCmdAddVlan), out));
    paras = {Para("port", {3})};
    EXPECT_EQ(kConvertMissingPara, ImportSetPortDesc(TScriptCmd(kCmdSetPortDesc, paras, 0), out));
    EXPECT_TRUE(out.empty());

    paras = {Para("vlanid", {20})};
    ASSERT_EQ(kConvertOk, ExportAddVlan(TScriptCmd(kCmdAddVlan, paras, 0), out));
    paras = {Para("desc", {"a,b&c"}), Para("port", {3})};
    ASSERT_EQ(kConvertOk, ExportSetPortDesc(TScriptCmd(kCmdSetPortDesc, paras, 0), out));
    EXPECT_EQ(
        "vlan:'vlanid'='20','name'='\"VLAN_20\"'\n"
        "port:'port'='3','desc'='\"a,b&c\"'\n",
        Shown(out));
}

// The import flow of a task: open the script, find the plug-in of each command's code through
// the registry, let it import, and collect what failed in the thread's error manager. What the
// plug-in then exports imports again to the same state.
TEST_F(IePlugin, ImportsAScriptFileEndToEndAndExportsItBack) {
    const test_files::TempDir dir("qx_import");
    ASSERT_TRUE(test_files::WriteFile(dir / "NE_0-7_cfg.txt",
                                      "// encoding=\"UTF-8\"\n\n"
                                      ":CFG-ADD-VLAN:{VLANID=10&&12, NAME=\"Office\"};\n"
                                      ":cfg-set-portdesc:{port=3, desc=\"Up, l&x\"};\n"
                                      // no desc: the plug-in reports it
                                      ":cfg-set-portdesc:{port=4};\n"
                                      ":cfg-unknown:{x=1};\n"
                                      // does not parse: the reader reports it
                                      ":cfg-add-vlan:{vlanid=};\n"));
    ExampleVlanPlugin plugin;
    plugin.Register();
    plugin.m_vlans[99] = "stale";  // option 1 of the import starts afresh

    TScriptFileImpl file(kScriptTypeNe);
    ASSERT_TRUE(file.OpenForRead(kScriptTypeNe, dir.path().c_str(), "NE_0-7_cfg.txt"));
    std::map<unsigned long, ScriptRegeisterIF*> plugins;
    ScriptManagerIF::Instance()->GetRegisterIFs(kScriptTypeNe, plugins);
    std::set<ScriptRegeisterIF*> called;
    file.GoToFirstCommand();
    unsigned long code = 0;
    while (file.GetCmdCodeOfCurrCmd(code)) {
        auto it = plugins.find(code);
        ASSERT_NE(plugins.end(), it);
        if (!called.insert(it->second).second) break;
        it->second->PreImport(std::bitset<16>(1), {});
        // Reads every command it knows from here on; the code counts the failures.
        EXPECT_EQ(1ul, it->second->ImportFunc(7, 0, file).code);
    }
    EXPECT_EQ(1u, called.size());
    QXScriptErrMgr::Instance()->AppendScriptResult(file.GetCmdAnalyzedResult());

    EXPECT_EQ((std::map<int, std::string>{{10, "Office"}, {11, "Office"}, {12, "Office"}}),
              plugin.m_vlans);
    EXPECT_EQ((std::map<int, std::string>{{3, "Up, l&x"}}), plugin.m_portDescs);
    const auto& results = QXScriptErrMgr::Instance()->m_scriptResults;
    ASSERT_EQ(2u, results.size());
    EXPECT_EQ("NE_0-7_cfg.txt", results.front().m_text);
    EXPECT_EQ(static_cast<int>(kConvertMissingPara), results.front().m_kind);
    EXPECT_EQ(5ul, results.front().m_value);  // the line of the command
    EXPECT_EQ(7, results.back().m_kind);      // the line of the command that did not parse
    EXPECT_EQ(0x41017307ul, results.back().m_value);

    {
        TScriptFileImpl exported(kScriptTypeNe);
        ASSERT_TRUE(exported.OpenForWriteNoHead(dir.path().c_str(), "export.txt"));
        EXPECT_EQ(0ul, plugin.ExportFunc(7, 0, exported).code);
    }
    EXPECT_EQ(
        ":cfg-add-vlan:{vlanid=10, name=\"Office\"};\n\n"
        ":cfg-add-vlan:{vlanid=11, name=\"Office\"};\n\n"
        ":cfg-add-vlan:{vlanid=12, name=\"Office\"};\n\n"
        ":cfg-set-portdesc:{port=3, desc=\"Up, l&x\"};\n\n",
        test_files::ReadFile(dir / "export.txt"));
    ExampleVlanPlugin again;
    TScriptFileImpl back(kScriptTypeNe);
    ASSERT_TRUE(back.OpenForRead(kScriptTypeNe, dir.path().c_str(), "export.txt"));
    EXPECT_EQ(0ul, again.ImportFunc(7, 0, back).code);
    EXPECT_EQ(plugin.m_vlans, again.m_vlans);
    EXPECT_EQ(plugin.m_portDescs, again.m_portDescs);

    // A file that cannot be written leaves the writer's code, which the export returns.
    TScriptFileImpl unopened(kScriptTypeNe);
    EXPECT_EQ(kScriptErrWriteFailed, plugin.ExportFunc(7, 0, unopened).code);
    plugin.Unregister();
}
