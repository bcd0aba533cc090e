#include <gtest/gtest.h>

#include <filesystem>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "qx_platform/Control.h"
#include "qx_platform/Task.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/QXConvertDataStorage.h"
#include "qx_scriptutil/ScriptConfig.h"
#include "qx_scriptutil/ScriptStaticData.h"
#include "slot/SlotCovertCfgInterpreter.h"
#include "slot/SlotStoreAccess.h"
#include "tests/TestFiles.h"
#include "tests/TreeText.h"

using namespace NSQX_script;
namespace fs = std::filesystem;

namespace {

std::string SlotData(const std::string& name) {
    return test_files::DataDir("slot/") + name;
}

QXConvertDataStorage* Store() {
    return QXConvertDataStorage::Instance();
}

std::vector<QXScriptCfgCmdInfo> Records() {
    std::list<QXScriptCfgCmdInfo> list;
    Store()->GetSlotCmdInfo(list);
    return {list.begin(), list.end()};
}

// A separator tree as one line: 'sign'[position:deeper ...], "-" for a missing deeper node.
std::string Show(const SeparatorNode& node) {
    std::string out = "'" + node.m_sign + "'";
    if (node.m_positions.empty()) return out;
    for (std::size_t i = 0; i < node.m_positions.size(); ++i) {
        const SeparatorNode::Position& p = node.m_positions[i];
        out += (i ? " " : "[") + std::to_string(p.first) + ":" + (p.second ? Show(*p.second) : "-");
    }
    return out + "]";
}

// Records as lines: name, then each locator as NE-ID parameter and tree, slot parameter and tree.
std::string Show(const std::vector<QXScriptCfgCmdInfo>& records) {
    std::string out;
    for (const QXScriptCfgCmdInfo& info : records) {
        out += info.m_cmdName + ":";
        for (const NeSlotLocator& l : info.m_locators) {
            out += " {" + l.m_neIdParaName + Show(l.m_neIdSeparator) + " " + l.m_slotParaName +
                   Show(l.m_slotSeparator) + "}";
        }
        out += "\n";
    }
    return out;
}

class SlotStoreTest : public ::testing::Test {
  protected:
    void SetUp() override { QXConvertDataStorage::Destroy(); }
    void TearDown() override {
        QXConvertDataStorage::Destroy();
        SlotStoreAccess::ForgetLoaded();
        qxp::ResetOverrides();
        for (auto file : {ScriptConfigFile::kSlotTable, ScriptConfigFile::kSlotLog})
            SetScriptConfigPath(file, "");
    }
    // The configuration folder under a fresh application root, holding a copy of a data file.
    std::string ConfDirWith(const std::string& file) {
        const std::string dir = tmp_ + "/cbb/trans/core/conf/xml/script/xml_script/";
        fs::create_directories(dir);
        fs::copy_file(SlotData(file), dir + file);
        qxp::SetAppRootPath(tmp_ + "/");
        return dir;
    }
    test_files::TempDir tmpDir_{"slot_store"};
    const std::string tmp_ = tmpDir_.path();
};

TEST_F(SlotStoreTest, ReaderFollowsEveryRule) {
    SlotStoreAccess::LoadFile(SlotData("slotcovert_cmd_cfg.xml"));
    // Other root children are not commands; a name seen again is kept, not merged. A pair
    // element without children is no locator; one with any child is, names left empty. "++"
    // reads as "&&", " +1" as 1; a position always has a deeper node, a non-position child
    // gives 0 and none, "x9" is no number. Two sign elements (matched by "contains") write into
    // one node; the last sign wins.
    EXPECT_EQ(
        "cfg-set-board: {neid'' bid''} {'' ''}\n"
        "cfg-add-xc: {srcne'-' srcport'&&'[2:'-'[1:'']]} "
        "{dstne'+++'[1:'' 0:- 0:''] dstslot'&'[1:'' 3:'' 9:'']}\n"
        "cfg-onepara: {neid'' slot''} {noneid'' value'-'[2:'']}\n"
        "cfg-set-board: {other'' other''}\n",
        Show(Records()));

    using Reader = slotcovertcfgfileinterpreter;
    using Sign = std::pair<const char*, const char*>;
    for (auto [attr, sign] : {Sign{"+", "&"}, {"++", "&&"}, {"+++", "+++"}, {"&", "&"}})
        EXPECT_EQ(sign, Reader::SignFromAttr(attr)) << attr;
    const char* const attrs[] = {"  -4", "12abc", "abc", nullptr, "99999999999"};
    const int positions[] = {-4, 12, 0, 0, 2147483647};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(positions[i], Reader::PositionFromAttr(attrs[i])) << i;
}

TEST_F(SlotStoreTest, ExampleConfigurationLoads) {
    SlotStoreAccess::LoadFile(SlotData("../../../examples/config/slotcovert_cmd_cfg.xml"));
    EXPECT_EQ(
        "cfg-set-board: {neid'' bid''}\n"
        "cfg-add-xc: {srcne'-' srcport'&&'[2:'-'[1:'']]} {dstne'&'[1:'' 0:-] dstslot'&'[1:'' 3:'' "
        "9:'']}\n"
        "cfg-onepara: {neid'' slot''} {none'' value'-'[2:'']}\n",
        Show(Records()));
}

// Records and their separator trees are copied deeply: into the store, by copy and by
// assignment (also to itself); Release empties the store.
TEST_F(SlotStoreTest, RecordsCopyDeeply) {
    QXScriptCfgCmdInfo info;
    info.m_cmdName = "c";
    info.m_locators.emplace_back();
    SeparatorNode& slot = info.m_locators.front().m_slotSeparator;
    slot.m_positions.emplace_back(2, std::make_unique<SeparatorNode>());
    slot.m_positions[0].second->m_sign = "-";

    Store()->AddSlotCmdInfo(info);
    slot.m_positions[0].second->m_sign = "changed";
    QXScriptCfgCmdInfo copy = info;
    copy.m_locators.front().m_slotSeparator.m_positions[0].second->m_sign = "copy";
    EXPECT_EQ("''[2:'changed']", Show(slot));
    EXPECT_EQ("c: {'' ''[2:'-']}\n", Show(Records()));

    SeparatorNode assigned;
    assigned = copy.m_locators.front().m_slotSeparator;
    const SeparatorNode& alias = assigned;
    assigned = alias;
    EXPECT_EQ("''[2:'copy']", Show(assigned));
    Store()->Release();
    EXPECT_TRUE(Records().empty());
}

TEST_F(SlotStoreTest, MissingOrMalformedFileLeavesTheStoreEmpty) {
    qxp::TraceCapture trace;
    SlotStoreAccess::LoadFile(SlotData("no_such_file.xml"));
    EXPECT_TRUE(Records().empty());
    SlotStoreAccess::LoadFile(SlotData("malformed_cfg.xml"));
    EXPECT_TRUE(Records().empty());
    EXPECT_FALSE(SlotStoreAccess::HasCmdInfo());
}

TEST_F(SlotStoreTest, InitReadsUnderTheRootOncePerProcess) {
    const std::string dir = ConfDirWith("slotcovert_cmd_cfg.xml");

    Store()->Init();
    EXPECT_EQ(dir + "slotcovert_cmd_cfg.xml", Store()->GetCfgPath());
    EXPECT_EQ(4u, Records().size());

    // Later calls rebuild the path only.
    Store()->Release();
    qxp::SetAppRootPath(tmp_ + "/elsewhere/");
    Store()->Init();
    EXPECT_TRUE(Records().empty());
    EXPECT_EQ(tmp_ + "/elsewhere/cbb/trans/core/conf/xml/script/xml_script/slotcovert_cmd_cfg.xml",
              Store()->GetCfgPath());
}

// A slot table named by the host replaces the one under the root, and the NE types file is
// read from beside it.
TEST_F(SlotStoreTest, NamedSlotTableBringsItsTypesFile) {
    const std::string conf = tmp_ + "/cbb/trans/core/conf/xml/script/xml_script/";
    qxp::SetAppRootPath(tmp_ + "/");
    EXPECT_EQ(ScriptConfigPath(ScriptConfigFile::kSlotNETypes), conf + "slotconvert_cmd_desc.txt");
    EXPECT_EQ(ScriptConfigPath(ScriptConfigFile::kSlotLog), tmp_ + "/script/ConvertSlotResult.txt");

    const std::string table = SlotData("slotcovert_cmd_cfg.xml");
    SetScriptConfigPath(ScriptConfigFile::kSlotTable, table);
    QXScriptStaticDataMgr mgr("scripts", 1);
    EXPECT_EQ(table, Store()->GetCfgPath());
    EXPECT_EQ(4u, Records().size());
    std::vector<unsigned long> types;
    Store()->GetSupportNEType(types);
    EXPECT_EQ((std::vector<unsigned long>{12, 40, 7}), types);

    SetScriptConfigPath(ScriptConfigFile::kSlotTable, "");
    EXPECT_EQ(ScriptConfigPath(ScriptConfigFile::kSlotNETypes), conf + "slotconvert_cmd_desc.txt");
}

TEST_F(SlotStoreTest, ConversionTypeFromHeaderFlagsAndOperationType) {
    struct Case {
        int oper;
        bool is11;
        bool present;
        int type;
    };
    const Case cases[] = {{0, false, false, 0}, {1, false, false, 0}, {0, true, true, 3},
                          {1, true, true, 3},   {2, true, true, 0},   {-1, true, true, 0},
                          {0, false, true, 1},  {1, false, true, 2},  {2, false, true, 0},
                          {0, true, false, 0}};
    for (const Case& c : cases) {
        qxp::TraceCapture trace;
        Store()->SetOperType(c.oper);
        Store()->PrepareScriptOper(c.is11, c.present);
        EXPECT_EQ(c.type, Store()->GetCvtType()) << c.oper << c.is11 << c.present;
        EXPECT_TRUE(trace.Contains("Convert Ttype has been set to: " + std::to_string(c.type)));
    }
}

TEST_F(SlotStoreTest, DeviceMapsFollowTheCurrentTaskKind) {
    std::map<unsigned long, unsigned long> devMap = {{65541, 3}};
    Store()->SetDevMap(devMap);  // no task: nowhere to keep it
    EXPECT_FALSE(Store()->IsNEINDEVMap(65541));

    qxp::OrinGnlTask importTask(3);
    qxp::OrinGnlTask otherTask(4);
    {
        qxp::ScopedCurrentTask current(&importTask);
        EXPECT_FALSE(Store()->IsNEINDEVMap(65541));
        Store()->SetDevMap(devMap);
        EXPECT_TRUE(Store()->IsNEINDEVMap(65541));
        EXPECT_FALSE(Store()->IsNEINDEVMap(7));
    }
    EXPECT_FALSE(Store()->IsNEINDEVMap(65541));
    qxp::ScopedCurrentTask current(&otherTask);
    EXPECT_FALSE(Store()->IsNEINDEVMap(65541));
}

TEST_F(SlotStoreTest, SupportedNeTypesFromTheTextFile) {
    std::vector<unsigned long> types = {1};
    {
        qxp::TraceCapture trace;
        EXPECT_TRUE(ScriptDataMgr::ReadSupportNEType(SlotData("slotconvert_cmd_desc.txt"), types));
        EXPECT_TRUE(trace.Contains("Bad NE type \"abc\""));
        EXPECT_TRUE(trace.Contains("at line 6"));
    }
    EXPECT_EQ((std::vector<unsigned long>{12, 40, 7}), types);
    EXPECT_FALSE(ScriptDataMgr::ReadSupportNEType(SlotData("no_such.txt"), types));
    EXPECT_TRUE(types.empty());
    EXPECT_FALSE(ScriptDataMgr::ReadSupportNEType(SlotData("script_enum.xml"), types));

    // The static-data manager takes them from beside the configuration file.
    ConfDirWith("slotconvert_cmd_desc.txt");
    Store()->SetScriptONELanEn(true);
    qxp::TraceCapture trace;
    QXScriptStaticDataMgr mgr("scripts", 0);
    EXPECT_EQ(0, Store()->GetOperType());
    EXPECT_FALSE(Store()->ScriptONELanIsEn());
    EXPECT_TRUE(trace.Contains("The Language of ONE has been changed to 0"));
    Store()->GetSupportNEType(types);
    EXPECT_EQ((std::vector<unsigned long>{12, 40, 7}), types);

    Store()->SetScriptONELanEn(true);
    QXScriptStaticDataMgr exporting("scripts", 1);
    EXPECT_TRUE(Store()->ScriptONELanIsEn());
    EXPECT_EQ(1, Store()->GetOperType());
}

MMLCmdStruct NePara(tree_text::Item neid, tree_text::Item device, const char* name = "cfg-nepara") {
    MMLCmdStruct cmd;
    cmd.cmdName = name;
    cmd.paraList = {tree_text::Para("neid", {neid}), tree_text::Para("device", {device})};
    return cmd;
}

TEST_F(SlotStoreTest, DeviceMapFromNeParameterCommands) {
    // NE 8 has a bad device, "0" is NE 0, 1-70000 has a part out of range, the second NE 7
    // replaces the first's 9, NE 10 comes with a second value.
    std::vector<MMLCmdStruct> cmds = {
        NePara("\"1-5\"", 3), NePara(7, "\"9\""),        NePara(8, "x"), NePara("0", 1),
        NePara("1-70000", 1), NePara(9, 1, "cfg-other"), NePara(7, 4),   NePara(10, 1)};
    cmds.back().paraList[0].values.push_back(QXValue(11));

    std::map<unsigned long, unsigned long> devMap;
    qxp::TraceCapture trace;
    ScriptDataMgr::BuildDevMap(cmds, devMap);
    EXPECT_EQ((std::map<unsigned long, unsigned long>{{65541, 3}, {7, 4}}), devMap);

    // Records name their command through the name map and carry their script line.
    CmdNameConvert::AddCmdNameIDMap("cfg-nepara", 8301);
    MMLCmdStruct bad = NePara(12, "bad");
    TScriptCmd record(8301, bad.paraList, 42);
    EXPECT_FALSE(ScriptDataMgr::AddDevMapEntry(record, devMap));
    EXPECT_TRUE(trace.Contains("cfg-nepara at line 42"));
    MMLCmdStruct good = NePara(12, 5);
    std::vector<TScriptCmd> records = {TScriptCmd(8301, good.paraList, 43)};
    qxp::OrinGnlTask task(6);
    qxp::ScopedCurrentTask current(&task);
    QXScriptStaticDataMgr mgr("scripts", 1);
    mgr.LoadDevMap(records);
    EXPECT_TRUE(Store()->IsNEINDEVMap(12));
    EXPECT_FALSE(Store()->IsNEINDEVMap(7));
    CmdNameConvert::RemoveCmdNameIDMap(8301);
}

}  // namespace
