#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "qx_platform/Strings.h"
#include "qx_platform/Task.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/QXConvertDataStorage.h"
#include "qx_scriptutil/ScriptSlotConvert.h"
#include "qx_scriptutil/TScriptFileImpl.h"
#include "slot/CommandSlotConvert.h"
#include "slot/SlotStoreAccess.h"
#include "tests/EnumTable.h"
#include "tests/TreeText.h"

using namespace NSQX_script;
using tree_text::Cmd;
using tree_text::Item;
using tree_text::Para;
namespace fs = std::filesystem;

namespace {

constexpr unsigned long kBoard = 8401;
constexpr unsigned long kXc = 8402;
constexpr unsigned long kOnePara = 8403;

QXConvertDataStorage* Store() {
    return QXConvertDataStorage::Instance();
}

void UseType(int type) {
    const bool flags[4][2] = {{false, false}, {false, true}, {false, true}, {true, true}};
    Store()->SetOperType(type == 2 ? 1 : 0);
    Store()->PrepareScriptOper(flags[type][0], flags[type][1]);
    ASSERT_EQ(type, Store()->GetCvtType());
}

// A value through the single-value rule, or the wider one for commands; both must succeed.
std::string Slot(const std::string& in, bool forCommands = false, unsigned long neId = 0) {
    CStdString out;
    EXPECT_TRUE(forCommands ? ConvertSlotValue(neId, CStdString(in), out)
                            : QXScriptSlotConvert(neId, CStdString(in), out))
        << in;
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

// The command's parameters after the whole-command conversion, with their kinds.
std::string Converted(TScriptCmd cmd) {
    ConvertCommandSlots(cmd);
    return tree_text::Show(cmd.GetParaList());
}

// cfg-set-board with NE 0 (which converts whatever the device map says) and these slots.
TScriptCmd Board(const std::vector<Item>& bid) {
    return Cmd(kBoard, {Para("neid", {0}), Para("bid", bid)});
}

class SlotConvertTest : public ::testing::Test {
  protected:
    void SetUp() override {
        qxp::SetAppRootPath(test_files::DataDir("slot/"));
        ASSERT_EQ(0u, QXScriptEnumMgr::Instance()->Init(EnumFile()));
        QXConvertDataStorage::Destroy();
        SlotStoreAccess::LoadFile(test_files::DataDir("slot/") + "slotcovert_cmd_cfg.xml");
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
        return Cmd(kXc, {Para("srcne", {"\"1-5\""}), Para("srcport", {"1-2&&203-7"}),
                         Para("dstne", {"7+++9"}), Para("dstslot", {"\"85&x&120\""})});
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
            EXPECT_EQ(out, Slot(in, c.forCommands))
                << "type " << c.type << (c.forCommands ? " commands " : " single ") << in;
        }
    }
}

TEST_F(SlotConvertTest, ExportedRuleTracesAndRefusals) {
    qxp::TraceCapture trace;
    UseType(0);
    Slot("85");
    EXPECT_TRUE(trace.Contains("Slot have been changed from 85 to 125 of ne 0"));
    trace.Clear();
    UseType(2);
    Slot("500");  // small values are left alone under type 2, and not logged
    EXPECT_FALSE(trace.Contains("Slot have been changed"));
    for (int type = 0; type < 4; ++type) {
        UseType(type);
        trace.Clear();
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
    EXPECT_EQ("abc", Slot("abc", false, 99));
    EXPECT_EQ("203", Slot("203", false, 99));
    qxp::OrinGnlTask task(2);
    qxp::ScopedCurrentTask current(&task);
    std::map<unsigned long, unsigned long> devMap = {{99, 1}};
    Store()->SetDevMap(devMap);
    EXPECT_EQ("131075", Slot("203", false, 99));
    EXPECT_EQ("203", Slot("203", false, 98));
    EXPECT_EQ("203", Slot("203", true, 98));
}

TEST_F(SlotConvertTest, SeparatorWalkConvertsTargetsKeepsQuotesAndCollectsNeIds) {
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

    // Collecting gives the targets, two of them joined as one NE ID.
    const std::vector<std::string> joined = Collected(Node("-"), "\"1-5\"");
    ASSERT_EQ(std::vector<std::string>{"1-5"}, joined);
    unsigned long neId = 0;
    EXPECT_TRUE(qxp::QXStr2NEID(joined[0].c_str(), neId));
    EXPECT_EQ(65541ul, neId);

    EXPECT_EQ((std::vector<std::string>{"1", "2", "3"}), Collected(Node("-"), "1-2-3"));
    EXPECT_EQ(std::vector<std::string>{"7-8"}, Collected(Node("-", {1, 2}), "7-8-9"));
    EXPECT_EQ(std::vector<std::string>{"12"}, Collected(Node(""), "\"12\""));
    SeparatorNode joins = Node("&&");
    joins.m_positions.emplace_back(2, std::make_unique<SeparatorNode>(Node("-")));
    EXPECT_EQ(std::vector<std::string>{"3-4"}, Collected(joins, "9&&3-4"));
}

TEST_F(SlotConvertTest, WholeCommandConvertedAndLoggedTwice) {
    UseType(0);
    qxp::OrinGnlTask task(5);
    qxp::ScopedCurrentTask current(&task);
    std::map<unsigned long, unsigned long> devMap = {{65541, 1}};
    Store()->SetDevMap(devMap);

    // dstne names NE 7, which is outside the device map: its slots stay. Each pass logs the
    // command before and after.
    auto logged = [](const char* srcport, const char* dstslot) {
        return std::string(":cfg-add-xc:{srcne=\"1-5\", srcport=") + srcport +
               ", dstne=7+++9, dstslot=\"" + dstslot + "\"};\n\n";
    };
    const std::string before = logged("1-2&&203-7", "85&x&120");
    Converted(XcCommand());
    EXPECT_EQ(before + logged("1-2&&131075-7", "85&x&120"), Log());
    devMap[7] = 1;
    Store()->SetDevMap(devMap);
    Converted(XcCommand());
    EXPECT_EQ(before + logged("1-2&&131075-7", "85&x&120") + before +
                  logged("1-2&&131075-7", "125&x&65556"),
              Log());

    // Values that stay keep their type.
    EXPECT_EQ("'neid'=0i,'bid'='131075'&'125'&'abc'", Converted(Board({203, "85", "abc"})));

    // cfg-onepara: a pair without an NE ID of its own uses the NE found before it.
    auto onePara = [](const char* neid) {
        return Converted(
            Cmd(kOnePara, {Para("neid", {neid}), Para("slot", {"85"}), Para("value", {"1-203"})}));
    };
    EXPECT_EQ("'neid'='1-5','slot'='125','value'='1-131075'", onePara("1-5"));
    EXPECT_EQ("'neid'='2-1','slot'='85','value'='1-203'", onePara("2-1"));

    // Commands without a record, or without a name, pass untouched and unlogged.
    const std::string log = Log();
    EXPECT_EQ("'bid'='203'", Converted(Cmd(8499, {Para("bid", {"203"})})));
    EXPECT_EQ(log, Log());
}

// A script that declares its own NE with cfg-nepara converts the commands after the
// declaration, read one at a time or all at once.
TEST_F(SlotConvertTest, ReaderFeedsTheDeviceMapFromTheScript) {
    qxp::OrinGnlTask task(5);
    qxp::ScopedCurrentTask current(&task);
    CmdNameConvert::AddCmdNameIDMap("cfg-nepara", 8404);
    const std::string onePara = ":cfg-onepara:{neid=\"1-5\",slot=\"85\",value=\"1-203\"};\n";
    test_files::WriteFile(
        tmp_ + "/NE_1-5_x.txt",
        "// encoding=\"UTF-8\"\n" + onePara + ":cfg-nepara:{neid=\"1-5\",device=1};\n" + onePara);
    const std::vector<std::string> expected = {"'neid'='1-5','slot'='85','value'='1-203'",
                                               "'neid'='1-5','device'=1",
                                               "'neid'='1-5','slot'='125','value'='1-131075'"};
    for (bool all : {false, true}) {
        std::map<unsigned long, unsigned long> none;
        Store()->SetDevMap(none);
        TScriptFileImpl file(1);
        ASSERT_TRUE(file.OpenForRead(1, tmp_.c_str(), "NE_1-5_x.txt"));
        std::vector<TScriptResult> results;
        if (all) {
            file.GetAllCommands(results);
        } else {
            file.GoToFirstCommand();
        }
        std::vector<std::string> read;
        for (TScriptCmd cmd; file.GetOneCommand(cmd);)
            read.push_back(tree_text::Show(cmd.GetParaList()));
        EXPECT_EQ(expected, read) << all;
        EXPECT_TRUE(Store()->IsNEINDEVMap(65541));
    }
    CmdNameConvert::RemoveCmdNameIDMap(8404);
}

// Each file converts by the slot flag of its own header, even when another script with another
// flag is opened between its open and its reads, and while both are read at once.
TEST_F(SlotConvertTest, ConcurrentScriptsConvertByTheirOwnSlotFlag) {
    std::string commands;
    for (int i = 0; i < 500; ++i)
        commands += ":cfg-set-board:{neid=0,bid=\"85\"&\"10005\"&\"" + std::to_string(i) + "\"};\n";
    test_files::WriteFile(tmp_ + "/a.txt", "// SlotFlagVer=1.0 \n" + commands);
    test_files::WriteFile(tmp_ + "/b.txt", commands);
    Store()->SetOperType(0);
    auto readAll = [](TScriptFileImpl& file, std::vector<std::string>& out) {
        file.GoToFirstCommand();
        for (TScriptCmd cmd; file.GetOneCommand(cmd);)
            out.push_back(tree_text::Show(cmd.GetParaList()));
    };

    std::vector<std::string> alone[2], together[2];
    for (int which : {0, 1}) {
        TScriptFileImpl file(1);
        ASSERT_TRUE(file.OpenForRead(1, tmp_.c_str(), which ? "b.txt" : "a.txt"));
        readAll(file, alone[which]);
    }
    ASSERT_EQ(500u, alone[0].size());
    EXPECT_EQ("'neid'=0,'bid'='85'&'5'&'0'", alone[0][0]);
    EXPECT_EQ("'neid'=0,'bid'='125'&'6553605'&'0'", alone[1][0]);

    TScriptFileImpl a(1), b(1);
    ASSERT_TRUE(a.OpenForRead(1, tmp_.c_str(), "a.txt"));
    ASSERT_TRUE(b.OpenForRead(1, tmp_.c_str(), "b.txt"));
    std::thread first(readAll, std::ref(a), std::ref(together[0]));
    readAll(b, together[1]);
    first.join();
    EXPECT_EQ(alone[0], together[0]);
    EXPECT_EQ(alone[1], together[1]);
}

TEST_F(SlotConvertTest, LostLogKeepsTheConversion) {
    UseType(0);
    fs::remove_all(tmp_ + "/script");
    qxp::TraceCapture trace;
    EXPECT_EQ("'neid'=0i,'bid'='125'", Converted(Board({"85"})));
    EXPECT_TRUE(trace.Contains("Open file Log Converted Cmd Error! "));
}

TEST_F(SlotConvertTest, NoConfigurationRewritesNothing) {
    QXConvertDataStorage::Destroy();
    SlotStoreAccess::LoadFile(test_files::DataDir("slot/") + "malformed_cfg.xml");
    UseType(0);
    EXPECT_EQ("'neid'=0i,'bid'='85'", Converted(Board({"85"})));
    EXPECT_EQ("", Log());
}

class SlotSwitchOffTest : public SlotConvertTest {
  protected:
    const char* EnumFile() const override { return "script_enum_off.xml"; }
};

TEST_F(SlotSwitchOffTest, SwitchesOffLeaveCommandsAndLogAlone) {
    UseType(0);
    EXPECT_EQ("'neid'=0i,'bid'='85'", Converted(Board({"85"})));
    qxp::TraceCapture trace;
    EXPECT_EQ("125", Slot("85"));  // the single-value function has no switch
    EXPECT_FALSE(trace.Contains("Slot have been changed"));
    TScriptCmd board = Board({"85"});
    LogConvertedCmd(board);
    EXPECT_FALSE(fs::exists(tmp_ + "/script/ConvertSlotResult.txt"));
}

}  // namespace
