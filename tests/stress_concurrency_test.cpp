// The whole library under load: eight task threads write, read, parse and convert their own
// scripts while another thread keeps loading and releasing the enumeration table and loading
// the slot configuration. Every worker must end with exactly what a single-threaded run of the
// same work produced.
//
// What is deterministic while another thread releases the enumeration table: a lookup made
// while the calling thread holds its own Init reference (a QXScriptEnumDataMgr) must succeed,
// because the table is freed only when the last reference goes. A lookup made without one may
// find the table loaded or not: it either fails, leaving its output as it was (the CStdString
// form of ValueC2S empties it), or gives the configured answer, never anything else. So the
// workers write and read their scripts, whose header, encoding and slot conversion depend on
// the table, only while holding a reference. Every thread loads the same file: an Init that
// fails, or one of another file, changes what every holder sees, and is left out here.
//
// The slot conversion type is one value for the whole process, chosen by the header of the
// script opened last; all scripts here carry the same slot flag, so it is the same for all.
// The slot configuration is read once per process, by whichever thread asks first; the
// records are then read without a lock, so reading the file again while tasks convert
// commands is outside the design and is not done here.

#include <atomic>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "EnumTable.h"
#include "TreeText.h"
#include "parser/SampleCommands.h"
#include "qx_platform/Task.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/EnumMap.h"
#include "qx_scriptutil/QXConvertDataStorage.h"
#include "qx_scriptutil/QXScriptErrMgr.h"
#include "qx_scriptutil/ScriptParser.h"
#include "qx_scriptutil/TScriptFileImpl.h"
#include "slot/SlotStoreAccess.h"

using namespace NSQX_script;
namespace fs = std::filesystem;

namespace {

constexpr int kWorkers = 8;
constexpr int kPasses = 6;
constexpr unsigned long kBoard = 9301;
constexpr unsigned long kPort = 9302;
constexpr unsigned long kLink = 9303;
constexpr char kEnumFile[] = "port_enum.xml";
constexpr int kUser = 7;

unsigned long NeOf(int worker) {
    return 300 + static_cast<unsigned long>(worker);
}

std::vector<TScriptCmd> CommandsOf(int worker, int pass) {
    static const char* const kStates[] = {"up", "down", "testing"};
    static const char* const kModes[] = {"auto", "m10", "m100", "off"};
    const int k = worker + pass;
    const std::string label = "\"board " + std::to_string(worker) + "/" + std::to_string(pass) +
                              " caf\xC3\xA9 \\\"q\\\"\"";
    TScriptCmd board(kBoard);
    board.AddPara("neid", NeOf(worker), false, false);
    board.AddPara("bid", static_cast<unsigned long>(80 + k % 9), false, false);
    board.AddPara("state", kStates[k % 3], false, false);
    board.AddPara("label", label.c_str(), false, false);
    TScriptCmd port(kPort);
    port.AddPara("mode", kModes[k % 4], false, false);
    port.AddPara("ports", std::vector<int>{worker, pass, 100 + k}, false, true, false);
    port.AddObjectPara("opt={a=1,b=x}&{a=2,b=\"y z\"}");
    TScriptCmd link(kLink);
    link.AddPara("srcne", NeOf(worker) + 1000, false, false);  // outside the device map
    link.AddPara("srcport", (std::to_string(85 + pass) + "-3").c_str(), false, false);
    TScriptCmd back(kBoard);
    back.AddPara("neid", NeOf(worker), false, false);
    back.AddPara("bid", "\"1&&4\"", false, false);
    back.AddPara("state", "up", false, false);
    return {board, port, link, back};
}

std::string Render(const QXScriptErrMgr& mgr) {
    std::ostringstream out;
    for (const TScriptOperationResult& r : mgr.m_operationResults)
        out << "op " << r.m_key1 << ' ' << r.m_key2 << ' ' << r.m_value << '\n';
    for (const TScriptResult& r : mgr.m_scriptResults) {
        out << "script " << r.m_text << '|' << r.m_kind << '|' << r.m_detail << '|' << r.m_value
            << '\n';
    }
    out << "error " << mgr.m_errorCode << '\n';
    return out.str();
}

// Lookups while the thread holds its own reference: each must succeed.
void HeldLookups(unsigned long code, const TScriptCmd& cmd, std::ostringstream& out) {
    TScriptCmd copy(cmd);
    int asInt = -1;
    out << "int(state)=" << copy.GetPara("state", asInt, false) << ':' << asInt;
    asInt = -1;
    out << " int(mode)=" << copy.GetPara("mode", asInt, false) << ':' << asInt;
    CStdString text;
    if (copy.GetPara("state", text, false) || copy.GetPara("mode", text, false)) {
        long value = -100;
        const char* para = code == kBoard ? "state" : "mode";
        out << " s2c=" << ValueS2C(value, std::string(text), code, std::string(para), 0) << ':'
            << value;
        std::string back;
        out << " c2s=" << ValueC2S(back, value, code, std::string(para), 0) << ':' << back;
    }
    long encoding = -100;
    out << " encoding="
        << ValueS2C(encoding, std::string("curscriptencoding"), 0, std::string("encoding"), 0)
        << ':' << encoding << '\n';
}

// One pass of a worker: write a script, read it back, look values up, collect the results in
// the thread's error manager. Runs under the worker's own task. What it did is added to out,
// rendered so that a mismatch shows the differing line.
void RunPass(int worker, int pass, const std::string& dir, std::string& out) {
    QXConvertDataStorage::Instance()->Init();
    const QXScriptEnumDataMgr table(kEnumFile);
    if (table.GetResult() != 0) out += "Init failed\n";
    QXScriptErrMgr* results = QXScriptErrMgr::Instance();

    const std::string name =
        "STRESS_" + std::to_string(NeOf(worker)) + "_p" + std::to_string(pass) + ".txt";
    {
        TScriptFileImpl file(kNeConfigScript);
        if (!file.OpenForWrite(kNeConfigScript, dir.c_str(), name.c_str(), kUser, true)) {
            out += "open for write failed\n";
            return;
        }
        for (TScriptCmd& cmd : CommandsOf(worker, pass))
            if (!file.WriteCommand(cmd)) out += "write failed\n";
        file.WriteAnnotationCommand("// raw lines are carried through\n");
        file.WriteAnnotationCommand(":cfg-set-port:{mode=auto;\n");
        file.WriteAnnotationCommand(":cfg-not-known:{a=1};\n");
    }
    out += test_files::ReadFile(fs::path(dir) / name);

    TScriptFileImpl file(kNeConfigScript);
    if (!file.OpenForRead(kNeConfigScript, dir.c_str(), name.c_str())) {
        out += "open for read failed\n";
        return;
    }
    std::ostringstream commands;
    commands << "count " << file.GetCmdCount() << " encoding " << file.GetEncoding() << '\n';
    file.GoToFirstCommand();
    TScriptCmd cmd;
    while (file.GetOneCommand(cmd)) {
        const std::string tree = tree_text::Show(cmd.GetParaList());
        commands << cmd.GetCmdCode() << '@' << cmd.GetLineNo() << ' ' << tree << '\n';
        HeldLookups(cmd.GetCmdCode(), cmd, commands);
        results->AppendScriptResult(CStdString(name), static_cast<int>(cmd.GetLineNo()),
                                    cmd.GetCmdCode(), CStdString(tree));
    }
    results->AppendScriptResult(file.GetCmdAnalyzedResult());
    results->AppendOperationResult(static_cast<unsigned long>(worker),
                                   static_cast<unsigned long>(pass), file.GetCurrentLineNO());
    out += commands.str();
}

// Lookups without a reference of the caller's own: a failure must leave the output as it
// was, a success must give the configured answer. Returns the number of wrong answers.
int BareLookups() {
    int wrong = 0;
    long code = -100;
    const int s2c = ValueS2C(code, std::string("testing"), kBoard, std::string("state"), 0);
    if (s2c == 1 ? code != 2 : code != -100) ++wrong;
    std::string name = "unchanged";
    const int c2s = ValueC2S(name, 70, kPort, std::string("mode"), 1);
    if (c2s == 1 ? name != "auto" : name != "unchanged") ++wrong;
    CStdString emptied("x");
    const int c2sCstd = ValueC2S(emptied, -1, kPort, CStdString("mode"), 0);
    if (c2sCstd == 1 ? emptied != "off" : !emptied.empty()) ++wrong;
    return wrong;
}

std::string RunWorker(int worker, const std::string& root) {
    qxp::OrinGnlTask task(static_cast<std::uint8_t>(20 + worker));
    const qxp::ScopedCurrentTask current(&task);
    std::map<unsigned long, unsigned long> devices{{NeOf(worker), 1}};
    QXConvertDataStorage::Instance()->SetDevMap(devices);
    const std::string dir = root + "/w" + std::to_string(worker);
    fs::create_directories(dir);

    QXScriptErrMgr::Destroy();
    std::string out;
    for (int pass = 0; pass < kPasses; ++pass) {
        RunPass(worker, pass, dir, out);
        if (BareLookups() != 0) out += "wrong answer without a reference\n";
    }
    out += Render(*QXScriptErrMgr::Instance());
    QXScriptErrMgr::Destroy();
    return out;
}

class StressConcurrency : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(tmpDir_.ok());
        enum_table::Release();
        QXConvertDataStorage::Destroy();
        SlotStoreAccess::ForgetLoaded();
        qxp::SetAppRootPath(test_files::DataDir("stress/"));
        qxp::SetFixedTime(1700000000);
        qxp::SetUserName(kUser, "stress");
        qxp::SetServerVersionName("V100R001");
        // ISO8859-1 bodies and slot flag 1.0, so that conversion of text and slots both run.
        qxp::SetUserCfgItem("TRANS", "encoding", "2");
        qxp::SetUserCfgItem("TRANS", "slotversion", "0");
        CmdNameConvert::AddCmdNameIDMap("cfg-set-board", kBoard);
        CmdNameConvert::AddCmdNameIDMap("cfg-set-port", kPort);
        CmdNameConvert::AddCmdNameIDMap("cfg-add-link", kLink);
    }
    void TearDown() override {
        for (unsigned long id : {kBoard, kPort, kLink}) CmdNameConvert::RemoveCmdNameIDMap(id);
        enum_table::Release();
        QXConvertDataStorage::Destroy();
        SlotStoreAccess::ForgetLoaded();
        QXScriptErrMgr::Destroy();
        qxp::ResetOverrides();
    }

    test_files::TempDir tmpDir_{"stress_concurrency"};
    const std::string tmp_ = tmpDir_.path();
};

TEST_F(StressConcurrency, WorkersMatchASingleThreadedRunWhileTablesAreReloaded) {
    std::vector<std::string> expected;
    for (int w = 0; w < kWorkers; ++w) expected.push_back(RunWorker(w, tmp_ + "/ref"));
    const std::string& first = expected.front();
    for (const char* absent : {"failed", "s2c=0", "wrong answer"})
        ASSERT_EQ(first.find(absent), std::string::npos) << absent << '\n' << first;
    for (const char* present : {"// SlotFlagVer=1.0 \n", "encoding ISO8859-1", "|1090614023\n"})
        ASSERT_NE(first.find(present), std::string::npos) << present << '\n' << first;
    ASSERT_EQ(QXScriptEnumMgr::GetRefCount(), 0);

    // The slot configuration is read again by whichever thread asks first.
    SlotStoreAccess::ForgetLoaded();
    QXConvertDataStorage::Instance()->Release();

    std::vector<std::string> got(kWorkers);
    std::atomic<int> running{kWorkers};
    std::atomic<int> churnWrong{0};
    int cycles = 0;
    std::thread churn([&] {
        do {
            {
                const QXScriptEnumDataMgr table(kEnumFile);
                long code = -100;
                if (table.GetResult() != 0 ||
                    ValueS2C(code, std::string("up"), kBoard, std::string("state"), 0) != 1 ||
                    code != 1) {
                    ++churnWrong;
                }
            }
            QXConvertDataStorage::Instance()->Init();
            ++cycles;
            std::this_thread::yield();
        } while (running.load() > 0);
    });
    std::vector<std::thread> workers;
    for (int w = 0; w < kWorkers; ++w) {
        workers.emplace_back([&, w] {
            got[w] = RunWorker(w, tmp_ + "/run");
            --running;
        });
    }
    for (std::thread& t : workers) t.join();
    churn.join();

    EXPECT_EQ(churnWrong.load(), 0);
    EXPECT_GT(cycles, 0);
    for (int w = 0; w < kWorkers; ++w) EXPECT_EQ(got[w], expected[w]) << "worker " << w;
    EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), 0);
    EXPECT_FALSE(QXScriptEnumMgr::IsLoaded());
}

}  // namespace

// Parses need no lock: with ScriptParseLock held by this thread throughout, eight threads parse
// the same commands at once, each through both entries, and each ends with exactly what a
// single-threaded run gave. A parse that still took the lock would hang here.
TEST(ParserConcurrency, EightThreadsParseAtOnceWithNoLockHeld) {
    std::vector<std::string> texts = parser::SampleCommands(77u, true).Commands(300);
    for (const char* bad : {":X:{A=1,};", ":X:{A=\"open};", ":X:{A=1 99999999999};",
                            ":X:{A=[p],B=[q]};", ":X:{A=5&&1,B=4294967296};"})
        texts.push_back(bad);
    // Everything one run saw, as one text; parses go into one reused command, as the reader's.
    const auto run = [&texts] {
        std::string out;
        MMLCmdStruct cmd;
        for (const std::string& text : texts) {
            const TParseResult r = AnalyseOneCommandDetailed(text, cmd);
            out += std::to_string(r.status) + " " + std::to_string(r.offset) + " " + r.reason;
            for (const TParseNote& n : r.notes) out += " [" + n.message + "]";
            out += " " + tree_text::Show(cmd) + "\n";
            out +=
                std::to_string(AnalyseOneCommandEx(text, cmd)) + " " + tree_text::Show(cmd) + "\n";
        }
        return out;
    };
    testing::internal::CaptureStdout();
    const std::string expected = run();
    std::vector<std::string> results(8);
    {
        qxp::LockGuard<qxp::Mutex> held(ScriptParseLock);
        std::atomic<int> ready{0};
        std::vector<std::thread> threads;
        for (std::string& result : results) {
            threads.emplace_back([&] {
                ++ready;
                while (ready.load() < 8) std::this_thread::yield();
                result = run();
            });
        }
        for (std::thread& t : threads) t.join();
    }
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(results, std::vector<std::string>(8, expected));
}
