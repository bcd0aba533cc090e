#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qx_platform/Control.h"
#include "qx_platform/StaticData.h"
#include "qx_platform/Trace.h"
#include "qx_platform/Xml.h"
#include "qx_scriptutil/QXScriptEnumMgr.h"
#include "qx_scriptutil/ScriptEnumCfg.h"
#include "tests/EnumTable.h"

using namespace NSQX_script;

namespace {

constexpr unsigned long kFailed = 0xFFFFFFFFul;

std::string EnumDataDir() {
    return test_files::DataDir("enum/");
}

std::vector<QXEnumPair> const* Entry(EnumMap const& map, unsigned long cmd, std::string name,
                                     long ext) {
    auto it = FindFirstEnum(map, QXEnumKeyView{cmd, name, ext});
    return it == map.end() ? nullptr : &it->second;
}

long Setting(char const* valueName, char const* setting) {
    long value = -100;
    ValueS2C(value, std::string(valueName), 0, std::string(setting), 0);
    return value;
}

class EnumConfigTest : public enum_table::Test {
  protected:
    QXScriptEnumMgr* Mgr() { return QXScriptEnumMgr::Instance(); }
};

}  // namespace

TEST_F(EnumConfigTest, LoadsEnumParasOnlyAndKeepsEqualKeys) {
    ASSERT_EQ(Mgr()->Init("good.xml"), 0u);
    EnumMap map;
    ASSERT_TRUE(QXScriptEnumMgr::CopyEnumMap(map));
    EXPECT_EQ(Entry(map, 5, "SPEED", 0), nullptr);  // type "int"
    EXPECT_EQ(map.count(QXEnumMapKey(5, "STATE", 0)), 2u);
    ASSERT_NE(Entry(map, 5, "MODE", 1), nullptr);
    auto const& state = *Entry(map, 5, "STATE", 0);
    ASSERT_EQ(state.size(), 3u);
    EXPECT_EQ(state[1].m_value, 0);
    EXPECT_EQ(state[1].m_name, "OFF");
    // Three user settings plus STATE twice, MODE twice and LEVEL.
    EXPECT_EQ(map.size(), 8u);
}

TEST_F(EnumConfigTest, MissingAndMalformedFilesFail) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(Mgr()->Init("no-such-file.xml"), kFailed);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_FALSE(QXScriptEnumMgr::IsLoaded());

    testing::internal::CaptureStdout();
    EXPECT_EQ(Mgr()->Init("malformed.xml"), kFailed);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.rfind("Parse error in file " + EnumDataDir() + "malformed.xml, at line 11:\n", 0),
              0u)
        << out;
    EXPECT_FALSE(QXScriptEnumMgr::IsLoaded());
    long code = 0;
    EXPECT_EQ(ValueS2C(code, std::string("ON"), 5, std::string("STATE"), 0), 0);
    // What was read before the error stays in the table.
    EnumMap map;
    ASSERT_TRUE(QXScriptEnumMgr::CopyEnumMap(map));
    ASSERT_NE(Entry(map, 5, "STATE", 0), nullptr);
    EXPECT_EQ(Entry(map, 6, "X", 0), nullptr);

    // The last Release drops those leftovers: the next file's table holds its own entries only.
    Mgr()->Release();
    ASSERT_EQ(Mgr()->Init("other.xml"), 0u);
    ASSERT_TRUE(QXScriptEnumMgr::CopyEnumMap(map));
    EXPECT_EQ(Entry(map, 5, "STATE", 0), nullptr);
    EXPECT_NE(Entry(map, 8, "KIND", 0), nullptr);
    EXPECT_EQ(map.size(), 4u);
}

TEST_F(EnumConfigTest, RepeatedFileIsCountedButNotParsedAgain) {
    ASSERT_EQ(Mgr()->Init("good.xml"), 0u);
    EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), 1);
    EXPECT_EQ(Mgr()->Init("good.xml"), 0u);
    EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), 2);
    EnumMap map;
    ASSERT_TRUE(QXScriptEnumMgr::CopyEnumMap(map));
    EXPECT_EQ(map.count(QXEnumMapKey(5, "STATE", 0)), 2u);

    // Another file while loaded counts twice.
    EXPECT_EQ(Mgr()->Init("other.xml"), 0u);
    EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), 4);
    long code = 0;
    EXPECT_EQ(ValueS2C(code, std::string("BOARD"), 8, std::string("KIND"), 0), 1);
    EXPECT_EQ(ValueS2C(code, std::string("ON"), 5, std::string("STATE"), 0), 1);

    for (int left = 3; left >= 1; --left) {
        Mgr()->Release();
        EXPECT_TRUE(QXScriptEnumMgr::IsLoaded()) << left;
        EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), left);
    }
    Mgr()->Release();
    EXPECT_FALSE(QXScriptEnumMgr::IsLoaded());
    EnumMap none;
    EXPECT_FALSE(QXScriptEnumMgr::CopyEnumMap(none));
}

TEST_F(EnumConfigTest, DefaultFileFromThePackagePathAndScopedUser) {
    qxp::SetAppRootPath(EnumDataDir() + "root/");
    {
        QXScriptEnumDataMgr user(nullptr);
        EXPECT_EQ(user.GetResult(), 0u);
        QXScriptEnumDataMgr again(nullptr);
        EXPECT_EQ(again.GetResult(), 0u);
        EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), 2);
        long code = 0;
        EXPECT_EQ(ValueS2C(code, std::string("ENABLE"), 1, std::string("SWITCH"), 0), 1);
    }
    EXPECT_FALSE(QXScriptEnumMgr::IsLoaded());
    EXPECT_EQ(QXScriptEnumMgr::GetRefCount(), 0);
}

TEST_F(EnumConfigTest, RefCountIsOneByteAndWraps) {
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

TEST_F(EnumConfigTest, UserSettingsDefaultToOneAndFollowTheHost) {
    qxp::TraceCapture trace;
    ASSERT_EQ(Mgr()->Init("good.xml"), 0u);
    EXPECT_EQ(Setting("curscriptencoding", "encoding"), 1);
    EXPECT_EQ(Setting("curslotversion", "slotversion"), 1);
    EXPECT_EQ(Setting("curbExportScriptToRestoreNEdata", "bExportScriptToRestoreNEdata"), 1);
    EXPECT_FALSE(trace.Contains("MCDB"));
    Mgr()->Release();

    qxp::SetUserCfgItem("TRANS", "encoding", "2");
    qxp::SetUserCfgItem("TRANS", "slotversion", "");
    qxp::SetUserCfgItem("TRANS", "bExportScriptToRestoreNEdata", "0");
    ASSERT_EQ(Mgr()->Init("good.xml"), 0u);
    EXPECT_EQ(Setting("curscriptencoding", "encoding"), 2);
    EXPECT_EQ(Setting("curslotversion", "slotversion"), 1);
    EXPECT_EQ(Setting("curbExportScriptToRestoreNEdata", "bExportScriptToRestoreNEdata"), 0);
    // Read in ascending order of the setting name; an empty text is not traced.
    std::vector<std::string> traced;
    for (auto const& line : trace.Lines()) {
        if (line.text.find("MCDB") != std::string::npos) traced.push_back(line.text);
    }
    ASSERT_EQ(traced.size(), 2u);
    EXPECT_EQ(traced[0],
              "QXScriptEnumMgr::Init Get cfg value from MCDB.tbl_usercfg_param succed "
              "bExportScriptToRestoreNEdata = 0");
    EXPECT_EQ(
        traced[1],
        "QXScriptEnumMgr::Init Get cfg value from MCDB.tbl_usercfg_param succed encoding = 2");

    // A further file replaces the settings instead of adding entries.
    qxp::SetUserCfgItem("TRANS", "encoding", "0");
    ASSERT_EQ(Mgr()->Init("other.xml"), 0u);
    EXPECT_EQ(Setting("curscriptencoding", "encoding"), 0);
    EnumMap map;
    ASSERT_TRUE(QXScriptEnumMgr::CopyEnumMap(map));
    EXPECT_EQ(map.count(QXEnumMapKey(0, "encoding", 0)), 1u);
}

TEST_F(EnumConfigTest, HostLoadedConfigurationMergesCommand65537Only) {
    ASSERT_NE(qxp::XmlInterpreterRegistry::Instance()->Find("script_enum_interpreter"), nullptr);
    const unsigned int swapped = qxp::StaticDataFramework::Instance()->Load(
        "qx_scriptutil", {EnumDataDir() + "interpreter.xml"}, "script_enum_interpreter");
    ASSERT_EQ(swapped, 0u);

    EnumMap* loaded = ScriptEnumCfg::Instance()->GetEnumMap();
    ASSERT_NE(loaded, nullptr);
    // Every "Para" counts on this route; a missing attribute keeps the previous "Para"'s value.
    EXPECT_EQ(loaded->count(QXEnumMapKey(65537, "LEVEL", 2)), 2u);
    auto const& level = *Entry(*loaded, 65537, "LEVEL", 2);
    ASSERT_EQ(level.size(), 3u);
    EXPECT_EQ(level[1].m_value, 0);
    EXPECT_EQ(level[1].m_name, "NOCODE");
    EXPECT_EQ(level[2].m_value, 6);
    EXPECT_EQ(level[2].m_name, "");
    ASSERT_NE(Entry(*loaded, 0, "NOID", 0), nullptr);

    ASSERT_EQ(Mgr()->Init("good.xml"), 0u);
    long code = 0;
    EXPECT_EQ(ValueS2C(code, std::string("KEPT"), 65537, std::string("LEVEL"), 2), 1);
    EXPECT_EQ(code, 8);
    EXPECT_EQ(ValueS2C(code, std::string("LOW"), 65537, std::string("LEVEL"), 0), 1);
    EXPECT_EQ(ValueS2C(code, std::string("ZERO"), 0, std::string("NOID"), 0), 0);

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
