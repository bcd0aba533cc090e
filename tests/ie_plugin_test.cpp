#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/QXScriptErrMgr.h"
#include "qx_scriptutil/TScriptFileImpl.h"
#include "tests/TestFiles.h"

// The example plug-in is compiled into this test with the library objects; linking its static
// library would bring in a second copy of the library through the shared one.
#include "examples/plugin/ExampleVlanPlugin.cpp"

using namespace NSQX_script;
using namespace example_plugin;

namespace {

// An in-memory script file: hands out the commands it was given and keeps what is written.
class MemoryScriptFile : public ScriptFile {
  public:
    std::vector<TScriptCmd> input;
    std::vector<TScriptCmd> written;
    bool failWrites = false;

    bool GoToFirstCommand() override {
        next_ = 0;
        return true;
    }
    bool GetOneCommand(TScriptCmd& cmd) override {
        if (next_ >= input.size()) return false;
        cmd = input[next_++];
        return true;
    }
    bool WriteCommand(TScriptCmd& cmd) override {
        if (failWrites) {
            QXScriptErrMgr::Instance()->m_errorCode = kScriptErrWriteFailed;
            return false;
        }
        written.push_back(cmd);
        return true;
    }
    void WriteAnnotationCommand(const char*) override {}
    bool SetCurrNEID(unsigned long) override { return true; }
    unsigned int GetScriptType() override { return kScriptTypeNe; }
    bool SetPreConfitState(bool) override { return false; }
    unsigned long GetVersion() override { return 0x02010302; }
    bool GetCmdCodeOfCurrCmdAndCheck(unsigned long&) override { return false; }
    bool GetCmdCodeOfCurrCmd(unsigned long&) override { return false; }
    void SendDescription(const char*) override {}
    const std::string& GetScriptFileName() override { return name_; }
    unsigned long GetCurrentLineNO() override { return 0; }
    const std::string& GetScriptDirectory() override { return dir_; }
    bool GetNextChar(char&) override { return false; }

  private:
    std::size_t next_ = 0;
    std::string name_ = "ne_7.txt";
    std::string dir_ = "/tmp";
};

MMLParaStruct Para(const char* name, std::vector<QXValue> values) {
    MMLParaStruct p;
    p.name = QXValue(name, false);
    p.values = std::move(values);
    return p;
}

TScriptCmd Cmd(unsigned long code, std::vector<MMLParaStruct> paras, unsigned long line = 0) {
    return TScriptCmd(code, paras, line);
}

int IntPara(TScriptCmd cmd, const char* name) {
    int v = -1;
    EXPECT_TRUE(cmd.GetPara(name, v, false)) << name;
    return v;
}

std::string TextPara(TScriptCmd cmd, const char* name) {
    CStdString v;
    EXPECT_TRUE(cmd.GetPara(name, v, false)) << name;
    return v;
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
    const TScriptCmd vlans =
        Cmd(kCmdAddVlan, {Para("vlanid", {QXValue(10), QXValue(11), QXValue(12)}),
                          Para("name", {QXValue("office", false)})});
    ASSERT_EQ(kConvertOk, ImportAddVlan(vlans, out));
    ASSERT_EQ(3u, out.size());
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(kCmdAddVlan, out[i].GetCmdCode());
        EXPECT_EQ(10 + i, IntPara(out[i], "vlanid"));
        EXPECT_EQ("office", TextPara(out[i], "name"));
    }
    EXPECT_EQ(2u, vlans.GetSize());  // the input is not consumed

    out.clear();
    EXPECT_EQ(kConvertBadValue,
              ImportAddVlan(Cmd(kCmdAddVlan, {Para("vlanid", {QXValue(7), QXValue(5000)})}), out));
    EXPECT_EQ(kConvertMissingPara, ImportAddVlan(Cmd(kCmdAddVlan, {}), out));
    EXPECT_TRUE(out.empty());

    ASSERT_EQ(kConvertOk, ExportAddVlan(Cmd(kCmdAddVlan, {Para("vlanid", {QXValue(20)})}), out));
    ASSERT_EQ(1u, out.size());
    EXPECT_EQ("VLAN_20", TextPara(out[0], "name"));

    out.clear();
    EXPECT_EQ(kConvertMissingPara,
              ImportSetPortDesc(Cmd(kCmdSetPortDesc, {Para("port", {QXValue(3)})}), out));
    ASSERT_EQ(kConvertOk,
              ExportSetPortDesc(Cmd(kCmdSetPortDesc, {Para("desc", {QXValue("a,b&c", false)}),
                                                      Para("port", {QXValue(3)})}),
                                out));
    ASSERT_EQ(1u, out.size());
    EXPECT_EQ(3, IntPara(out[0], "port"));
    EXPECT_EQ("a,b&c", TextPara(out[0], "desc"));
}

TEST_F(IePlugin, ImportRecordsFailuresAndExportRoundTrips) {
    ExampleVlanPlugin plugin;
    MemoryScriptFile file;
    file.input.push_back(
        Cmd(kCmdAddVlan,
            {Para("vlanid", {QXValue(1), QXValue(2)}), Para("name", {QXValue("lab", false)})}, 3));
    file.input.push_back(Cmd(0x9999, {Para("X", {QXValue(1)})}, 4));  // not ours
    file.input.push_back(Cmd(kCmdSetPortDesc, {Para("port", {QXValue(4)})}, 7));
    file.input.push_back(Cmd(
        kCmdSetPortDesc, {Para("port", {QXValue(5)}), Para("desc", {QXValue("up", false)})}, 8));

    plugin.m_vlans[99] = "stale";
    plugin.PreImport(std::bitset<16>(1), {});
    const QXSingleReturn r = plugin.ImportFunc(7, 0, &file);
    EXPECT_EQ(1ul, r.code);
    EXPECT_EQ((std::map<int, std::string>{{1, "lab"}, {2, "lab"}}), plugin.m_vlans);
    EXPECT_EQ((std::map<int, std::string>{{5, "up"}}), plugin.m_portDescs);
    const auto& results = QXScriptErrMgr::Instance()->m_scriptResults;
    ASSERT_EQ(1u, results.size());
    EXPECT_EQ("ne_7.txt", results.front().m_text);
    EXPECT_EQ(7ul, results.front().m_value);
    EXPECT_EQ(static_cast<int>(kConvertMissingPara), results.front().m_kind);

    MemoryScriptFile exported;
    EXPECT_EQ(0ul, plugin.ExportFunc(7, 0, &exported).code);
    ASSERT_EQ(3u, exported.written.size());
    ExampleVlanPlugin again;
    MemoryScriptFile back;
    back.input = exported.written;
    EXPECT_EQ(0ul, again.ImportFunc(7, 0, back).code);
    EXPECT_EQ(plugin.m_vlans, again.m_vlans);
    EXPECT_EQ(plugin.m_portDescs, again.m_portDescs);

    MemoryScriptFile full;
    full.failWrites = true;
    EXPECT_EQ(kScriptErrWriteFailed, plugin.ExportFunc(7, 0, full).code);
}

// The import flow of a task: open the script, find the plug-in of each command's code through
// the registry, let it import, and collect what failed in the thread's error manager.
TEST_F(IePlugin, ImportsAScriptFileEndToEnd) {
    const test_files::TempDir dir("qx_import");
    ASSERT_TRUE(test_files::WriteFile(dir / "NE_0-7_cfg.txt",
                                      "// encoding=\"UTF-8\"\n\n"
                                      ":CFG-ADD-VLAN:{VLANID=10&&12, NAME=\"Office\"};\n"
                                      ":cfg-set-portdesc:{port=3, desc=\"uplink\"};\n"
                                      // no desc: the plug-in reports it
                                      ":cfg-set-portdesc:{port=4};\n"
                                      ":cfg-unknown:{x=1};\n"
                                      // does not parse: the reader reports it
                                      ":cfg-add-vlan:{vlanid=};\n"));
    ExampleVlanPlugin plugin;
    plugin.Register();

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
        it->second->ImportFunc(7, 0, file);  // reads every command it knows from here on
    }
    EXPECT_EQ(1u, called.size());
    QXScriptErrMgr::Instance()->AppendScriptResult(file.GetCmdAnalyzedResult());

    EXPECT_EQ((std::map<int, std::string>{{10, "Office"}, {11, "Office"}, {12, "Office"}}),
              plugin.m_vlans);
    EXPECT_EQ((std::map<int, std::string>{{3, "uplink"}}), plugin.m_portDescs);
    const auto& results = QXScriptErrMgr::Instance()->m_scriptResults;
    ASSERT_EQ(2u, results.size());
    EXPECT_EQ(static_cast<int>(kConvertMissingPara), results.front().m_kind);
    EXPECT_EQ(7, results.back().m_kind);  // the line of the command that did not parse
    EXPECT_EQ(0x41017307ul, results.back().m_value);
    plugin.Unregister();
}
