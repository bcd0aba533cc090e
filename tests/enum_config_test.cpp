#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "qx_platform/StaticData.h"
#include "qx_platform/Trace.h"
#include "qx_platform/Xml.h"
#include "qx_scriptutil/ScriptConfig.h"
#include "qx_scriptutil/ScriptEnumCfg.h"
#include "tests/EnumTable.h"

using namespace NSQX_script;

namespace {

constexpr unsigned long kFailed = 0xFFFFFFFFul;

// A table as text, one entry a line in map order: "cmd name extend: code=name ...".
std::string Show(EnumMap const& map) {
    std::string out;
    for (auto const& [key, pairs] : map) {
        out += std::to_string(key.m_cmdId) + " " + key.m_paraName + " " +
               std::to_string(key.m_extendId) + ":";
        for (QXEnumPair const& p : pairs) out += " " + std::to_string(p.m_value) + "=" + p.m_name;
        out += "\n";
    }
    return out;
}

// The loaded table as text, or "not loaded".
std::string Table() {
    EnumMap map;
    return QXScriptEnumMgr::CopyEnumMap(map) ? Show(map) : "not loaded";
}

// The user settings' entries, stored under command 0.
std::string SettingsOf(int restore, int encoding, int slot) {
    return "0 bExportScriptToRestoreNEdata 0: " + std::to_string(restore) +
           "=curbExportScriptToRestoreNEdata\n0 encoding 0: " + std::to_string(encoding) +
           "=curscriptencoding\n0 slotversion 0: " + std::to_string(slot) + "=curslotversion\n";
}

// good.xml's entries of command 5 and 65537, and other.xml's.
const std::string kGood5 =
    "5 MODE 0: 7=AUTO 7=AUTOMATIC -3=NEG\n5 MODE 1: 9=AUTO\n5 STATE 0: 1=ON 0=OFF 2=ON\n"
    "5 STATE 0: 5=SECOND\n";
const std::string kGood65537 = "65537 LEVEL 0: 1=LOW\n";
const std::string kOther = "8 KIND 0: 3=BOARD\n";

class EnumConfig : public enum_table::Test {
  protected:
    QXScriptEnumMgr* Mgr() { return QXScriptEnumMgr::Instance(); }
};

}  // namespace

// Only "enum" parameters are read; equal keys stay separate entries in file order. Unset
// user settings are 1 and not traced.
TEST_F(EnumConfig, LoadsEnumParasOnlyAndKeepsEqualKeys) {
    qxp::TraceCapture trace;
    ASSERT_EQ(Mgr()->Init("good.xml"), 0u);
    EXPECT_EQ(Table(), SettingsOf(1, 1, 1) + kGood5 + kGood65537);
    EXPECT_FALSE(trace.Contains("MCDB"));
}

TEST_F(EnumConfig, MissingAndMalformedFilesFail) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(Mgr()->Init("no-such-file.xml"), kFailed);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_FALSE(QXScriptEnumMgr::IsLoaded());

    testing::internal::CaptureStdout();
    EXPECT_EQ(Mgr()->Init("malformed.xml"), kFailed);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_THAT(out, testing::StartsWith("Parse error in file " + test_files::DataDir("enum/") +
                                         "malformed.xml, at line 11:\n"));
    EXPECT_FALSE(QXScriptEnumMgr::IsLoaded());
    long code = 0;
    EXPECT_EQ(ValueS2C(code, std::string("ON"), 5, std::string("STATE"), 0), 0);
    // What was read before the error stays in the table.
    EXPECT_EQ(Table(), "5 STATE 0: 1=ON\n");

    // The last Release drops those leftovers: the next file's table holds its own entries only.
    Mgr()->Release();
    ASSERT_EQ(Mgr()->Init("other.xml"), 0u);
    EXPECT_EQ(Table(), SettingsOf(1, 1, 1) + kOther);
}

// Named files and texts load as Init's files do, but say why they fail instead of printing,
// and refuse a document that ends inside an element, which Init's reading lets pass.
TEST_F(EnumConfig, NamedFilesAndTextsSayWhyTheyFail) {
    test_files::TempDir dir("enum_named");
    ASSERT_TRUE(test_files::WriteFile(dir / "cut.xml", "<T><Cmd cmdid=\"4\">"));
    qxp::SetAppRootPath(dir.path() + "/");
    EXPECT_EQ(Mgr()->Init("cut.xml"), 0u);
    enum_table::Release();

    ScriptConfigError why;
    testing::internal::CaptureStdout();
    EXPECT_EQ(Mgr()->InitFile(dir / "cut.xml", &why), kFailed);
    EXPECT_EQ(why.Text(), dir / "cut.xml" + ":1:19: no element found");
    const std::string malformed = test_files::DataDir("enum/") + "malformed.xml";
    EXPECT_EQ(Mgr()->InitFile(malformed, &why), kFailed);
    EXPECT_EQ(why.file, malformed);
    EXPECT_EQ(why.line, 11u);
    EXPECT_EQ(Mgr()->InitFile(dir / "none.xml", &why), kFailed);
    EXPECT_EQ(why.Text(), dir / "none.xml" + ": No such file or directory");
    EXPECT_EQ(Mgr()->InitText("inline", "<T><Cmd></T>", &why), kFailed);
    EXPECT_EQ(why.Text(), "inline:1:11: mismatched tag");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    enum_table::Release();

    // A full path is taken as it is, whatever the root; a text counts as one more table.
    ASSERT_EQ(Mgr()->InitFile(test_files::DataDir("enum/") + "good.xml"), 0u);
    ASSERT_EQ(Mgr()->InitText("inline",
                              "<T><Cmd cmdid=\"8\"><Para type=\"enum\" name=\"KIND\">"
                              "<Value num=\"3\" str=\"BOARD\"/></Para></Cmd></T>"),
              0u);
    EXPECT_EQ(Table(), SettingsOf(1, 1, 1) + kGood5 + kOther + kGood65537);
    EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), 3);
}

TEST_F(EnumConfig, RepeatedFileIsCountedButNotParsedAgain) {
    for (int count = 1; count <= 2; ++count) {
        ASSERT_EQ(Mgr()->Init("good.xml"), 0u);
        EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), count);
    }
    // Another file while loaded counts twice and adds its entries.
    EXPECT_EQ(Mgr()->Init("other.xml"), 0u);
    EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), 4);
    EXPECT_EQ(Table(), SettingsOf(1, 1, 1) + kGood5 + kOther + kGood65537);

    for (int left = 3; left >= 0; --left) {
        Mgr()->Release();
        EXPECT_EQ(QXScriptEnumMgr::IsLoaded(), left != 0) << left;
        EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), left);
        EXPECT_EQ(QXScriptEnumMgr::HasInstance(), left != 0) << left;
    }
    EXPECT_EQ(Table(), "not loaded");
}

TEST_F(EnumConfig, DefaultFileFromThePackagePathAndScopedUser) {
    qxp::SetAppRootPath(test_files::DataDir("enum/root/"));
    QXScriptEnumMgr* const kept = Mgr();
    {
        QXScriptEnumDataMgr user(nullptr);
        EXPECT_EQ(user.GetResult(), 0u);
        QXScriptEnumDataMgr again(nullptr);
        EXPECT_EQ(again.GetResult(), 0u);
        EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), 2);
        long code = 0;
        EXPECT_EQ(ValueS2C(code, std::string("ENABLE"), 1, std::string("SWITCH"), 0), 1);
    }
    // The second Release frees the table and destroys the instance.
    EXPECT_FALSE(QXScriptEnumMgr::IsLoaded());
    EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), 0);
    EXPECT_FALSE(QXScriptEnumMgr::HasInstance());
    EXPECT_EQ(Table(), "not loaded");

    // A pointer got before stays usable, as a thread on its way into Init holds it; the
    // instance it loads into is the fresh one, with no file remembered.
    EXPECT_EQ(kept->Init(nullptr), 0u);
    EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), 1);
    EXPECT_EQ(Mgr(), kept);
    kept->Release();
    // A Release without a user also destroys the instance; Destroy() empties a loaded one.
    Mgr()->Release();
    EXPECT_FALSE(QXScriptEnumMgr::HasInstance());
    ASSERT_EQ(Mgr()->Init(nullptr), 0u);
    QXScriptEnumMgr::Destroy();
    EXPECT_FALSE(QXScriptEnumMgr::HasInstance());
    EXPECT_FALSE(QXScriptEnumMgr::IsLoaded());
    EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), 0);
    EXPECT_EQ(Table(), "not loaded");
    ASSERT_EQ(Mgr()->Init(nullptr), 0u);  // parsed again: the file list went with it
    EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), 1);
}

TEST_F(EnumConfig, RefCountIsOneByteAndWraps) {
    // Distinct names of one file count as distinct files.
    std::string prefix;
    for (int i = 0; i < 128; ++i) {
        ASSERT_EQ(Mgr()->Init((prefix + "good.xml").c_str()), 0u) << i;
        prefix += "./";
    }
    EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), 255);
    ASSERT_EQ(Mgr()->Init((prefix + "good.xml").c_str()), 0u);
    EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), 1);
    Mgr()->Release();
    EXPECT_FALSE(QXScriptEnumMgr::IsLoaded());
}

TEST_F(EnumConfig, UserSettingsFollowTheHost) {
    qxp::SetUserCfgItem("TRANS", "encoding", "2");
    qxp::SetUserCfgItem("TRANS", "slotversion", "");
    qxp::SetUserCfgItem("TRANS", "bExportScriptToRestoreNEdata", "0");
    qxp::TraceCapture trace;
    ASSERT_EQ(Mgr()->Init("good.xml"), 0u);
    EXPECT_EQ(Table(), SettingsOf(0, 2, 1) + kGood5 + kGood65537);
    // Read in ascending order of the setting name; an empty text is not traced.
    std::vector<std::string> traced;
    for (auto const& line : trace.Lines())
        if (line.text.find("MCDB") != std::string::npos) traced.push_back(line.text);
    const std::string lead =
        "QXScriptEnumMgr::Init Get cfg value from MCDB.tbl_usercfg_param succed ";
    EXPECT_EQ(traced, (std::vector<std::string>{lead + "bExportScriptToRestoreNEdata = 0",
                                                lead + "encoding = 2"}));

    // A further file replaces the settings instead of adding entries.
    qxp::SetUserCfgItem("TRANS", "encoding", "0");
    ASSERT_EQ(Mgr()->Init("other.xml"), 0u);
    EXPECT_EQ(Table(), SettingsOf(0, 0, 1) + kGood5 + kOther + kGood65537);
}

TEST_F(EnumConfig, HostLoadedConfigurationMergesCommand65537Only) {
    ASSERT_NE(qxp::XmlInterpreterRegistry::Instance()->Find("script_enum_interpreter"), nullptr);
    const unsigned int swapped = qxp::StaticDataFramework::Instance()->Load(
        "qx_scriptutil", {test_files::DataDir("enum/interpreter.xml")}, "script_enum_interpreter");
    ASSERT_EQ(swapped, 0u);

    EnumMap* loaded = ScriptEnumCfg::Instance()->GetEnumMap();
    ASSERT_NE(loaded, nullptr);
    // Every "Para" counts on this route; a missing attribute keeps the previous "Para"'s value.
    EXPECT_EQ(Show(*loaded),
              "0 NOID 0: 1=ZERO\n65537 LEVEL 2: 4=HIGH 0=NOCODE 6=\n65537 LEVEL 2: 8=KEPT\n");

    // Init merges in its command-65537 entries, each pair behind the first equal key's pairs.
    ASSERT_EQ(Mgr()->Init("good.xml"), 0u);
    EXPECT_EQ(Table(), SettingsOf(1, 1, 1) + kGood5 + kGood65537 +
                           "65537 LEVEL 2: 4=HIGH 0=NOCODE 6= 8=KEPT\n");

    // Readers during start-up hold the host's start mutex while they look.
    qxp::StaticDataFramework::Instance()->SetGuardedByStartMutex(true);
    EXPECT_EQ(ScriptEnumCfg::Instance()->GetEnumMap(), loaded);
    qxp::StaticDataFramework::Instance()->SetGuardedByStartMutex(false);

    // A load with nothing to install keeps the working copy.
    EXPECT_EQ(
        qxp::StaticDataFramework::Instance()->Load("qx_scriptutil", {}, "script_enum_interpreter"),
        0xFFFFFFFFu);
    EXPECT_NE(ScriptEnumCfg::Instance()->GetEnumMap(), nullptr);
}
