#include <gtest/gtest.h>

#include <string>

#include "qx_platform/Control.h"
#include "qx_platform/Task.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/Escaping.h"
#include "qx_scriptutil/QXScriptEnumMgr.h"
#include "tests/TestFiles.h"

using namespace NSQX_script;

namespace {

std::string Unconvert(std::string in) {
    std::string out = "stale";
    UnConvertSpecialCharInStr(out, in);
    return out;
}

// Runs the unescaping as a task of the given script version does.
std::string UnconvertAs(char const* version, std::string in) {
    qxp::OrinGnlTask task;
    task.GetContext()->SetFlag("Script_Version", version);
    qxp::ScopedCurrentTask current(&task);
    return Unconvert(std::move(in));
}

}  // namespace

TEST(Escaping, ConvertEscapesBackslashAndQuoteAndAppends) {
    std::string out = "pre:";
    std::string in = "1\"A\\B";
    ConvertSpecialCharInStr(out, in);
    EXPECT_EQ(out, "pre:1\\\"A\\\\B");

    std::string plain = "x'y&{z}";
    std::string same = "";
    ConvertSpecialCharInStr(same, plain);
    EXPECT_EQ(same, plain);
    std::string empty;
    ConvertSpecialCharInStr(out, empty);
    EXPECT_EQ(out, "pre:1\\\"A\\\\B");
}

TEST(Escaping, NewerScriptsDropEveryEscapingBackslash) {
    EXPECT_EQ(UnconvertAs("50855936", "\\x"), "x");
    EXPECT_EQ(UnconvertAs("50855936", "a\\\\b"), "a\\b");
    EXPECT_EQ(UnconvertAs("50855936", "\\\"q\\\""), "\"q\"");
    EXPECT_EQ(UnconvertAs("50855936", "\\\\\\"), "\\");
    EXPECT_EQ(UnconvertAs("60000000", "end\\"), "end");
    // Round trip through the escaping.
    std::string original = "C:\\dir\\\"name\"";
    std::string escaped;
    ConvertSpecialCharInStr(escaped, original);
    EXPECT_EQ(UnconvertAs("50855936", escaped), original);
}

TEST(Escaping, OlderScriptsUndoOnlyQuotesAndEvenRuns) {
    EXPECT_EQ(UnconvertAs("50855935", "\\x"), "\\x");
    EXPECT_EQ(UnconvertAs("50855935", "\\\"q"), "\"q");
    EXPECT_EQ(UnconvertAs("50855935", "\\'q"), "'q");
    EXPECT_EQ(UnconvertAs("50855935", "\\\\n"), "\\n");
    EXPECT_EQ(UnconvertAs("50855935", "ab\\\\"), "ab\\");
    EXPECT_EQ(UnconvertAs("50855935", "ab\\\\\\"), "ab\\\\\\");
    EXPECT_EQ(UnconvertAs("50855935", "\\\\\\\"x"), "\\\"x");
    EXPECT_EQ(UnconvertAs("50855935", "no escapes"), "no escapes");
    // Without a task, a flag or a number the older rule applies.
    EXPECT_EQ(Unconvert("\\x"), "\\x");
    EXPECT_EQ(UnconvertAs("", "\\x"), "\\x");
    EXPECT_EQ(UnconvertAs("v3", "\\x"), "\\x");
    qxp::OrinGnlTask task;
    qxp::ScopedCurrentTask current(&task);
    EXPECT_EQ(Unconvert("\\x"), "\\x");
}

TEST(Escaping, CfgEncodingFollowsTheEncodingSetting) {
    {
        qxp::TraceCapture trace;
        EXPECT_STREQ(GetCfgEncoding(), "UTF-8");  // no table loaded
        EXPECT_FALSE(trace.Contains("encoding ="));
    }
    qxp::SetAppRootPath(test_files::DataDir("enum/"));
    for (auto const& [setting, expected] : {std::pair<char const*, char const*>{"0", "GBK"},
                                            {"1", "UTF-8"},
                                            {"2", "ISO8859-1"},
                                            {"3", "UTF-8"}}) {
        qxp::SetUserCfgItem("TRANS", "encoding", setting);
        ASSERT_EQ(QXScriptEnumMgr::Instance()->Init("good.xml"), 0u);
        qxp::TraceCapture trace;
        EXPECT_STREQ(GetCfgEncoding(), expected);
        EXPECT_TRUE(
            trace.Contains(std::string("Get cfg from cfgfile succed encoding = ") + setting));
        QXScriptEnumMgr::Instance()->Release();
    }
    qxp::ResetOverrides();
}
