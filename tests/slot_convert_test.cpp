#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "qx_platform/Control.h"
#include "qx_platform/Strings.h"
#include "qx_platform/Task.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/QXConvertDataStorage.h"
#include "qx_scriptutil/QXScriptEnumMgr.h"
#include "qx_scriptutil/ScriptSlotConvert.h"
#include "slot/CommandSlotConvert.h"
#include "slot/SlotStoreAccess.h"
#include "tests/EnumTable.h"
#include "tests/TestFiles.h"

using namespace NSQX_script;
namespace fs = std::filesystem;

namespace {

constexpr unsigned long kBoard = 8401;
constexpr unsigned long kXc = 8402;
constexpr unsigned long kOnePara = 8403;

std::string SlotDataDir() {
    return test_files::DataDir("slot/");
}

QXConvertDataStorage* Store() {
    return QXConvertDataStorage::Instance();
}

void UseType(int type) {
    const bool flags[4][2] = {{false, false}, {false, true}, {false, true}, {true, true}};
    Store()->SetOperType(type == 2 ? 1 : 0);
    Store()->PrepareScriptOper(flags[type][0], flags[type][1]);
    ASSERT_EQ(type, Store()->GetCvtType());
}

std::string Exported(const std::string& in, unsigned long neId = 0) {
    CStdString out;
    EXPECT_TRUE(QXScriptSlotConvert(neId, CStdString(in), out)) << in;
    return out;
}

std::string ForCommands(const std::string& in) {
    CStdString out;
    EXPECT_TRUE(ConvertSlotValue(0, CStdString(in), out)) << in;
    return out;
}

SeparatorNode Node(const std::string& sign, std::vector<int> positions = {}) {
    SeparatorNode node;
    node.m_sign = sign;
    for (int p : positions) node.m_positions.emplace_back(p, std::make_unique<SeparatorNode>());
    return node;
}

std::string Converted(const SeparatorNode& node, std::string value, unsigned long neId = 0) {
    SeparatorWalk::Convert(node, value, neId);
    return value;
}

std::vector<std::string> Collected(const SeparatorNode& node, const std::string& value) {
    std::vector<std::string> out;
    SeparatorWalk::Collect(node, value, out);
    return out;
}

MMLParaStruct Para(const std::string& name, std::vector<QXValue> values) {
    MMLParaStruct p;
    p.name = QXValue(name, false);
    p.values = std::move(values);
    return p;
}

QXValue S(const char* text) {
    return QXValue(text, false);
}

class SlotConvertTest : public ::testing::Test {
  protected:
    void SetUp() override {
        qxp::SetAppRootPath(SlotDataDir());
        ASSERT_EQ(0u, QXScriptEnumMgr::Instance()->Init(EnumFile()));
        QXConvertDataStorage::Destroy();
        SlotStoreAccess::LoadFile(SlotDataDir() + "slotcovert_cmd_cfg.xml");
        CmdNameConvert::AddCmdNameIDMap("cfg-set-board", kBoard);
        CmdNameConvert::AddCmdNameIDMap("cfg-add-xc", kXc);
        CmdNameConvert::AddCmdNameIDMap("cfg-onepara", kOnePara);
        ASSERT_TRUE(tmpDir_.ok());
        qxp::SetAppRootPath(tmp_ + "/");
        fs::create_directory(tmp_ + "/script");
    }
    void TearDown() override {
        enum_table::Release();
        for (unsigned long id : {kBoard, kXc, kOnePara}) CmdNameConvert::RemoveCmdNameIDMap(id);
        QXConvertDataStorage::Destroy();
        SlotStoreAccess::ForgetLoaded();
        qxp::ResetOverrides();
    }
    virtual const char* EnumFile() const { return "script_enum.xml"; }

    std::string Log() const { return test_files::ReadFile(tmp_ + "/script/ConvertSlotResult.txt"); }

    static TScriptCmd XcCommand() {
        TScriptCmd cmd(kXc);
        cmd.GetParaList() = {Para("srcne", {S("\"1-5\"")}), Para("srcport", {S("1-2&&203-7")}),
                             Para("dstne", {S("7+++9")}), Para("dstslot", {S("\"85&x&120\"")})};
        return cmd;
    }

    test_files::TempDir tmpDir_{"slot_convert"};
    const std::string tmp_ = tmpDir_.path();
};

// The single-value rule and the wider one for commands, at the edges of each conversion type;
// each case lists "input:output" pairs.
TEST_F(SlotConvertTest, RulesAtRangeEdges) {
    struct Case {
        int type;
        bool forCommands;
        const char* pairs;
    };
    const Case cases[] = {
        {0, false,
         "79:79 80:120 87:127 88:88 99:99 100:65536 998:589922 999:999 1203:1203 203:131075 "
         "099:99 65536:65536"},
        {1, false,
         "9999:9999 080:80 10000:0 10999:999 11000:11000 120:65556 998:589922 999:999 85:85"},
        {2, false, "65535:65535 65536:100 131075:203 65636:10100 500:500 0500:0500"},
        {3, false, "203:203"},
        {0, true, "80:120 87:127 88:88 99:99 100:65536 999:589923 1203:786435 65536:42926116"},
        {1, true, "10000:0 10999:999 11000:7208960 9999:6488163 99:99 85:85"},
        {2, true, "99:99 100:10100 500:10500 65535:75535 65536:100 131075:203 65636:200"},
        {3, true, "1203:1203"},
    };
    for (const Case& c : cases) {
        UseType(c.type);
        std::istringstream pairs(c.pairs);
        for (std::string pair; pairs >> pair;) {
            const std::string in = pair.substr(0, pair.find(':'));
            const std::string out = pair.substr(pair.find(':') + 1);
            EXPECT_EQ(out, c.forCommands ? ForCommands(in) : Exported(in))
                << "type " << c.type << (c.forCommands ? " commands " : " single ") << in;
        }
    }
}

TEST_F(SlotConvertTest, ExportedRuleTracesAndRefusals) {
    UseType(0);
    {
        qxp::TraceCapture trace;
        Exported("85");
        EXPECT_TRUE(trace.Contains("Slot have been changed from 85 to 125 of ne 0"));
    }
    {
        qxp::TraceCapture trace;
        UseType(2);
        Exported("500");  // small values are left alone under type 2, and not logged
        EXPECT_FALSE(trace.Contains("Slot have been changed"));
    }
    for (int type = 0; type < 4; ++type) {
        UseType(type);
        qxp::TraceCapture trace;
        CStdString out;
        EXPECT_FALSE(QXScriptSlotConvert(0, CStdString("abc"), out));
        EXPECT_EQ("abc", out);
        EXPECT_TRUE(
            trace.Contains("QXConvertDataStorage convert input para Err, input string: abc "));
        EXPECT_FALSE(ConvertSlotValue(0, CStdString("12a"), out));
        EXPECT_EQ("12a", out);
    }

    // An NE outside the current task's device map is left alone, even with a bad number.
    UseType(0);
    CStdString out;
    EXPECT_TRUE(QXScriptSlotConvert(99, CStdString("abc"), out));
    EXPECT_EQ("203", Exported("203", 99));
    qxp::OrinGnlTask task(2);
    qxp::ScopedCurrentTask current(&task);
    std::map<unsigned long, unsigned long> devMap = {{99, 1}};
    Store()->SetDevMap(devMap);
    EXPECT_EQ("131075", Exported("203", 99));
    EXPECT_EQ("203", Exported("203", 98));
    EXPECT_TRUE(ConvertSlotValue(98, CStdString("203"), out));
    EXPECT_EQ("203", out);
}

TEST_F(SlotConvertTest, SeparatorWalkConvertsTargetsAndKeepsQuotes) {
    UseType(0);
    EXPECT_EQ("\"203-125\"", Converted(Node("-", {2}), "\"203-85\""));
    EXPECT_EQ("\"131075-125\"", Converted(Node("-", {0}), "\"203-85\""));
    EXPECT_EQ("\"131075-125\"", Converted(Node("-"), "\"203-85\""));
    EXPECT_EQ("\"131075\"", Converted(Node(""), "\"203\""));
    EXPECT_EQ("x-125", Converted(Node("-"), "x-85"));  // a piece that is no number stays

    // Several positions: 0 names no piece, pieces beyond the count are skipped.
    EXPECT_EQ("\"125&x&65556\"", Converted(Node("&", {1, 0, 3, 9}), "\"85&x&120\""));
    EXPECT_EQ("85-203", Converted(Node("-", {5}), "85-203"));
    EXPECT_EQ("85-203", Converted(Node("-", {-1}), "85-203"));

    // A deeper node cuts its piece again; a missing one makes the piece the target.
    SeparatorNode nested = Node("&&");
    nested.m_positions.emplace_back(2, std::make_unique<SeparatorNode>(Node("-", {1})));
    EXPECT_EQ("1-2&&131075-7", Converted(nested, "1-2&&203-7"));
    SeparatorNode bare = Node("-");
    bare.m_positions.emplace_back(1, nullptr);
    EXPECT_EQ("125-1", Converted(bare, "85-1"));
}

TEST_F(SlotConvertTest, SeparatorWalkCollectsNeIds) {
    const std::vector<std::string> joined = Collected(Node("-"), "\"1-5\"");
    ASSERT_EQ(std::vector<std::string>{"1-5"}, joined);
    unsigned long neId = 0;
    EXPECT_TRUE(qxp::QXStr2NEID(joined[0].c_str(), neId));
    EXPECT_EQ(65541ul, neId);

    EXPECT_EQ((std::vector<std::string>{"1", "2", "3"}), Collected(Node("-"), "1-2-3"));
    EXPECT_EQ(std::vector<std::string>{"7-8"}, Collected(Node("-", {1, 2}), "7-8-9"));
    EXPECT_EQ(std::vector<std::string>{"12"}, Collected(Node(""), "\"12\""));
    SeparatorNode nested = Node("&&");
    nested.m_positions.emplace_back(2, std::make_unique<SeparatorNode>(Node("-")));
    EXPECT_EQ(std::vector<std::string>{"3-4"}, Collected(nested, "9&&3-4"));
}

TEST_F(SlotConvertTest, WholeCommandConvertedAndLoggedTwice) {
    UseType(0);
    qxp::OrinGnlTask task(5);
    qxp::ScopedCurrentTask current(&task);
    std::map<unsigned long, unsigned long> devMap = {{65541, 1}};
    Store()->SetDevMap(devMap);

    // dstne names NE 7, which is outside the device map: its slots stay.
    TScriptCmd first = XcCommand();
    ConvertCommandSlots(first);
    const std::string before =
        ":cfg-add-xc:{srcne=\"1-5\", srcport=1-2&&203-7, dstne=7+++9, dstslot=\"85&x&120\"};\n\n";
    const std::string after1 =
        ":cfg-add-xc:{srcne=\"1-5\", srcport=1-2&&131075-7, dstne=7+++9, "
        "dstslot=\"85&x&120\"};\n\n";
    EXPECT_EQ(before + after1, Log());

    devMap[7] = 1;
    Store()->SetDevMap(devMap);
    TScriptCmd second = XcCommand();
    ConvertCommandSlots(second);
    const std::string after2 =
        ":cfg-add-xc:{srcne=\"1-5\", srcport=1-2&&131075-7, dstne=7+++9, "
        "dstslot=\"125&x&65556\"};\n\n";
    EXPECT_EQ(before + after1 + before + after2, Log());

    // NE 0 converts whatever the map says; values that stay keep their type.
    TScriptCmd board(kBoard);
    board.GetParaList() = {Para("neid", {QXValue(0)}),
                           Para("bid", {QXValue(203), S("85"), S("abc")})};
    ConvertCommandSlots(board);
    const std::vector<QXValue>& bid = board.GetParaList()[1].values;
    EXPECT_EQ("131075", bid[0].As_std_string());
    EXPECT_EQ("125", bid[1].As_std_string());
    EXPECT_EQ(S("abc"), bid[2]);
    EXPECT_EQ(QXValue(0), board.GetParaList()[0].values[0]);

    // cfg-onepara: a pair without an NE ID of its own uses the NE found before it.
    TScriptCmd inMap(kOnePara);
    inMap.GetParaList() = {Para("neid", {S("1-5")}), Para("slot", {S("85")}),
                           Para("value", {S("1-203")})};
    ConvertCommandSlots(inMap);
    EXPECT_EQ("125", inMap.GetParaList()[1].values[0].As_std_string());
    EXPECT_EQ("1-131075", inMap.GetParaList()[2].values[0].As_std_string());
    TScriptCmd outside(kOnePara);
    outside.GetParaList() = {Para("neid", {S("2-1")}), Para("slot", {S("85")}),
                             Para("value", {S("1-203")})};
    ConvertCommandSlots(outside);
    EXPECT_EQ("85", outside.GetParaList()[1].values[0].As_std_string());
    EXPECT_EQ("1-203", outside.GetParaList()[2].values[0].As_std_string());

    // Commands without a record, or without a name, pass untouched and unlogged.
    const std::string logged = Log();
    TScriptCmd unnamed(8499);
    unnamed.GetParaList() = {Para("bid", {S("203")})};
    ConvertCommandSlots(unnamed);
    EXPECT_EQ("203", unnamed.GetParaList()[0].values[0].As_std_string());
    EXPECT_EQ(logged, Log());
}

TEST_F(SlotConvertTest, LostLogKeepsTheConversion) {
    UseType(0);
    fs::remove_all(tmp_ + "/script");
    qxp::TraceCapture trace;
    TScriptCmd board(kBoard);
    board.GetParaList() = {Para("neid", {QXValue(0)}), Para("bid", {S("85")})};
    ConvertCommandSlots(board);
    EXPECT_EQ("125", board.GetParaList()[1].values[0].As_std_string());
    EXPECT_TRUE(trace.Contains("Open file Log Converted Cmd Error! "));
}

TEST_F(SlotConvertTest, NoConfigurationRewritesNothing) {
    UseType(0);
    QXConvertDataStorage::Destroy();
    SlotStoreAccess::LoadFile(SlotDataDir() + "malformed_cfg.xml");
    TScriptCmd board(kBoard);
    board.GetParaList() = {Para("neid", {QXValue(0)}), Para("bid", {S("85")})};
    UseType(0);
    ConvertCommandSlots(board);
    EXPECT_EQ("85", board.GetParaList()[1].values[0].As_std_string());
    EXPECT_EQ("", Log());
}

class SlotSwitchOffTest : public SlotConvertTest {
  protected:
    const char* EnumFile() const override { return "script_enum_off.xml"; }
};

TEST_F(SlotSwitchOffTest, SwitchesOffLeaveCommandsAndLogAlone) {
    UseType(0);
    TScriptCmd board(kBoard);
    board.GetParaList() = {Para("neid", {QXValue(0)}), Para("bid", {S("85")})};
    ConvertCommandSlots(board);
    EXPECT_EQ("85", board.GetParaList()[1].values[0].As_std_string());
    qxp::TraceCapture trace;
    EXPECT_EQ("125", Exported("85"));  // the single-value function has no switch
    EXPECT_FALSE(trace.Contains("Slot have been changed"));
    LogConvertedCmd(board);
    EXPECT_FALSE(fs::exists(tmp_ + "/script/ConvertSlotResult.txt"));
}

}  // namespace
